// The part of a track's media that its edit list shows; `zdr play --trim` leaves out the rest.
#pragma once

#include <cstdint>

namespace zdr::host {

// Times are in units of the track, numbers of access units from 1.
struct ShownMedia {
  uint64_t time_scale = 0;  // units per second
  uint64_t begin = 0;
  uint64_t end = UINT64_MAX;  // UINT64_MAX: to the end of the media

  // The access units of the shown media, and those before them that decoding needs: from the sync sample for
  // video, one more for audio.
  uint32_t first_unit = 1;
  uint32_t last_unit = UINT32_MAX;
  // The durations of the media in these access units before and after the shown media.
  uint64_t rest_before = 0;
  uint64_t rest_after = 0;
};

}  // namespace zdr::host
