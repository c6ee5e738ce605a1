// Base of the consumers of `play` and `samples`: stores the name and type of its pin, and tracks the position
// and the number of bytes delivered.
#pragma once

#include <atomic>
#include <cstdint>
#include <optional>
#include <string>

#include "host/bytes.h"
#include "host/graph/delivery_guard.h"
#include "host/graph/media_sink.h"

namespace zdr::host {

class PinConsumer : public SampleConsumer {
 public:
  PinConsumer(std::string pin_name, DeliveryGuard& guard) : pin_name_(std::move(pin_name)), guard_(guard) {}

  // Called after the pin is connected, before the first sample.
  void set_type(const CMediaType& type) { type_ = type; }
  const CMediaType& type() const { return type_; }
  bool is_audio() const { return type_.majortype == MEDIATYPE_Audio; }

  void new_segment(REFERENCE_TIME start, REFERENCE_TIME /*stop*/) final { segment_start_ = start; }

  const std::string& pin_name() const { return pin_name_; }
  uint64_t total_bytes() const { return total_bytes_; }
  int64_t position() const { return position_; }  // 100 ns of media time; any thread

 protected:
  // Returns nothing for a sample without a buffer.
  static std::optional<Bytes> bytes_of(IMediaSample& sample) {
    BYTE* data = nullptr;
    if (sample.GetPointer(&data) != S_OK) return std::nullopt;
    return Bytes(data, static_cast<size_t>(sample.GetActualDataLength()));
  }
  void count(uint64_t bytes) { total_bytes_ += bytes; }
  // False if the stream has delivered more than the file holds. This ends the run. Decoded audio is larger
  // than its file by nature.
  bool is_within_limit() { return type_.subtype == MEDIASUBTYPE_PCM || guard_.allows(total_bytes_); }
  // `start` is the time of a sample within the segment.
  void set_position(REFERENCE_TIME start) { position_ = segment_start_ + start; }

 private:
  std::string pin_name_;
  DeliveryGuard& guard_;
  CMediaType type_;
  uint64_t total_bytes_ = 0;
  int64_t segment_start_ = 0;
  std::atomic<int64_t> position_{0};
};

}  // namespace zdr::host
