// Called by the worker of the pin.
#include "host/graph/pin_consumer.h"

namespace zdr::host {

void PinConsumer::new_segment(REFERENCE_TIME start, REFERENCE_TIME /*stop*/) {
  segment_start_ = start;
}

std::optional<Bytes> PinConsumer::bytes_of(IMediaSample& sample) {
  BYTE* data = nullptr;
  if (sample.GetPointer(&data) != S_OK) return std::nullopt;
  return Bytes(data, static_cast<size_t>(sample.GetActualDataLength()));
}

}  // namespace zdr::host
