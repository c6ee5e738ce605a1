// The panels of a picture, one below the other. Each function draws from `top` down and returns where it
// ends.
#pragma once

#include "host/plot/figures.h"
#include "host/plot/svg/svg_writer.h"

namespace zdr::host::plot {

double draw_byte_map(SvgWriter& svg, const FileFigure& figure, double top);
double draw_offsets(SvgWriter& svg, const FileFigure& figure, double top);
// Bit rate, key frames and sizes of one track.
double draw_track(SvgWriter& svg, const FileFigure& figure, size_t track, double top);
double draw_seek(SvgWriter& svg, const FileFigure& figure, double top);

}  // namespace zdr::host::plot
