// Adds units to their columns. This takes a few nanoseconds each, since a file may have millions of units.
#include "host/plot/gather/unit_collector.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "host/plot/round_number.h"

namespace zdr::host::plot {
namespace {

constexpr size_t kByteColumns = 1000;
constexpr size_t kTimeColumns = 400;
constexpr double kRateColumns = 200;

size_t column_of(double position, size_t columns) {
  return position <= 0 ? 0 : static_cast<size_t>(std::min(position, static_cast<double>(columns - 1)));
}

}  // namespace

Grid make_grid(uint64_t file_size, double end, size_t tracks) {
  const size_t share = std::max<size_t>(1, (tracks + 1) / 2);
  Grid grid{.file_size = file_size, .byte_columns = kByteColumns / share, .end = end};
  grid.time_columns = kTimeColumns / share;
  // A second, unless the file is short or long.
  const double width = std::max(end / kRateColumns * static_cast<double>(share), std::min(1.0, end / 20));
  grid.rate_width = end > 0 ? round_time(width) : 1;
  grid.rate_columns = std::max<size_t>(1, static_cast<size_t>(std::lround(end / grid.rate_width)));
  return grid;
}

UnitCollector::UnitCollector(const Grid& grid, uint32_t time_scale, TrackFigure& figure)
    : grid_(grid),
      figure_(figure),
      unit_seconds_(time_scale == 0 ? 0 : 1.0 / time_scale),
      map_columns_per_byte_(grid.file_size > 0
                                ? static_cast<double>(grid.byte_columns) / static_cast<double>(grid.file_size)
                                : 0),
      peak_(time_scale) {
  figure.map.resize(grid.byte_columns);
  figure.sizes.resize(grid.time_columns);
  figure.keys.resize(grid.time_columns);
  figure.rates.resize(grid.rate_columns);
}

bool UnitCollector::add(const Unit& unit) {
  const double begin = static_cast<double>(unit.time) * unit_seconds_;
  if (unit.size > grid_.file_size || unit.offset > grid_.file_size - unit.size) {
    if (figure_.lost_units++ == 0) figure_.lost_from = begin;
    close_extent(begin);
    return false;
  }
  constexpr double kRounding = 1e-7;  // seconds: a unit that begins with a column is in it
  const double start = begin + kRounding;
  if (start < columns_begin_ || start >= columns_end_) find_columns(start);
  figure_.rates[rate_column_] += unit.size;
  if (unit.is_key) figure_.keys[time_column_] = true;
  SizeColumn& column = figure_.sizes[time_column_];
  ++column.count;
  column.bytes += unit.size;
  column.least = std::min(column.least, unit.size);
  column.most = std::max(column.most, unit.size);
  column.offset = std::min(column.offset, unit.offset);
  column.end = std::max(column.end, unit.offset + unit.size);
  peak_.add(unit.time, unit.size);
  add_to_map(unit);
  add_to_extents(unit, begin);
  return true;
}

void UnitCollector::find_columns(double start) {
  const double time_width = grid_.end > 0 ? grid_.end / static_cast<double>(grid_.time_columns) : 1;
  time_column_ = column_of(start / time_width, grid_.time_columns);
  rate_column_ = column_of(start / grid_.rate_width, grid_.rate_columns);
  const auto border = [](size_t column, size_t columns, double width) {
    return column == columns ? std::numeric_limits<double>::infinity() : static_cast<double>(column) * width;
  };
  columns_begin_ = std::max(border(time_column_, grid_.time_columns, time_width),
                            border(rate_column_, grid_.rate_columns, grid_.rate_width));
  columns_end_ = std::min(border(time_column_ + 1, grid_.time_columns, time_width),
                          border(rate_column_ + 1, grid_.rate_columns, grid_.rate_width));
}

void UnitCollector::finish(double end) {
  // Unless the last units were lost.
  if (is_open_ || figure_.extents.empty()) close_extent(figure_.end = end);
  if (!figure_.extents.empty()) figure_.end = figure_.extents.back().stop;
  join_short_runs();
  figure_.peak_bit_rate = peak_.bits();
  for (const SizeColumn& column : figure_.sizes) {
    figure_.units += column.count;
    figure_.bytes += column.bytes;
  }
}

void UnitCollector::close_extent(double time) {
  if (is_open_) figure_.extents.back().stop = std::max(figure_.extents.back().stop, time);
  is_open_ = false;
}

uint64_t UnitCollector::map_border(size_t column) const {
  if (column == grid_.byte_columns) return UINT64_MAX;
  return static_cast<uint64_t>(static_cast<double>(column) / map_columns_per_byte_);
}

// Most units are in the column of the one before.
void UnitCollector::add_to_map(const Unit& unit) {
  const uint64_t end = unit.offset + unit.size;
  if (unit.offset >= map_begin_ && end <= map_end_) {
    figure_.map[map_column_] += unit.size;
    return;
  }
  if (unit.size == 0) return;
  map_column_ = column_of(static_cast<double>(unit.offset) * map_columns_per_byte_, grid_.byte_columns);
  for (uint64_t begin = unit.offset;; ++map_column_) {
    map_begin_ = map_border(map_column_);
    map_end_ = map_border(map_column_ + 1);
    const uint64_t part_end = std::min(end, std::max(map_end_, begin));
    figure_.map[map_column_] += part_end - begin;
    begin = part_end;
    if (begin == end) return;
  }
}

// A column has at most two extents: one that continues the run of the column before, and one for the first
// run that begins here, with which all others are merged. So all runs of a file with few chunks are exact.
void UnitCollector::add_to_extents(const Unit& unit, double start) {
  std::vector<Extent>& extents = figure_.extents;
  const uint64_t end = unit.offset + unit.size;
  bool follows = false;
  if (!extents.empty()) {
    Extent& last = extents.back();
    if (is_open_) last.stop = std::max(last.stop, start);
    follows = is_open_ && unit.offset == last.end;
    if (last.column == time_column_ && (follows || !last.continues)) {
      last.is_merged = last.is_merged || !follows;
      last.offset = std::min(last.offset, unit.offset);
      last.end = std::max(last.end, end);
      is_open_ = true;
      return;
    }
  }
  is_open_ = true;
  extents.push_back({start, start, unit.offset, end, time_column_, false, follows});
}

// Makes one extent of a short run, such as a chunk. A long one stays in parts, which show how it advances.
void UnitCollector::join_short_runs() {
  constexpr size_t kMostColumns = 16;
  std::vector<Extent> joined;
  const std::vector<Extent>& extents = figure_.extents;
  for (size_t begin = 0; begin < extents.size();) {
    size_t end = begin + 1;
    const auto is_run = [&] { return extents[end].continues && !extents[end].is_merged; };
    while (end < extents.size() && !extents[begin].is_merged && is_run()) ++end;
    if (extents[end - 1].column - extents[begin].column < kMostColumns) {
      joined.push_back(extents[begin]);
      joined.back().stop = extents[end - 1].stop;
      joined.back().end = extents[end - 1].end;
    } else {
      joined.insert(joined.end(), extents.begin() + static_cast<std::ptrdiff_t>(begin),
                    extents.begin() + static_cast<std::ptrdiff_t>(end));
    }
    begin = end;
  }
  figure_.extents = std::move(joined);
}

}  // namespace zdr::host::plot
