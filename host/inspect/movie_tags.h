// The tags of an ISO media file, from the parser.
#pragma once

#include <cstdint>
#include <vector>

#include "host/inspect/parsed_movie.h"
#include "host/inspect/tag_record.h"

namespace zdr::host {

// In the order of the parser's codes. The movie is open.
std::vector<TagRecord> movie_tags(const ParsedMovie& movie);
// The bytes of the cover image; empty without one.
std::vector<uint8_t> movie_cover(const ParsedMovie& movie);

}  // namespace zdr::host
