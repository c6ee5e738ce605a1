// Where the entries of the sample tables are in the file.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "p3gpp/p3gpp_inspect.h"

namespace zdr::host {

struct SampleTable {
  uint32_t track = 0;  // number of the track, from 1
  std::string type;    // "stts"
  uint64_t begin = 0;  // offset of the first entry
  uint64_t end = 0;
  uint32_t entry_bytes = 0;

  // The number, from 1, of the entry at an offset.
  uint64_t entry_at(uint64_t offset) const { return (offset - begin) / entry_bytes + 1; }
};

// Collects the tables while a file is parsed: pass visitor() to ParsedMovie.
class TableMap {
 public:
  TableMap() : visitor_{this, on_box, on_field} {}
  TableMap(const TableMap&) = delete;
  TableMap& operator=(const TableMap&) = delete;

  const P3gppBoxVisitor& visitor() const { return visitor_; }
  // False if memory ran out.
  bool is_complete() const { return is_complete_; }
  const std::vector<SampleTable>& tables() const { return tables_; }
  // Null if the offset is in no table.
  const SampleTable* find(uint64_t offset) const;

 private:
  // Called from the parser, which exceptions must not cross.
  static void on_box(void* caller, const P3gppBox* box) noexcept;
  static void on_field(void* /*caller*/, const P3gppBoxField* /*field*/) noexcept {}
  void add(const P3gppBox& box);

  P3gppBoxVisitor visitor_;
  std::vector<SampleTable> tables_;
  bool is_complete_ = true;
};

}  // namespace zdr::host
