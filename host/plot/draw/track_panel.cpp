// A track over time: its bit rate, its key frames, and the sizes of its units as least, mean and most of a
// column.
#include <algorithm>

#include "host/messages.h"
#include "host/plot/draw/layout.h"
#include "host/plot/draw/panels.h"
#include "host/plot/draw/words.h"

namespace zdr::host::plot {
namespace {

constexpr double kRateHeight = 72;
constexpr double kSizeHeight = 72;
constexpr double kCaptionHeight = 18;
constexpr double kKeyHeight = 16;

class TrackPanel {
 public:
  TrackPanel(SvgWriter& svg, const FileFigure& figure, size_t number)
      : svg_(svg),
        figure_(figure),
        number_(number),
        track_(figure.tracks[number]),
        time_(time_scale(figure)),
        marks_(time_axis(figure.grid.end, 10)) {}

  double draw(double top) {
    const double x = kMargin;
    svg_.rectangle(x, top + 4, x + 14, top + 16,
                   "chunk " + style_of('p', number_) + " " + style_of('s', number_));
    svg_.text_with_remark(x + 22, top + 15, "head", shortened(track_.name, 24), "remark", track_text(track_));
    const double rates = draw_rates(top + kHeadHeight);
    return draw_sizes(track_.key_frames ? draw_keys(rates) : rates);
  }

 private:
  std::string id(const char* panel) const { return std::string("zdr-") + panel + std::to_string(number_); }
  double rate_time(size_t column) const {
    return column == figure_.grid.rate_columns ? figure_.grid.end
                                               : static_cast<double>(column) * figure_.grid.rate_width;
  }
  double column_x(size_t column) const {
    return time_(static_cast<double>(column) * figure_.grid.end /
                 static_cast<double>(figure_.grid.time_columns));
  }

  double draw_rates(double top);
  double draw_keys(double top);
  double draw_sizes(double top);
  PathData band(const Area& area) const;
  PathData mean(const Area& area) const;

  SvgWriter& svg_;
  const FileFigure& figure_;
  const size_t number_;
  const TrackFigure& track_;
  const Scale time_;
  const Axis marks_;
};

// Steps, closed to an area, with a line on top.
double TrackPanel::draw_rates(double top) {
  const double begin = top + kCaptionHeight;
  const Area area{time_,
                  {0, std::max(1.0, highest_rate(figure_, track_)) * 1.05, begin + kRateHeight, begin}};
  const Axis axis = rate_axis(area.y.most, 4);
  svg_.text(kLeft, begin - 5, "mark",
            "bit rate, " + axis.unit + " (columns of " + width_text(figure_.grid.rate_width) + ")");
  begin_panel(svg_, id("rate"), track_.name + ": bit rate", area);
  draw_axes(svg_, area, marks_, axis);
  PathData line;
  line.move(time_(0), area.bottom());
  double level = 0;
  for (size_t i = 0; i < track_.rates.size(); ++i) {
    const double rate = rate_of(figure_, track_, i);
    if (rate == level || rate_time(i) >= track_.end) continue;
    line.horizontal(time_(rate_time(i)));
    line.vertical(area.y(rate));
    level = rate;
  }
  line.horizontal(time_(track_.end));
  PathData closed = line;
  closed.vertical(area.bottom());
  closed.close();
  svg_.path(closed, "pale " + style_of('f', number_));
  svg_.path(line, "line " + style_of('s', number_));
  draw_time_marks(svg_, figure_, area, number_, 1, false);
  end_panel(svg_);
  return area.bottom();
}

double TrackPanel::draw_keys(double top) {
  const double begin = top + 6;
  const Area area{time_, {0, 1, begin + kKeyHeight, begin}};
  begin_panel(svg_, id("keys"), track_.name + ": key frames", area);
  svg_.text(kLeft - 6, begin + 12, "mark", "key frames", SvgWriter::Anchor::kEnd);
  PathData ticks;
  for (size_t column = 0; column < track_.keys.size(); ++column) {
    if (!track_.keys[column]) continue;
    ticks.move(column_x(column), area.bottom());
    ticks.vertical(area.top());
  }
  svg_.path(ticks, "key " + style_of('s', number_));
  svg_.line(kLeft, area.bottom(), kRight, area.bottom(), "grid");
  end_panel(svg_);
  return area.bottom();
}

// Up one side along the largest sizes, and back along the smallest. A column without units repeats the one
// before it.
PathData TrackPanel::band(const Area& area) const {
  PathData path;
  std::vector<size_t> filled;
  for (size_t i = 0; i < track_.sizes.size(); ++i) {
    if (track_.sizes[i].count != 0) filled.push_back(i);
  }
  if (filled.empty()) return path;
  const auto right_of = [&](size_t place) {
    return place + 1 < filled.size() ? column_x(filled[place + 1]) : time_(std::max(track_.end, 0.0));
  };
  path.move(column_x(filled.front()), area.y(track_.sizes[filled.front()].most));
  for (size_t place = 0; place < filled.size(); ++place) {
    path.vertical(area.y(track_.sizes[filled[place]].most));
    path.horizontal(right_of(place));
  }
  for (size_t place = filled.size(); place-- > 0;) {
    path.vertical(area.y(track_.sizes[filled[place]].least));
    path.horizontal(column_x(filled[place]));
  }
  path.close();
  return path;
}

PathData TrackPanel::mean(const Area& area) const {
  PathData path;
  for (size_t i = 0; i < track_.sizes.size(); ++i) {
    const SizeColumn& column = track_.sizes[i];
    if (column.count == 0) continue;
    const double y = area.y(static_cast<double>(column.bytes) / column.count);
    if (path.is_empty()) {
      path.move(column_x(i), y);
    } else {
      path.horizontal(column_x(i));
      path.vertical(y);
    }
  }
  if (!path.is_empty()) path.horizontal(time_(std::max(track_.end, 0.0)));
  return path;
}

double TrackPanel::draw_sizes(double top) {
  const double begin = top + kCaptionHeight;
  uint32_t most = 1;
  for (const SizeColumn& column : track_.sizes) most = std::max(most, column.most);
  const Area area{time_, {0, most * 1.05, begin + kSizeHeight, begin}};
  const Axis axis = byte_axis(area.y.most, 4);
  svg_.text(
      kLeft, begin - 5, "mark",
      "size of " + track_.unit + "s, " + axis.unit + " (band: least to most, line: mean; columns of " +
          width_text(round_to_digits(figure_.grid.end / static_cast<double>(figure_.grid.time_columns))) +
          ")");
  begin_panel(svg_, id("size"), track_.name + ": sizes of " + track_.unit + "s", area);
  draw_axes(svg_, area, marks_, axis);
  draw_x_texts(svg_, area, marks_);
  const std::string fill = style_of('f', number_);
  svg_.path(band(area), "band " + fill);
  svg_.path(mean(area), "mean " + style_of('s', number_));
  draw_time_marks(svg_, figure_, area, number_, 1, false);
  end_panel(svg_);
  return area.bottom() + kAxisHeight;
}

}  // namespace

double draw_track(SvgWriter& svg, const FileFigure& figure, size_t track, double top) {
  return TrackPanel(svg, figure, track).draw(top);
}

}  // namespace zdr::host::plot
