// Bytes against time: a rectangle for each part of the file that a track reads in one go. Where rectangles of
// the same time are far from each other, a player must jump or buffer.
#include <algorithm>
#include <optional>

#include "host/plot/draw/layout.h"
#include "host/plot/draw/panels.h"

namespace zdr::host::plot {
namespace {

constexpr double kHeight = 240;

// The part of the file that all tracks need at one time.
struct Distance {
  double time = 0;
  uint64_t begin = 0;
  uint64_t end = 0;

  uint64_t bytes() const { return end - begin; }
};

// The largest one of all times at which two tracks have units; nothing with one track.
std::optional<Distance> largest_distance(const FileFigure& figure) {
  std::optional<Distance> largest;
  for (size_t column = 0; column < figure.grid.time_columns; ++column) {
    Distance here{.begin = UINT64_MAX};
    size_t tracks = 0;
    for (const TrackFigure& track : figure.tracks) {
      const SizeColumn& sizes = track.sizes[column];
      if (sizes.count == 0) continue;
      ++tracks;
      here.begin = std::min(here.begin, sizes.offset);
      here.end = std::max(here.end, sizes.end);
    }
    here.time =
        (static_cast<double>(column) + 0.5) * figure.grid.end / static_cast<double>(figure.grid.time_columns);
    if (tracks > 1 && (!largest || here.bytes() > largest->bytes())) largest = here;
  }
  return largest;
}

std::string remark_of(const std::optional<Distance>& distance) {
  if (!distance) return "where in the file the data of each moment is";
  return "the tracks are never more than " + short_bytes(static_cast<double>(distance->bytes())) +
         " apart in the file (greatest distance at " + clock_text(distance->time) + ")";
}

// Their outlines show also the smallest.
PathData rectangles(const TrackFigure& track, const Area& area) {
  PathData path;
  for (const Extent& extent : track.extents) {
    path.rectangle(area.x(extent.start), area.y(static_cast<double>(extent.end)), area.x(extent.stop),
                   area.y(static_cast<double>(extent.offset)));
  }
  return path;
}

}  // namespace

double draw_offsets(SvgWriter& svg, const FileFigure& figure, double top) {
  const auto size = static_cast<double>(figure.grid.file_size);
  const double begin = top + kHeadHeight;
  const Area area{time_scale(figure), {0, size, begin + kHeight, begin}};
  const std::optional<Distance> distance = largest_distance(figure);
  Axis offsets = byte_axis(size, 6);
  offsets.marks.back().text += " " + offsets.unit;
  draw_head(svg, top, "File offset against time", remark_of(distance));
  begin_panel(svg, "zdr-offsets", "File offset against time", area);
  const Axis times = time_axis(figure.grid.end, 10);
  draw_axes(svg, area, times, offsets);
  draw_x_texts(svg, area, times);
  for (size_t i = 0; i < figure.tracks.size(); ++i) {
    svg.path(rectangles(figure.tracks[i], area), "chunk " + style_of('p', i) + " " + style_of('s', i));
  }
  if (distance) {
    const double x = area.x(distance->time);
    svg.line(x, area.y(static_cast<double>(distance->begin)), x, area.y(static_cast<double>(distance->end)),
             "apart");
  }
  draw_time_marks(svg, figure, area, 0, figure.tracks.size(), true);
  end_panel(svg);
  return area.bottom() + kAxisHeight;
}

}  // namespace zdr::host::plot
