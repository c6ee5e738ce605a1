// QCELP and EVRC frames as a QCP file (RFC 3625).
#pragma once

#include <array>
#include <cstdint>
#include <span>

#include "host/writers/stream_writer.h"

namespace zdr::host {

// A rate of a codec: the octet that begins a frame of this rate, and the size of the frame without the octet.
struct SpeechRate {
  uint8_t octet;
  uint8_t frame_bytes;
};

struct QcpCodec {
  std::array<uint8_t, 16> guid;  // in file order
  const char* name;
  uint16_t version;
  uint16_t average_bits_per_second;
  uint16_t packet_bytes;  // size of the largest frame, octet included
  std::array<SpeechRate, 5> rates;
  unsigned rate_count;
};

// The frames of an access unit, each of which begins with its rate octet.
struct SpeechFrames {
  uint32_t count;
  bool is_whole;  // nothing but whole frames of known rates
};
SpeechFrames count_speech_frames(const QcpCodec& codec, std::span<const uint8_t> access_unit);
inline constexpr const char* kSpeechFrameDamage = "speech frame cut off or with an unknown rate octet";

extern const QcpCodec kQcelpCodec;
extern const QcpCodec kEvrcCodec;

// An access unit is one or more frames, each of which begins with its rate octet, as 3GPP2 files store them.
class QcpWriter : public StreamWriter {
 public:
  // `codec` must outlive the writer.
  explicit QcpWriter(const QcpCodec& codec) : codec_(codec) {}
  explicit QcpWriter(const QcpCodec&& codec) = delete;
  bool begin(Output& output) override;
  bool write(Output& output, Bytes sample) override;
  bool finish(Output& output) override;
  bool seal(Output& output) override;

 private:
  const QcpCodec& codec_;
  uint32_t frames_ = 0;
};

}  // namespace zdr::host
