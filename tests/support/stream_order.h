// StreamOrder: checks the order of calls to an input pin and records every breach of its rules. Streaming
// calls (new segment, sample, end of stream) must not overlap; each run of the stream begins with a new
// segment; after an end of stream or a refused sample nothing follows until the stream begins anew.
#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace zdr::test {

class StreamOrder {
 public:
  enum class Call { kNewSegment, kSample, kEndOfStream };

  // Begins a streaming call, which ends when the result is released.
  [[nodiscard]] std::shared_ptr<const void> begin(Call call) {
    const std::lock_guard lock(mutex_);
    if (streaming_.use_count() > 1) breaches_.push_back("overlapping streaming calls");
    // The receiver refuses calls during a flush, so they change nothing.
    if (!flushing_) enter(call);
    return streaming_;
  }
  // Call when the receiver has returned anything but S_OK for a sample.
  void sample_refused() {
    const std::lock_guard lock(mutex_);
    phase_ = Phase::kRefused;
  }
  void begin_flush() {
    const std::lock_guard lock(mutex_);
    if (flushing_) breaches_.push_back("flush within a flush");
    flushing_ = true;
  }
  void end_flush() {
    const std::lock_guard lock(mutex_);
    if (!flushing_) breaches_.push_back("end of a flush that has not begun");
    begin_anew();
  }
  // Call when the pin has become active: the stream begins anew.
  void restart() {
    const std::lock_guard lock(mutex_);
    begin_anew();
  }

  std::vector<std::string> breaches() const {
    const std::lock_guard lock(mutex_);
    return breaches_;
  }

 private:
  enum class Phase { kStart, kStreaming, kEnded, kRefused };

  void begin_anew() {
    flushing_ = false;
    phase_ = Phase::kStart;
  }
  void enter(Call call) {
    if (call == Call::kNewSegment) {
      phase_ = Phase::kStreaming;
      return;
    }
    const std::string name = call == Call::kSample ? "sample" : "end of stream";
    if (phase_ == Phase::kStart) breaches_.push_back(name + " before a new segment");
    if (phase_ == Phase::kEnded) breaches_.push_back(name + " after the end of the stream");
    if (phase_ == Phase::kRefused) breaches_.push_back(name + " after a refused sample");
    if (call == Call::kEndOfStream) phase_ = Phase::kEnded;
  }

  const std::shared_ptr<const void> streaming_ = std::make_shared<int>();  // shared by each streaming call
  mutable std::mutex mutex_;
  Phase phase_ = Phase::kStart;
  bool flushing_ = false;
  std::vector<std::string> breaches_;
};

}  // namespace zdr::test
