// Corrects the lookup by time of the parser, which may return the access unit before the one wanted.
#include "host/inspect/iso/unit_lookup.h"

#include <algorithm>

namespace zdr::host {

UnitLookup::UnitLookup(P3gppTrack* track, uint32_t units) : track_(track), units_(units) {
  is_usable_ = read(1, shift_) && units > 0;
}

uint32_t UnitLookup::unit_at(uint64_t time) {
  auto found = static_cast<uint32_t>(time);
  uint32_t number = 0;
  is_usable_ = is_usable_ && time <= UINT32_MAX && P3GPP_TimeToSample(track_, &found, &number) == P3GPP_OK;
  if (is_usable_ && number < units_ && decoding_time(number + 1) <= time) ++number;
  return std::min(std::max(number, 1u), units_);
}

uint32_t UnitLookup::decodable_from(uint32_t number, bool is_audio) {
  // A frame of sound overlaps with the one before it.
  if (is_audio) return std::max(number, 2u) - 1;
  int32_t is_sync = 0;
  is_usable_ = is_usable_ && P3GPP_IsSyncSample(track_, number, &is_sync) == P3GPP_OK;
  if (is_sync != 0) return number;
  is_usable_ = is_usable_ && P3GPP_FindSyncSample(track_, &number, P3GPP_SYNC_BACKWARD) == P3GPP_OK;
  return number;
}

uint64_t UnitLookup::decoding_time(uint32_t number) {
  Times times;
  is_usable_ = is_usable_ && read(number, times);
  return times.decoding - shift_.decoding;
}

uint64_t UnitLookup::composition_time(uint32_t number) {
  Times times;
  is_usable_ = is_usable_ && read(number, times);
  return times.composition;
}

}  // namespace zdr::host
