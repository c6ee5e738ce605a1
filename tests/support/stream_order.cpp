// The transitions of StreamOrder.
#include "stream_order.h"

namespace zdr::tests {

void StreamOrder::enter(Call call) {
  const std::lock_guard lock(mutex_);
  if (streaming_call_) note("overlapping streaming calls");
  streaming_call_ = true;
  // What still comes during a flush is refused by the receiver and changes nothing.
  if (flushing_) return;
  if (call == Call::kNewSegment) {
    phase_ = Phase::kStreaming;
    return;
  }
  const std::string name = call == Call::kSample ? "sample" : "end of stream";
  if (phase_ == Phase::kStart) note(name + " before a new segment");
  if (phase_ == Phase::kEnded) note(name + " after the end of the stream");
  if (phase_ == Phase::kRefused) note(name + " after a refused sample");
  if (call == Call::kEndOfStream) phase_ = Phase::kEnded;
}

void StreamOrder::leave() {
  const std::lock_guard lock(mutex_);
  streaming_call_ = false;
}

void StreamOrder::sample_refused() {
  const std::lock_guard lock(mutex_);
  phase_ = Phase::kRefused;
}

void StreamOrder::begin_flush() {
  const std::lock_guard lock(mutex_);
  if (flushing_) note("flush within a flush");
  flushing_ = true;
}

void StreamOrder::end_flush() {
  const std::lock_guard lock(mutex_);
  if (!flushing_) note("end of a flush that has not begun");
  flushing_ = false;
  phase_ = Phase::kStart;
}

void StreamOrder::restart() {
  const std::lock_guard lock(mutex_);
  flushing_ = false;
  phase_ = Phase::kStart;
}

std::vector<std::string> StreamOrder::breaches() const {
  const std::lock_guard lock(mutex_);
  return breaches_;
}

}  // namespace zdr::tests
