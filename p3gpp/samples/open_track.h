// Opens and closes a track for reading.
#pragma once

#include <cstdint>

#include "p3gpp/boxes/file_record.h"
#include "p3gpp/boxes/movie_boxes.h"
#include "p3gpp/parse/status.h"

namespace zdr::p3gpp {

// Opens the two streams of the track and gives each table its share of `cache_budget` bytes. A track that is
// already open is closed first. On failure the track is closed. May throw bad_alloc.
Status open_track(const P3gppFile& file, uint32_t track_id, uint32_t cache_budget, BoxNode*& trak);
// Closes the streams and frees the caches; does nothing on a closed track.
void close_track(TrackPath path) noexcept;

}  // namespace zdr::p3gpp
