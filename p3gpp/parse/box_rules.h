// What a container recognises: one declared rule per container, with one row per child type in slot order.
//
// The child loop (child_loop.h) reads by these rules, and for_each_stored_child() walks the finished tree by
// the same rows. A row names the child's parser and where its node is stored; a child without a row is
// skipped.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string_view>

#include "p3gpp/parse/box_node.h"
#include "p3gpp/parse/box_reader.h"
#include "p3gpp/parse/open_error.h"

namespace zdr::p3gpp {

using BoxParser = Status (*)(BoxReader& reader, BoxNode& node);

// What to do with a child.
enum class ChildAction : uint8_t {
  kSlot,           // its node goes into a slot; a later one of the type replaces it
  kSlotIfPayload,  // the same, but a child whose parser made no payload is dropped
  kList,           // its node is appended to the container's list
  kNothing,        // its parser has stored its contents in an outer container
  kEndsContainer,  // it is not parsed: the container drops its payload and ends there, with success
  kOpensInPlace,   // its children are read as if they were the container's own
};

// What happens to the bytes that a parser leaves unread.
enum class Rest : uint8_t {
  kSkipped,        // the loop skips them
  kReadAsNextBox,  // the stream stays there, so they are read as the next box header
};

// How to handle a child that runs past the end of its container.
enum class Overrun : uint8_t {
  kFails,
  kFailsAtEnd,     // fails after the stream has moved to the end of the container
  kEndsContainer,  // the container ends there, with success
};

struct ChildRule {
  std::string_view type;
  BoxParser parse = nullptr;  // null for children that are not parsed
  ChildAction action = ChildAction::kSlot;
  BoxSlot& (*slot)(BoxPayload& payload) = nullptr;  // kSlot, kSlotIfPayload
  Rest rest = Rest::kSkipped;
};

// The most members of a list: tracks, sample entries, data references. An empty box of 8 bytes takes more
// than 20 times that in memory, and a file of empty boxes must not decide how much memory is used.
inline constexpr size_t kMaxListed = 1024;

struct ContainerRule {
  std::string_view type;
  std::span<const ChildRule> children;
  std::unique_ptr<BoxPayload> (*make_payload)() = nullptr;
  BoxList& (*list)(BoxPayload& payload) = nullptr;  // the members stored by kList; visited after the slots
  // True once no further child is needed; null: read to the end of the container.
  bool (*complete)(const BoxPayload& payload) = nullptr;
  // An unknown child adds an empty entry to the list, so that the list is numbered as the file.
  bool lists_unknown_children = false;
  // A list member that fails ends the container with success if the list holds one already.
  bool tolerates_later_failure = false;
  Overrun overrun = Overrun::kFails;
  // Bytes at the end that are too few for a box header are skipped.
  bool allows_short_tail = false;
  // A nested container whose children are stored in this payload too, and the path to it.
  const ContainerRule* inner = nullptr;
  std::string_view inner_path = {};
};

struct StoredChild {
  const BoxNode& node;
  uint32_t ordinal = 0;              // position in a list, from 1; 0 for a child in a slot
  std::string_view inner_path = {};  // containers between parent and child that have no node: "meta/ilst"
};

// Calls `visit` for every stored child of `node`, in slot order; empty list entries are skipped.
void for_each_stored_child(const BoxNode& node, const std::function<void(const StoredChild&)>& visit);

// Returns null for a type without a row.
const ChildRule* find_child_rule(const ContainerRule& rule, const PathStep& child);

// --- Building rows ---

// Access to the member `kMember` of the payload record that declares it, through the base class.
template <auto kMember>
struct PayloadMember;
template <typename Payload, typename Member, Member Payload::*kMember>
struct PayloadMember<kMember> {
  static Member& get(BoxPayload& payload) { return static_cast<Payload&>(payload).*kMember; }
};

template <auto kMember>
constexpr ChildRule in_slot(std::string_view type, BoxParser parse, ChildAction action = ChildAction::kSlot) {
  return {type, parse, action, PayloadMember<kMember>::get, Rest::kSkipped};
}

template <typename Payload>
std::unique_ptr<BoxPayload> make_payload() {
  return std::make_unique<Payload>();
}

}  // namespace zdr::p3gpp
