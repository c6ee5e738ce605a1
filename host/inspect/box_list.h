// Collects the boxes that the parser shows, one record per box. Limits on boxes, list entries and bytes of a
// field bound the memory that a file can make it use. A stored field takes only 24 bytes, because a box of 8
// bytes may have a dozen fields.
#pragma once

#include <array>
#include <cstdint>
#include <deque>
#include <string>
#include <string_view>

#include "host/inspect/field.h"
#include "p3gpp/p3gpp.h"

namespace zdr::host {

enum class BoxState : uint8_t {
  kRead,     // while parsing; becomes stored or dropped
  kFailed,   // its parser failed
  kSkipped,  // unknown or not needed
  kRefused,  // its header is invalid
  kStored,   // part of the open file
  kDropped,  // read, but replaced by a later box or ignored
};

struct BoxRecord {
  std::string path;  // "moov/trak[1]/tkhd"
  uint64_t offset;
  uint64_t size;
  uint32_t flags;
  int32_t status;      // of the parser
  size_t first_field;  // number of its first field in the list
  size_t fields = 0;   // first those of the box itself, then those of its entries
  std::array<char, 4> type{};
  uint8_t version;
  BoxState state;

  bool is(std::string_view four_characters) const {
    return std::string_view(type.data(), 4) == four_characters;
  }
};

class BoxList {
 public:
  static constexpr size_t kMostBoxes = 100000;
  static constexpr size_t kMostEntries = 100000;  // of all boxes together
  static constexpr size_t kMostBytes = 256;       // of a field in hex
  static constexpr size_t kMostTextBytes = 4096;

  BoxList() : visitor_{this, on_box, on_field} {}
  BoxList(const BoxList&) = delete;
  BoxList& operator=(const BoxList&) = delete;

  // Pass to the open, which shows children before their parents.
  const P3gppBoxVisitor& visitor() const { return visitor_; }
  // Sorts by offset, so that parents come first.
  void sort_by_offset();
  // Turns kRead into kStored or kDropped. The list must be sorted. Throws std::bad_alloc.
  void mark_stored(P3gppFile* file);

  // Deques, because growing a vector needs the memory twice.
  const std::deque<BoxRecord>& boxes() const { return boxes_; }
  // Fields by their number; valid as long as the list.
  Field field(size_t number) const;
  // Number of the list entry that has the field, from 1; 0: a field of the box itself.
  uint32_t entry_of(size_t number) const { return fields_[number].entry; }
  // False if memory ran out: then the list lacks some boxes or fields.
  bool is_complete() const { return is_complete_; }
  size_t boxes_left_out() const { return boxes_left_out_; }
  size_t entries_left_out() const { return entries_left_out_; }

 private:
  // Called from the parser, which exceptions must not cross.
  static void on_box(void* caller, const P3gppBox* box) noexcept;
  static void on_field(void* caller, const P3gppBoxField* field) noexcept;
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
  std::deque<BoxRecord> boxes_;
  std::deque<StoredField> fields_;
  std::deque<StoredBytes> bytes_;
  bool stores_fields_ = false;  // the box being shown is in the list
  bool stores_entry_ = false;   // the entry being shown is in the list
  uint32_t entry_ = 0;          // number of the entry being shown
  size_t entries_ = 0;
  bool is_complete_ = true;
  size_t boxes_left_out_ = 0;
  size_t entries_left_out_ = 0;
};

}  // namespace zdr::host
