// What the edit list of a track shows of its media.
#pragma once

#include <cstdint>
#include <optional>

#include "host/formats/shown_media.h"
#include "host/inspect/iso/movie_records.h"
#include "host/inspect/iso/parsed_movie.h"
#include "host/inspect/iso/track_description.h"

namespace zdr::host {

// Media that the only edit of a track leaves out, in units of the track.
struct EditCut {
  uint64_t front = 0;  // from the composition time of the first access unit
  uint64_t tail = 0;   // 0 if it is less than the rounding of the movie's time scale
};
EditCut edit_cut(const ParsedMovie& movie, const TrackRecord& track);

// When the presentation of an open track begins, from its first sample, composition offset and first edit;
// nothing if the tables cannot be read.
std::optional<int64_t> start_of_track(P3gppTrack* opened, const TrackDescription& track,
                                      uint64_t movie_time_scale);

// False for several edits, and for edits with 64-bit times or another rate.
inline bool can_trim(const EditRecord& edits) {
  return edits.count == 1 && !edits.is_wide && edits.rate == 1;
}

// Returns nothing if the track cannot be trimmed or its tables cannot be read.
std::optional<ShownMedia> find_shown_media(const ParsedMovie& movie, const TrackRecord& track);

}  // namespace zdr::host
