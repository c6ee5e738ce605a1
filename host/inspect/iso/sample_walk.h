// Walks over the samples of an open track in order, many at a time.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <span>

#include "host/memory.h"
#include "p3gpp/p3gpp.h"

namespace zdr::host {

class SampleWalk {
 public:
  // The track must outlive the walk; its sync samples may be looked up meanwhile, nothing else.
  SampleWalk(P3gppTrack* track, uint32_t samples) : track_(track), samples_(samples) {}

  // Returns the next samples, without their bytes, until the next call. Empty after the last one, and where
  // one cannot be located. Throws std::bad_alloc.
  std::span<const P3gppSample> next() {
    const uint32_t count = status_ == P3GPP_OK ? std::min(samples_ - done_, uint32_t{kBatch}) : 0;
    if (count == 0) return {};
    batch_[0] = last_;
    batch_[0].number = done_ + 1;
    uint32_t located = 0;
    status_ = with_memory(P3GPP_LocateSamples(track_, batch_.data(), count, &located), P3GPP_ERR_NO_MEMORY);
    done_ += located;
    if (located != 0) last_ = batch_[located - 1];
    return std::span(batch_).first(located);
  }
  uint32_t done() const { return done_; }     // samples that were returned
  int32_t status() const { return status_; }  // of the sample after them

 private:
  static constexpr size_t kBatch = 256;

  P3gppTrack* track_;
  uint32_t samples_;
  uint32_t done_ = 0;
  int32_t status_ = P3GPP_OK;
  P3gppSample last_{};
  std::array<P3gppSample, kBatch> batch_{};
};

}  // namespace zdr::host
