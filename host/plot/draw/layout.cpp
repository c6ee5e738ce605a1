// Draws axes so that their texts neither overlap nor leave the picture.
#include "host/plot/draw/layout.h"

#include <algorithm>
#include <vector>

#include "host/plot/svg/style.h"
#include "host/text/decoded_text.h"

namespace zdr::host::plot {
namespace {

// A time that is marked by a line.
struct TimeMark {
  double time;
  std::string text;
  const char* line_style;
  const char* text_style;
};

std::vector<TimeMark> marks_of(const FileFigure& figure, size_t first_track, size_t tracks) {
  std::vector<TimeMark> marks;
  if (figure.seek) marks.push_back({to_seconds(figure.seek->target), "seek target", "seek", "mark"});
  for (size_t i = first_track; i < std::min(first_track + tracks, figure.tracks.size()); ++i) {
    const TrackFigure& track = figure.tracks[i];
    if (track.lost_units != 0)
      marks.push_back({track.lost_from, track.name + " lost from here", "badline", "mark fault"});
    if (!track.fault.empty())
      marks.push_back({track.fault_from, track.name + " ends here", "badline", "mark fault"});
  }
  std::ranges::stable_sort(marks, {}, &TimeMark::time);
  return marks;
}

}  // namespace

std::string style_of(char kind, size_t track) {
  return {kind, static_cast<char>('0' + track % kTrackStyles)};
}

void draw_head(SvgWriter& svg, double top, std::string_view title, std::string_view remark) {
  svg.text_with_remark(kMargin, top + 15, "head", title, "remark", remark);
}

void begin_panel(SvgWriter& svg, std::string_view id, std::string_view title, const Area& area) {
  const auto range = [](const Scale& scale) {
    return coordinate(scale.begin) + " " + coordinate(scale.end) + " " + std::to_string(scale.least) + " " +
           std::to_string(scale.most);
  };
  svg.begin("g", {{"id", std::string(id)}, {"data-x", range(area.x)}, {"data-y", range(area.y)}});
  svg.element("title", {}, title);
}

void end_panel(SvgWriter& svg) {
  svg.end("g");
}

void draw_x_lines(SvgWriter& svg, const Area& area, const Axis& axis) {
  PathData lines;
  for (const Axis::Mark& mark : axis.marks) {
    lines.move(area.x(mark.value), area.top());
    lines.vertical(area.bottom());
  }
  svg.path(lines, "grid");
}

void draw_x_texts(SvgWriter& svg, const Area& area, const Axis& axis) {
  constexpr double kRoom = 40;  // for the unit at the end of the axis
  for (const Axis::Mark& mark : axis.marks) {
    const double x = area.x(mark.value);
    if (x < area.x.end - kRoom || axis.marks.size() == 1)
      svg.text(x, area.bottom() + 15, "mark", mark.text, SvgWriter::Anchor::kMiddle);
  }
  svg.text(area.x.end, area.bottom() + 15, "mark", axis.unit, SvgWriter::Anchor::kEnd);
}

void draw_axes(SvgWriter& svg, const Area& area, const Axis& x, const Axis& y) {
  svg.rectangle(area.x.begin, area.top(), area.x.end, area.bottom(), "panel");
  draw_x_lines(svg, area, x);
  for (const Axis::Mark& mark : y.marks) {
    const double at = area.y(mark.value);
    svg.line(area.x.begin, at, area.x.end, at, "grid");
    svg.text(area.x.begin - 6, at + 4, "mark", mark.text, SvgWriter::Anchor::kEnd);
  }
  svg.line(area.x.begin, area.top(), area.x.begin, area.bottom(), "axis");
  svg.line(area.x.begin, area.bottom(), area.x.end, area.bottom(), "axis");
}

Scale time_scale(const FileFigure& figure) {
  return {0, figure.grid.end, kLeft, kRight};
}

void draw_time_marks(SvgWriter& svg, const FileFigure& figure, const Area& area, size_t first_track,
                     size_t tracks, bool has_texts) {
  constexpr double kLineHeight = 14;
  double row = 0;
  for (const TimeMark& mark : marks_of(figure, first_track, tracks)) {
    const double x = area.x(std::min(mark.time, area.x.most));
    svg.line(x, area.top(), x, area.bottom(), mark.line_style);
    if (!has_texts) continue;
    // Offsets usually rise with time, so that there is room above at the beginning, and below later.
    const double place = (x - area.x.begin) / (area.x.end - area.x.begin);
    const double y = place < 0.25 ? area.top() + kLineHeight + row : area.bottom() - 8 - row;
    const bool is_right = place > 0.6;
    svg.text(is_right ? x - 5 : x + 5, y, mark.text_style, mark.text,
             is_right ? SvgWriter::Anchor::kEnd : SvgWriter::Anchor::kStart);
    row += kLineHeight;
  }
}

std::string shortened(std::string_view utf8, size_t most) {
  const auto begins_character = [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; };
  size_t characters = 0;
  for (size_t i = 0; i < utf8.size(); ++i) {
    if (begins_character(utf8[i]) && characters++ == most) return std::string(utf8.substr(0, i)) + "…";
  }
  return std::string(utf8);
}

}  // namespace zdr::host::plot
