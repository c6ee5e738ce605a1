// Base of the consumers of `play`, `samples` and `verify`: stores the name and type of its pin, counts and
// examines what was delivered, and tracks the position.
#pragma once

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <optional>
#include <string>

#include "host/formats/aac_format.h"
#include "host/graph/delivery_guard.h"
#include "host/graph/media_sink.h"
#include "host/graph/unit_damage.h"
#include "host/memory.h"
#include "host/text/bytes.h"

namespace zdr::host {

class PinConsumer : public SampleConsumer {
 public:
  PinConsumer(std::string pin_name, DeliveryGuard& guard) : pin_name_(std::move(pin_name)), guard_(guard) {}

  // Called after the pin is connected, before the first sample.
  void set_type(const CMediaType& type) { with_memory(type_.Set(type)); }
  const CMediaType& type() const { return type_; }
  bool is_audio() const { return type_.majortype == MEDIATYPE_Audio; }

  void new_segment(REFERENCE_TIME start, REFERENCE_TIME /*stop*/) final { segment_start_ = start; }

  const std::string& pin_name() const { return pin_name_; }
  uint64_t samples() const { return samples_; }
  // True if the consumer could not use a sample; it receives no more after that.
  bool has_failed() const { return has_failed_; }
  uint64_t payload_bytes() const { return payload_bytes_; }  // excludes the size tables of AAC samples
  int64_t position() const { return position_; }             // 100 ns of media time; any thread

  // What the last sample held, and its start within the segment in 100 ns units.
  struct LastSample {
    int64_t start = 0;
    size_t payload_bytes = 0;
    uint32_t speech_frames = 0;
  };
  const LastSample& last_sample() const { return last_sample_; }
  int64_t first_start() const { return first_start_; }  // of the first sample, within the segment
  // Number of samples, without the first and the last, that are smaller than one before them. All samples of
  // an AAC file have one size, except the first (the decoder holds back one frame) and the last, so a smaller
  // one lacks frames.
  uint64_t short_samples() const { return short_samples_; }
  // Number of access units that are not valid for their codec, and what is wrong with the first.
  uint64_t damaged_units() const { return damaged_units_; }
  const char* first_damage() const { return first_damage_; }

 protected:
  // The result of receive() for a sample that cannot be used.
  bool fail() {
    has_failed_ = true;
    return false;
  }
  // Returns nothing for a sample without a buffer.
  static std::optional<Bytes> bytes_of(IMediaSample& sample) {
    BYTE* data = nullptr;
    if (sample.GetPointer(&data) != S_OK) return std::nullopt;
    return Bytes(data, static_cast<size_t>(sample.GetActualDataLength()));
  }
  // True if the consumer decodes AAC, so that it finds the damage itself.
  virtual bool decodes_aac() const { return false; }
  // Counts the bytes of a sample. False if the stream has delivered more than the file holds. This ends the
  // run. Decoded audio is larger than its file by nature.
  bool count_bytes(Bytes sample) {
    const bool has_table = is_aac_access_units(type_) && sample.size() >= kAacSizeTableBytes;
    if (samples_ > 1 && last_sample_.payload_bytes < largest_bytes_) ++short_samples_;
    largest_bytes_ = std::max(largest_bytes_, last_sample_.payload_bytes);
    last_sample_.payload_bytes = sample.size() - (has_table ? kAacSizeTableBytes : 0);
    payload_bytes_ += last_sample_.payload_bytes;
    examine(sample);
    return type_.subtype == MEDIASUBTYPE_PCM || guard_.allows(payload_bytes_);
  }
  // Call for each sample that was used. `start` is its time within the segment.
  void count_sample(REFERENCE_TIME start) {
    if (samples_++ == 0) first_start_ = start;
    last_sample_.start = start;
    position_ = segment_start_ + start;
  }

 private:
  void examine(Bytes sample) {
    if (decodes_aac() && is_aac_access_units(type_)) return;
    const UnitReport report = examine_units(type_, sample);
    last_sample_.speech_frames = report.speech_frames;
    if (report.damage == nullptr) return;
    if (damaged_units_ == 0) first_damage_ = report.damage;
    damaged_units_ += report.damaged_units;
  }

  std::string pin_name_;
  DeliveryGuard& guard_;
  CMediaType type_;
  uint64_t samples_ = 0;
  bool has_failed_ = false;
  uint64_t payload_bytes_ = 0;
  LastSample last_sample_;
  int64_t first_start_ = 0;
  size_t largest_bytes_ = 0;  // of the samples before the last
  uint64_t short_samples_ = 0;
  uint64_t damaged_units_ = 0;
  const char* first_damage_ = nullptr;
  int64_t segment_start_ = 0;
  std::atomic<int64_t> position_{0};
};

}  // namespace zdr::host
