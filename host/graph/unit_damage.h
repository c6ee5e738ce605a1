// Finds damage in access units without decoding them: sizes and start codes that are not valid for the codec.
// This detects media data that was overwritten or never written.
#pragma once

#include <dshow.h>

#include <cstdint>

#include "host/text/bytes.h"

namespace zdr::host {

struct UnitReport {
  const char* damage = nullptr;  // what is wrong with the sample; null if nothing is
  uint32_t speech_frames = 0;    // number of AMR frames before the damage
  uint32_t damaged_units = 1;    // if there is damage; all of them are known for AAC only
};

// Examines one media sample, which may hold several access units. AAC is only parsed: some damage of spectral
// replication is found when it is decoded.
UnitReport examine_units(const AM_MEDIA_TYPE& type, Bytes sample);

}  // namespace zdr::host
