// Gathers the figures of ISO media: the boxes at the top level, and every track by its sample tables.
#pragma once

#include <string>

#include "host/inspect/iso/parsed_movie.h"
#include "host/plot/figures.h"
#include "host/plot/gather/unit_collector.h"

namespace zdr::host::plot {

// A track that a pin of the filter plays.
struct PinLabel {
  uint32_t track_type;  // P3GPP_TRACK_
  std::string name;     // "Video0"
};

// Adds the boxes at the top level, as far as they can be read. They need not be those of a sound movie.
void add_boxes(const std::string& file, FileFigure& figure);

// Adds the tracks of an open movie. The samples are located by the parser, as for playing, but not read.
// `watch` is called regularly; returning false ends the gathering.
void add_tracks(const std::string& file, const ParsedMovie& movie, const std::vector<PinLabel>& pins,
                const Watch& watch, FileFigure& figure);

}  // namespace zdr::host::plot
