// Draws the figures of a file as one SVG document without scripts or references.
#pragma once

#include <string>

#include "host/plot/figures.h"

namespace zdr::host::plot {

std::string draw_picture(const FileFigure& figure);

}  // namespace zdr::host::plot
