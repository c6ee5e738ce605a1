// Notes on the parts of a file that the filter leaves out on purpose, which explain differences from other
// players.
#pragma once

#include <string>
#include <vector>

#include "host/inspect/parsed_movie.h"
#include "host/messages.h"

namespace zdr::host {

// One note each on further tracks, IDs that two tracks have or one lacks, tracks of other kinds, movie
// fragments, edits that are not applied and a damaged tail. No notes for a movie that did not open.
std::vector<std::string> left_out_notes(const ParsedMovie& movie);

// True if the audio or the video pin of the movie has a track of another type, since that has its ID.
bool has_track_of_another_type(const ParsedMovie& movie, bool is_audio);

// `movie` may be null.
void report_left_out(const std::string& file, const ParsedMovie* movie, Messages& messages);

}  // namespace zdr::host
