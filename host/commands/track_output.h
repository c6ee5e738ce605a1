// The tracks of an ISO media file and the file itself, as text and as JSON.
#pragma once

#include <iosfwd>

#include "host/inspect/iso/movie_description.h"
#include "host/json/json_writer.h"

namespace zdr::host {

// Two lines about the file, and a table with a row for each track and lines with more about it, at most 79
// characters wide unless a single value is longer.
void print_movie(const MovieDescription& movie, bool is_full, std::ostream& out);

// Writes the members "container" and "tracks".
void add_movie(JsonWriter& json, const MovieDescription& movie);

}  // namespace zdr::host
