// The byte map: the boxes of the file to scale, and below them a lane for each track, whose height is the
// share of the bytes there that belong to the track.
#include <algorithm>
#include <cmath>
#include <vector>

#include "host/messages.h"
#include "host/plot/draw/layout.h"
#include "host/plot/draw/panels.h"

namespace zdr::host::plot {
namespace {

constexpr double kBoxHeight = 24;
constexpr double kLaneHeight = 16;
constexpr double kLaneGap = 5;
constexpr size_t kMostSeparateBoxes = 200;

std::string box_text(const BoxFigure& box) {
  return (box.is_gap() ? "no box" : box.type) + ", " + grouped(box.size) + " bytes at offset " +
         grouped(box.offset);
}

// "ftyp 32 bytes · moov 2.35 kB · mdat 80.1 kB"
std::string boxes_text(const std::vector<BoxFigure>& boxes) {
  constexpr size_t kMost = 7;
  std::string text;
  for (size_t i = 0; i < std::min(boxes.size(), kMost); ++i) {
    text += (i == 0 ? "" : " · ") + (boxes[i].is_gap() ? "no box" : shortened(boxes[i].type, 8)) + " " +
            short_bytes(static_cast<double>(boxes[i].size));
  }
  return boxes.size() <= kMost ? text : text + " · " + counted(boxes.size() - kMost, "more box");
}

const char* style_of(const BoxFigure& box) {
  return box.is_gap() ? "loose" : box.is_media() ? "media" : "box";
}

class ByteMap {
 public:
  ByteMap(SvgWriter& svg, const FileFigure& figure, double top)
      : svg_(svg),
        figure_(figure),
        lanes_(figure.tracks.size() + 1),
        area_{{0, static_cast<double>(figure.grid.file_size), kLeft, kRight},
              {0, 1, top + kBoxHeight + static_cast<double>(lanes_) * (kLaneHeight + kLaneGap) + kLaneGap,
               top}} {}

  double draw() {
    begin_panel(svg_, "zdr-map", "Byte map", area_);
    for (size_t lane = 0; lane < lanes_; ++lane)
      svg_.rectangle(kLeft, lane_top(lane), kRight, lane_top(lane) + kLaneHeight, "panel");
    const Axis axis = byte_axis(area_.x.most, 10);
    draw_x_lines(svg_, area_, axis);
    draw_x_texts(svg_, area_, axis);
    draw_boxes();
    for (size_t i = 0; i < figure_.tracks.size(); ++i) {
      draw_lane(i, shortened(figure_.tracks[i].name, 12), figure_.tracks[i].map, plot::style_of('f', i));
    }
    draw_lane(lanes_ - 1, "in no track", bytes_in_no_track(), "loose");
    draw_faults();
    end_panel(svg_);
    return area_.bottom() + kAxisHeight;
  }

 private:
  double lane_top(size_t lane) const {
    return area_.top() + kBoxHeight + kLaneGap + static_cast<double>(lane) * (kLaneHeight + kLaneGap);
  }
  double column_bytes() const { return area_.x.most / static_cast<double>(figure_.grid.byte_columns); }
  double column_x(size_t column) const {
    return kLeft +
           (kRight - kLeft) * static_cast<double>(column) / static_cast<double>(figure_.grid.byte_columns);
  }

  void draw_boxes();
  void draw_many_boxes();
  void draw_lane(size_t lane, const std::string& label, const std::vector<uint64_t>& bytes,
                 const std::string& style);
  std::vector<uint64_t> bytes_in_no_track() const;
  void draw_faults();

