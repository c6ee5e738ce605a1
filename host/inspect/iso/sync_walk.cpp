// Searches forward from one sync sample to the next.
#include "host/inspect/iso/sync_walk.h"

#include "host/memory.h"

namespace zdr::host {

SyncWalk::SyncWalk(P3gppTrack* track, uint32_t samples) : track_(track), samples_(samples) {
  uint32_t all = 0;
  is_every_sample_ = P3GPP_GetAllSyncCount(track, &all) == P3GPP_OK && all != 0;
  int32_t is_sync = 0;
  begins_with_sync_ = P3GPP_IsSyncSample(track, 1, &is_sync) == P3GPP_OK && is_sync != 0;
}

// From a sync sample, a forward search finds the next one; from any other sample it may return the sample
// itself.
uint32_t SyncWalk::next() {
  if (is_every_sample_) return last_ < samples_ ? ++last_ : 0;
  if (last_ == 0 && begins_with_sync_) return last_ = 1;
  uint32_t found = last_ == 0 ? 1 : last_;
  const int32_t status =
      with_memory(P3GPP_FindSyncSample(track_, &found, P3GPP_SYNC_FORWARD), P3GPP_ERR_NO_MEMORY);
  if (status != P3GPP_OK && status != P3GPP_ERR_NO_SYNC_SAMPLE) status_ = status;
  const bool is_next = status == P3GPP_OK && found > last_ && found <= samples_;
  return is_next ? last_ = found : 0;
}

}  // namespace zdr::host
