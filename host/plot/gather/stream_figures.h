// Gathers the figures of speech and AAC files, which have frames one after the other and no tables.
#pragma once

#include <string>

#include "host/plot/figures.h"
#include "host/plot/gather/unit_collector.h"

namespace zdr::host::plot {

struct SpeechStream {
  TrackFigure label;
  bool is_wide_band;
  double duration;  // as the reader states it
};

// Add the only track of the file, whose name and codec are given, and the faults that end it. `watch` is
// called regularly; returning false ends the gathering.
void add_speech(const std::string& file, const SpeechStream& stream, FileFigure& figure);
void add_aac(const std::string& file, const TrackFigure& label, const Watch& watch, FileFigure& figure);

}  // namespace zdr::host::plot