  SvgWriter& svg_;
  const FileFigure& figure_;
  const size_t lanes_;
  const Area area_;
};

void ByteMap::draw_boxes() {
  const double bottom = area_.top() + kBoxHeight;
  svg_.text(kLeft - 6, area_.top() + 16, "mark", "boxes", SvgWriter::Anchor::kEnd);
  if (figure_.boxes.size() > kMostSeparateBoxes) return draw_many_boxes();
  for (const BoxFigure& box : figure_.boxes) {
    const double left = area_.x(static_cast<double>(box.offset));
    const double right = area_.x(static_cast<double>(box.offset + box.size));
    svg_.begin("g");
    svg_.element("title", {}, box_text(box));
    svg_.rectangle(left, area_.top(), right, bottom, style_of(box));
    const std::string label = box.is_gap() ? "no box" : box.type;
    if (right - left > 8 * static_cast<double>(label.size()) + 8)
      svg_.text((left + right) / 2, area_.top() + 16, "mark", label, SvgWriter::Anchor::kMiddle);
    svg_.end("g");
  }
}

// At most one box a pixel.
void ByteMap::draw_many_boxes() {
  for (const char* const style : {"media", "box", "loose"}) {
    PathData path;
    double drawn = kLeft - 2;
    for (const BoxFigure& box : figure_.boxes) {
      const double left = area_.x(static_cast<double>(box.offset));
      if (style != style_of(box) || left < drawn + 1) continue;
      drawn = left;
      path.rectangle(left, area_.top(), area_.x(static_cast<double>(box.offset + box.size)),
                     area_.top() + kBoxHeight);
    }
    svg_.path(path, style);
  }
}

void ByteMap::draw_lane(size_t lane, const std::string& label, const std::vector<uint64_t>& bytes,
                        const std::string& style) {
  const double bottom = lane_top(lane) + kLaneHeight;
  svg_.text(kLeft - 6, bottom - 4, "mark", label, SvgWriter::Anchor::kEnd);
  PathData path;
  double height = 0;
  for (size_t column = 0; column <= bytes.size(); ++column) {
    double next = 0;
    if (column < bytes.size() && bytes[column] != 0) {
      const double share = std::min(1.0, static_cast<double>(bytes[column]) / column_bytes());
      next = std::max(1.0, std::round(share * kLaneHeight * 2) / 2);
    }
    if (next == height) continue;
    height == 0 ? path.move(column_x(column), bottom) : path.horizontal(column_x(column));
    path.vertical(bottom - next);
    if (next == 0) path.close();
    height = next;
  }
  svg_.path(path, style);
}

// Media data that no track refers to, and bytes outside any box.
std::vector<uint64_t> ByteMap::bytes_in_no_track() const {
  std::vector<double> bytes(figure_.grid.byte_columns);
  const double width = column_bytes();
  for (const BoxFigure& box : figure_.boxes) {
    if (!box.is_media() && !box.is_gap()) continue;
    const auto begin = static_cast<double>(box.offset);
    const double end = begin + static_cast<double>(box.size);
    for (auto column = static_cast<size_t>(begin / width); column < bytes.size(); ++column) {
      const double left = static_cast<double>(column) * width;
      if (left >= end) break;
      bytes[column] += std::min(end, left + width) - std::max(begin, left);
    }
  }
  std::vector<uint64_t> rest(bytes.size());
  for (size_t column = 0; column < rest.size(); ++column) {
    double left = bytes[column];
    for (const TrackFigure& track : figure_.tracks) left -= static_cast<double>(track.map[column]);
    rest[column] = left >= 1 ? static_cast<uint64_t>(left) : 0;
  }
  return rest;
}

// A triangle below the boxes, and a line through the lanes.
void ByteMap::draw_faults() {
  constexpr size_t kMost = 16;
  size_t drawn = 0;
  for (const Fault& fault : figure_.faults) {
    if (!fault.offset || drawn++ == kMost) continue;
    const double x = area_.x(std::min(static_cast<double>(*fault.offset), area_.x.most));
    svg_.line(x, area_.top() - 4, x, area_.bottom(), "badline");
    PathData triangle;
    triangle.move(x - 5, area_.top() - 8);
    triangle.horizontal(x + 5);
    triangle.line(x, area_.top());
    triangle.close();
    svg_.begin("g");
    svg_.element("title", {}, fault.text);
    svg_.path(triangle, "bad");
    svg_.end("g");
  }
}

}  // namespace

double draw_byte_map(SvgWriter& svg, const FileFigure& figure, double top) {
  draw_head(svg, top, "Byte map", boxes_text(figure.boxes));
  return ByteMap(svg, figure, top + kHeadHeight).draw();
}

}  // namespace zdr::host::plot
