// Completes the description of a movie with what the parser and the filter make of its tracks.
#pragma once

#include <functional>
#include <span>
#include <string>

#include "host/graph/source_player.h"
#include "host/inspect/iso/movie_description.h"
#include "host/inspect/iso/parsed_movie.h"

namespace zdr::host {

// `movie` is open. Of the pins, those that offer a media type play a track. `find_peaks`: looks up every
// sample; then `watch` is called as by find_peak_bit_rate(). Throws std::bad_alloc.
MovieDescription report_movie(const std::string& file, const ParsedMovie& movie,
                              std::span<const PinEntry> pins, bool find_peaks,
                              const std::function<bool(uint64_t done, uint64_t total)>& watch);

}  // namespace zdr::host
