// From a track ID or a track handle to the boxes that a query needs, and opening a track for reading.
#ifndef ZDR_P3GPP_TRACK_ACCESS_H
#define ZDR_P3GPP_TRACK_ACCESS_H

#include <cstdint>

#include "p3gpp/boxes/box_tree.h"
#include "p3gpp/boxes/sample_tables.h"
#include "p3gpp/parse/status.h"

namespace zdr::p3gpp {

// Reports the first link that is missing, P3GPP_ERR_NO_TRAK_PAYLOAD to P3GPP_ERR_NO_STBL_PAYLOAD.
Status walk_to_tables(const BoxNode* trak, TrackPath& path);

// P3GPP_ERR_NO_MOOV, P3GPP_ERR_NO_MOOV_PAYLOAD.
Status movie_of(const P3gppFile& file, MoovPayload*& moov);
// The first track with that ID; P3GPP_ERR_NO_TRACK.
Status find_track(const P3gppFile& file, uint32_t track_id, BoxNode*& trak);
// P3GPP_ERR_NO_TABLE without the sample descriptions or the sample sizes of the track. All queries want both,
// but for opening a track and for locating, reading and timing a sample.
Status require_descriptions_and_sizes(const TrackPath& path);
// find_track(), walk_to_tables() and require_descriptions_and_sizes().
Status find_tables(const P3gppFile& file, uint32_t track_id, TrackPath& path);

// Opens the two streams of the track and gives each table its share of `cache_budget` bytes. A track that is
// open already is closed first. On failure the track is closed. May throw bad_alloc.
Status open_track(const P3gppFile& file, uint32_t track_id, uint32_t cache_budget, BoxNode*& trak);
// Closes the streams and frees the caches; harmless on a closed track.
void close_track(TrackPath path) noexcept;

}  // namespace zdr::p3gpp

#endif
