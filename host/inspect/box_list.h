// What the parser shows of a file's boxes, collected as one JSON object a box. What a file can make it take
// is bounded: boxes, list entries, and the bytes of a field.
#pragma once

#include <nlohmann/json.hpp>
#include <vector>

#include "p3gpp/p3gpp.h"

namespace zdr::host {

// "path", "type", "offset", "size", "version", "flags", "state", "fields", where a box has a list "entries",
// where it failed "status", where it tells times in units of another box "movie_time_scale" and
// "media_time_scale".
class BoxList {
 public:
  using Json = nlohmann::ordered_json;

  static constexpr size_t kMostBoxes = 100000;
  static constexpr size_t kMostEntries = 100000;  // of all boxes together
  static constexpr size_t kMostBytes = 256;       // of a field in hex
  static constexpr size_t kMostTextBytes = 4096;

  BoxList() : visitor_{this, add_box, add_field} {}
  BoxList(const BoxList&) = delete;
  BoxList& operator=(const BoxList&) = delete;

  // For the open: states are then "read", "failed", "skipped" and "refused".
  const P3gppBoxVisitor& visitor() const { return visitor_; }
  // Puts the boxes in the order of the file, parents first; they come children first.
  void sort_by_place();
  // Of a sorted list: makes "read" "kept" or "dropped", by what the open file has.
  void mark_kept(P3gppFile* file);

  // Of a sorted list: puts the units beside the times of boxes that do not tell them themselves.
  void add_time_scales();

  std::vector<Json>& boxes() { return boxes_; }
  size_t boxes_left_out() const { return boxes_left_out_; }
  size_t entries_left_out() const { return entries_left_out_; }

 private:
  // Called from the parser, which exceptions must not cross.
  static void add_box(void* caller, const P3gppBox* box) noexcept;
  static void add_field(void* caller, const P3gppBoxField* field) noexcept;
  void add(const P3gppBox& box);
  void add(const P3gppBoxField& field, bool begins_entry);

  P3gppBoxVisitor visitor_;
  std::vector<Json> boxes_;
  bool takes_fields_ = false;  // the last box shown is the last of the list
  bool takes_entry_ = false;   // and the last entry shown the last of its entries
  uint32_t entry_ = 0;         // number of the last entry shown
  size_t entries_ = 0;
  size_t boxes_left_out_ = 0;
  size_t entries_left_out_ = 0;
};

}  // namespace zdr::host
