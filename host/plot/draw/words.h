// The figures in words, for the picture and for those who cannot see it.
#pragma once

#include <string>
#include <vector>

#include "host/plot/figures.h"

namespace zdr::host::plot {

// Bits per second in a column of the picture.
double rate_of(const FileFigure& figure, const TrackFigure& track, size_t column);
double highest_rate(const FileFigure& figure, const TrackFigure& track);
// Rounds to two significant digits.
double round_to_digits(double value);

// "AVC, 100 access units, 57.5 kB, average 114 kbit/s, peak second 201 kbit/s, 3 key frames"
std::string track_text(const TrackFigure& track);
// What the picture does not show.
inline constexpr const char* kScope =
    "Damage inside access units and frames is not shown; zdr verify finds it";
// What is missing of the tracks, and the faults of the file.
std::vector<std::string> fault_texts(const FileFigure& figure);
// Where a seek lands, one sentence a line.
std::vector<std::string> seek_texts(const SeekFigure& seek);
// The picture as a whole.
std::string description(const FileFigure& figure);

}  // namespace zdr::host::plot
