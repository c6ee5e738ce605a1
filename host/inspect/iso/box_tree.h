// Collects the boxes that the parser shows as a tree, one record per box. Limits on boxes, list entries and
// bytes of a field bound the memory that a file can make it use. A stored field takes only 24 bytes, because
// a box of 8 bytes may have a dozen fields.
#pragma once

#include <array>
#include <cstdint>
#include <deque>
#include <limits>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "host/inspect/field.h"
#include "p3gpp/p3gpp.h"

namespace zdr::host {

enum class BoxState : uint8_t {
  kRead,     // while parsing; becomes stored or dropped
  kFailed,   // its parser failed
  kNotRead,  // unknown or not needed, or the parser ended before it
  kRefused,  // its header is invalid
  kStored,   // part of the open file
  kDropped,  // read, but replaced by a later box or ignored
  kGap,      // not a box: bytes that belong to none
};

using BoxIndex = uint32_t;
inline constexpr BoxIndex kNoBox = std::numeric_limits<BoxIndex>::max();

struct BoxRecord {
  std::string path{};  // "moov/trak[1]/tkhd"; empty for a gap
  uint64_t offset = 0;
  uint64_t size = 0;
  uint64_t excess = 0;   // bytes by which it extends past the end of its container or of the file
  uint64_t overlap = 0;  // bytes by which it begins before the end of what precedes it
  uint32_t flags = 0;
  int32_t status = P3GPP_OK;  // of the parser
  uint32_t first_field = 0;   // number of its first field in the tree
  uint32_t fields = 0;        // first those of the box itself, then those of its entries
  Bytes body{};  // the bytes after header, version and flags, or the first of them; empty if not stored
  BoxIndex first_child = kNoBox;
  BoxIndex next = kNoBox;  // sibling
  std::array<char, 4> type{};
  uint8_t header_size = 8;
  uint8_t version = 0;
  bool has_version = false;  // version and flags are those of the file
  BoxState state = BoxState::kNotRead;

  std::string_view type_name() const { return {type.data(), type.size()}; }
  bool is(std::string_view four_characters) const { return type_name() == four_characters; }
  // Without the part that extends past the end of its container.
  uint64_t end() const { return offset + size - excess; }
  uint64_t body_offset() const { return offset + header_size + (has_version ? 4 : 0); }
  uint64_t body_size() const { return end() > body_offset() ? end() - body_offset() : 0; }
};

class BoxTree {
 public:
  static constexpr size_t kMostBoxes = 100000;
  static constexpr size_t kMostEntries = 100000;  // of all boxes together
  static constexpr size_t kMostBytes = 256;       // of a field in hex
  static constexpr size_t kMostTextBytes = 4096;

  BoxTree() : visitor_{this, on_box, on_field} {}
  BoxTree(const BoxTree&) = delete;
  BoxTree& operator=(const BoxTree&) = delete;

  // Pass to the open, which shows children before their parents.
  const P3gppBoxVisitor& visitor() const { return visitor_; }
  // Turns kRead into kStored or kDropped. Throws std::bad_alloc.
  void mark_stored(P3gppFile* file);

  size_t size() const { return boxes_.size(); }
  const BoxRecord& box(BoxIndex index) const { return boxes_[index]; }
  BoxRecord& box(BoxIndex index) { return boxes_[index]; }
  // The children of a box, or with kNoBox the boxes of the file, in file order.
  std::vector<BoxIndex> children(BoxIndex parent) const;
  // The first of them, from which `next` leads on; of the file only once set_children() has been called.
  BoxIndex first_child(BoxIndex parent) const {
    return parent == kNoBox ? first_ : boxes_[parent].first_child;
  }
  void set_children(BoxIndex parent, const std::vector<BoxIndex>& children);
  // Adds a box that the parser did not show, without a parent. False if the tree is full.
  bool add(BoxRecord box, BoxIndex& index);

  // Returns room for the body of a box, valid as long as the tree.
  std::span<uint8_t> store(size_t length);

  // Fields by their number; valid as long as the tree.
  Field field(size_t number) const;
  // Number of the list entry that has the field, from 1; 0: a field of the box itself.
  uint32_t entry_of(size_t number) const { return fields_[number].entry; }
  // False if memory ran out: then the tree lacks some boxes or fields.
  bool is_complete() const { return is_complete_; }
  size_t boxes_left_out() const { return boxes_left_out_; }
  size_t entries_left_out() const { return entries_left_out_; }

 private:
  // Called from the parser, which exceptions must not cross.
  static void on_box(void* caller, const P3gppBox* box) noexcept;
  static void on_field(void* caller, const P3gppBoxField* field) noexcept;
  bool has_room_for(const P3gppBox& box) const;
  void add(const P3gppBox& box);
  void add(const P3gppBoxField& field, bool begins_entry);

  struct StoredField {
    const char* name;
    uint64_t number;  // for types, texts and bytes: the index in `bytes_`
    uint32_t entry;
    uint8_t kind;  // P3GPP_FIELD_
  };
  struct StoredBytes {
    std::string front;
    size_t length;  // in the file
  };

  P3gppBoxVisitor visitor_;
  // Deques, because growing a vector needs the memory twice.
  std::deque<BoxRecord> boxes_;
  std::deque<StoredField> fields_;
  std::deque<StoredBytes> bytes_;
  std::deque<std::vector<uint8_t>> blocks_;  // of bodies
  size_t used_in_block_ = 0;
  std::vector<BoxIndex> top_;  // boxes whose parent has not been shown; in the end those of the file
  BoxIndex first_ = kNoBox;
  bool stores_fields_ = false;  // the box being shown is in the tree
  bool stores_entry_ = false;   // the entry being shown is in the tree
  uint32_t entry_ = 0;          // number of the entry being shown
  size_t entries_ = 0;
  bool is_complete_ = true;
  size_t boxes_left_out_ = 0;
  size_t entries_left_out_ = 0;
};

}  // namespace zdr::host
