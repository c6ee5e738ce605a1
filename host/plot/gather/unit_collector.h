// Sorts the units of a track into the columns of a picture, so that the memory does not grow with their
// number.
#pragma once

#include <cstdint>
#include <functional>

#include "host/formats/peak_second.h"
#include "host/plot/figures.h"

namespace zdr::host::plot {

// Called regularly with the part of a track that is done; returning false ends the work.
using Watch = std::function<bool(uint64_t done, uint64_t total)>;

// A sample of the tables of a track, or a frame of a stream.
struct Unit {
  uint64_t offset = 0;
  uint32_t size = 0;
  uint64_t time = 0;  // decoding time in units of the time scale
  bool is_key = false;
};

// Chooses the columns for a file. More tracks get fewer columns each, so that the picture stays small.
Grid make_grid(uint64_t file_size, double end, size_t tracks);

class UnitCollector {
 public:
  // Both must outlive the object.
  UnitCollector(const Grid& grid, uint32_t time_scale, TrackFigure& figure);

  // Call in decoding order. Returns false if the unit is past the end of the file.
  bool add(const Unit& unit);
  // Call after the last unit. `end` is its end in seconds.
  void finish(double end);

 private:
  uint64_t map_border(size_t column) const;
  void add_to_map(const Unit& unit);
  void add_to_extents(const Unit& unit, double start);
  void find_columns(double start);
  void close_extent(double time);
  void join_short_runs();

  const Grid& grid_;
  TrackFigure& figure_;
  const double unit_seconds_;  // of the time scale; 0 without one
  const double map_columns_per_byte_;
  PeakSecond peak_;
  // The columns of the last unit, and the times for which they hold.
  size_t time_column_ = 0;
  size_t rate_column_ = 0;
  double columns_begin_ = 0;
  double columns_end_ = 0;
  size_t map_column_ = 0;  // of the last unit, and its borders in the file
  uint64_t map_begin_ = 0;
  uint64_t map_end_ = 0;
  bool is_open_ = false;  // the last extent lasts until the next unit
};

}  // namespace zdr::host::plot
