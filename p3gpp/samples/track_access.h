// Finds the boxes that a query needs, from a track ID or a track node.
#pragma once

#include <cstdint>

#include "p3gpp/boxes/file_record.h"
#include "p3gpp/boxes/movie_boxes.h"
#include "p3gpp/parse/status.h"

namespace zdr::p3gpp {

// Fails with the status of the first missing box, P3GPP_ERR_NO_TRAK_PAYLOAD to P3GPP_ERR_NO_STBL_PAYLOAD.
Status walk_to_tables(const BoxNode* trak, TrackPath& path);

// P3GPP_ERR_NO_MOOV, P3GPP_ERR_NO_MOOV_PAYLOAD.
Status movie_of(const P3gppFile& file, MoovPayload*& moov);
// The first track with that ID; P3GPP_ERR_NO_TRACK.
Status find_track(const P3gppFile& file, uint32_t track_id, BoxNode*& trak);
// P3GPP_ERR_NO_TABLE without the sample descriptions or the sample sizes of the track.
// Kept: all queries need both, except opening a track, and locating, reading and timing a sample.
Status require_descriptions_and_sizes(const TrackPath& path);
// Calls find_track(), walk_to_tables() and require_descriptions_and_sizes().
Status find_tables(const P3gppFile& file, uint32_t track_id, TrackPath& path);

}  // namespace zdr::p3gpp
