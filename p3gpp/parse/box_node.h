// A box in the tree of an open file: the node with its header, and the record of its contents.
//
// A container's record has one slot per recognised child, a leaf's record its fields. P3GPP_Open builds the
// tree once. Afterwards only the streams of an open track and the cursors and positions inside its sample
// tables change.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

namespace zdr::p3gpp {

struct BoxNode;
struct ContainerRule;
class BoxFields;

// Base of every record.
class BoxPayload {
 public:
  BoxPayload() = default;
  BoxPayload(const BoxPayload&) = delete;
  BoxPayload& operator=(const BoxPayload&) = delete;
  virtual ~BoxPayload() = default;

  // Passes the fields of the record, by name, to a visitor.
  virtual void describe(const BoxNode& /*node*/, BoxFields& /*fields*/) const {}
};

struct BoxNode {
  uint32_t size = 0;               // the 32-bit size field as read; 1 for a box that uses the 64-bit form
  std::array<char, 5> type{};      // four characters and a NUL
  uint8_t version = 0;             // of a full box, else 0
  std::array<uint8_t, 3> flags{};  // of a full box, raw, else 0
  uint64_t offset = 0;             // absolute file offset of the size field
  std::unique_ptr<BoxPayload> payload;
  const ContainerRule* container = nullptr;  // declares the slots of the payload; null for a leaf
  const BoxNode* parent = nullptr;           // null at the top level

  std::string_view type_name() const { return {type.data(), 4}; }
  bool is(std::string_view four_characters) const { return type_name() == four_characters; }
};

using BoxSlot = std::unique_ptr<BoxNode>;
using BoxList = std::vector<BoxSlot>;

// The payload of `node` as the record of its box type; null for a null node and for a node without payload.
// A slot holds boxes of its own type only, so there is nothing to check at run time.
template <typename Payload>
Payload* payload_of(const BoxNode* node) {
  return node == nullptr ? nullptr : static_cast<Payload*>(node->payload.get());
}
template <typename Payload>
Payload* payload_of(const BoxSlot& slot) {
  return payload_of<Payload>(slot.get());
}

// Kept: `first` is the high half of a 64-bit time or duration and `second` the low half; for a 32-bit one
// `first` is the value and `second` is 0. Queries report `first` in both cases.
struct FileTime {
  uint32_t first = 0;
  uint32_t second = 0;
};

}  // namespace zdr::p3gpp
