// Notes on the parts of a file that the filter leaves out on purpose, which explain differences from other
// players.
#pragma once

#include <string>
#include <vector>

#include "host/inspect/parsed_movie.h"
#include "host/messages.h"

namespace zdr::host {

// One note each on further tracks, an ID that two tracks have, tracks of other kinds, movie fragments, edits
// that are not applied and a damaged tail. No notes for a movie that did not open.
std::vector<std::string> left_out_notes(const ParsedMovie& movie);

// `movie` may be null.
void report_left_out(const std::string& file, const ParsedMovie* movie, Messages& messages);

}  // namespace zdr::host
