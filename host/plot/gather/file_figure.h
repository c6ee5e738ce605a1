// Gathers all that the picture of a file shows, from the filter, the parser and the readers.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "host/exit_code.h"
#include "host/messages.h"
#include "host/plot/figures.h"
#include "host/plot/gather/unit_collector.h"

namespace zdr::host::plot {

struct FigureRequest {
  std::string file;
  std::optional<int64_t> seek_100ns;
  uint32_t stall_seconds;
};

// Fills `figure`. Reports what is missing or damaged. Nothing can be drawn if the figure has neither boxes
// nor tracks, or after kInterrupted.
ExitCode gather_figure(const FigureRequest& request, const Watch& watch, Messages& messages,
                       FileFigure& figure);

}  // namespace zdr::host::plot
