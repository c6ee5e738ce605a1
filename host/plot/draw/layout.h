// What the panels share: widths, axes and marks.
#pragma once

#include <string>
#include <string_view>

#include "host/plot/figures.h"
#include "host/plot/svg/scale.h"
#include "host/plot/svg/svg_writer.h"

namespace zdr::host::plot {

inline constexpr double kWidth = 1120;
inline constexpr double kLeft = 96;  // of the panels; what is before it holds labels
inline constexpr double kRight = 1096;
inline constexpr double kMargin = 16;  // of the picture
inline constexpr double kHeadHeight = 28;
inline constexpr double kAxisHeight = 22;  // of the texts below a panel

// The area of a panel, and where values are in it.
struct Area {
  Scale x;
  Scale y;

  double top() const { return y.end; }
  double bottom() const { return y.begin; }
};

// "f0", "s1" ...: the class of a track with this number.
std::string style_of(char kind, size_t track);

// The title of a panel, with a remark after it.
void draw_head(SvgWriter& svg, double top, std::string_view title, std::string_view remark);
// Begins the group of a panel: a name for screen readers, and attributes from which programs can compute
// values from coordinates. Ends with end_panel().
void begin_panel(SvgWriter& svg, std::string_view id, std::string_view title, const Area& area);
void end_panel(SvgWriter& svg);
// The background with the lines of both axes, and the texts of the vertical one.
void draw_axes(SvgWriter& svg, const Area& area, const Axis& x, const Axis& y);
void draw_x_lines(SvgWriter& svg, const Area& area, const Axis& axis);
// Below the area, in kAxisHeight.
void draw_x_texts(SvgWriter& svg, const Area& area, const Axis& axis);

Scale time_scale(const FileFigure& figure);
// The times that a seek concerns, and those from which on a track is missing, as lines through a panel.
// `tracks` are those of the panel.
void draw_time_marks(SvgWriter& svg, const FileFigure& figure, const Area& area, size_t first_track,
                     size_t tracks, bool has_texts);

// Takes at most `most` characters of a text, with an ellipsis if there are more.
std::string shortened(std::string_view utf8, size_t most);

}  // namespace zdr::host::plot
