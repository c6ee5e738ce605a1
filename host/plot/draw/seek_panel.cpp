// Where a seek lands, on an axis of its own around the target, and the same in words beside it.
#include <algorithm>
#include <vector>

#include "host/plot/draw/layout.h"
#include "host/plot/draw/panels.h"
#include "host/plot/draw/words.h"

namespace zdr::host::plot {
namespace {

constexpr double kLaneHeight = 30;
constexpr double kChartRight = 620;
constexpr double kWordsLeft = 644;
constexpr double kLineHeight = 18;

// Seconds from the target, with some room at both ends.
Scale scale_of(const SeekFigure& seek) {
  double least = 0;
  double most = 0;
  for (const PinLanding& pin : seek.pins) {
    for (const int64_t time : {pin.first, pin.segment_start, pin.shown.value_or(pin.first)}) {
      least = std::min(least, to_seconds(time - seek.target));
      most = std::max(most, to_seconds(time - seek.target));
    }
  }
  const double room = std::max(0.02, (most - least) * 0.12);
  return {least - room, most + room * 2, kLeft, kChartRight};
}

void draw_diamond(SvgWriter& svg, double x, double y, const std::string& style) {
  PathData path;
  path.move(x, y - 7);
  path.line(x + 6, y);
  path.line(x, y + 7);
  path.line(x - 6, y);
  path.close();
  svg.path(path, style);
}

// Preroll is hatched, what is shown has the fill of the track.
void draw_pin(SvgWriter& svg, const Area& area, int64_t target, const PinLanding& pin, size_t track,
              double top) {
  const double middle = top + kLaneHeight / 2;
  const double first = area.x(to_seconds(pin.first - target));
  const double shown = pin.shown ? area.x(to_seconds(*pin.shown - target)) : area.x.end;
  svg.text(kLeft - 6, middle + 4, "mark", shortened(pin.pin, 12), SvgWriter::Anchor::kEnd);
  if (shown > first) svg.rectangle(first, middle - 6, shown, middle + 6, "loose");
  if (pin.shown) svg.rectangle(shown, middle - 6, area.x.end, middle + 6, style_of('p', track));
  draw_diamond(svg, first, middle, style_of('f', track));
}

size_t track_of(const FileFigure& figure, const std::string& pin) {
  const auto found = std::ranges::find(figure.tracks, pin, &TrackFigure::name);
  return found == figure.tracks.end() ? 0 : static_cast<size_t>(found - figure.tracks.begin());
}

}  // namespace

double draw_seek(SvgWriter& svg, const FileFigure& figure, double top) {
  const SeekFigure& seek = *figure.seek;
  const double begin = top + kHeadHeight;
  const std::vector<std::string> words = seek_texts(seek);
  const double height = std::max(static_cast<double>(seek.pins.size()) * kLaneHeight + 8,
                                 static_cast<double>(words.size()) * kLineHeight - kLineHeight / 2);
  const Area area{scale_of(seek), {0, 1, begin + height, begin}};
  draw_head(
      svg, top, "Seek to " + format_time(seek.target),
      "diamond: first sample delivered; grey hatch: preroll; dashes: target; line: start of the segment");
  begin_panel(svg, "zdr-seek", "Where the seek lands, in seconds from the target", area);
  const Axis axis = signed_axis(area.x.least, area.x.most, 6);
  draw_axes(svg, area, axis, {});
  draw_x_texts(svg, area, axis);
  svg.line(area.x(0), area.top(), area.x(0), area.bottom(), "seek");
  for (const PinLanding& pin : seek.pins) {
    const double x = area.x(to_seconds(pin.segment_start - seek.target));
    svg.line(x, area.top(), x, area.bottom(), "segment");
  }
  double lane = begin + (height - static_cast<double>(seek.pins.size()) * kLaneHeight) / 2;
  for (const PinLanding& pin : seek.pins) {
    draw_pin(svg, area, seek.target, pin, track_of(figure, pin.pin), lane);
    lane += kLaneHeight;
  }
  end_panel(svg);
  double line = begin + 12;
  for (const std::string& text : words) {
    const double indent = text.starts_with(' ') ? 16 : 0;
    svg.text(kWordsLeft + indent, line, "", shortened(text, 64));
    line += kLineHeight;
  }
  return area.bottom() + kAxisHeight;
}

}  // namespace zdr::host::plot
