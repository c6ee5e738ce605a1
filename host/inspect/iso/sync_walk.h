// Walks forward over the sync samples of an open track.
#pragma once

#include <cstdint>

#include "p3gpp/p3gpp.h"

namespace zdr::host {

class SyncWalk {
 public:
  // The track must outlive the walk; its other lookups may be used meanwhile, except those of sync samples.
  SyncWalk(P3gppTrack* track, uint32_t samples);

  // True if the track has no table of sync samples.
  bool every_sample_is_sync() const { return is_every_sample_; }
  bool begins_with_sync_sample() const { return begins_with_sync_; }
  // Returns the number of the next sync sample; 0 after the last one, and where the table cannot be read.
  // Throws std::bad_alloc.
  uint32_t next();
  int32_t status() const { return status_; }  // of the table

 private:
  P3gppTrack* track_;
  uint32_t samples_;
  uint32_t last_ = 0;  // that was returned
  bool is_every_sample_ = false;
  bool begins_with_sync_ = false;
  int32_t status_ = P3GPP_OK;
};

}  // namespace zdr::host
