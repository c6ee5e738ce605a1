// Looks up the access units of one track by media time.
#pragma once

#include <cstdint>

#include "p3gpp/p3gpp.h"

namespace zdr::host {

// Times are in units of the track, without the shift by empty edits; numbers begin with 1.
class UnitLookup {
 public:
  // `track` must be open, and has `units` access units.
  UnitLookup(P3gppTrack* track, uint32_t units);

  // False if a table could not be read: then the results are invalid.
  bool is_usable() const { return is_usable_; }
  // The unit that is decoded at a time, or the nearest one.
  uint32_t unit_at(uint64_t time);
  // The unit with which a decoder must begin, so that unit `number` is decoded completely.
  uint32_t decodable_from(uint32_t number, bool is_audio);
  uint64_t decoding_time(uint32_t number);
  uint64_t composition_time(uint32_t number);
  // How much empty edits delay the track.
  uint32_t shift() const { return shift_.decoding; }

 private:
  struct Times {
    uint32_t decoding = 0;
    uint32_t composition = 0;
  };
  bool read(uint32_t number, Times& times) {
    return P3GPP_GetSampleTime(track_, number, &times.decoding, &times.composition) == P3GPP_OK;
  }

  P3gppTrack* track_;
  uint32_t units_;
  Times shift_;  // of the first unit: the parser adds the shift to every decoding time
  bool is_usable_ = false;
};

}  // namespace zdr::host
