// Writes a QCP header and the frames, and fills in the counts of the header at the end.
#include "host/writers/qcp_writer.h"

#include <algorithm>
#include <cstring>
#include <string_view>
#include <vector>

#include "host/formats/byte_order.h"
#include "host/writers/riff_header.h"

namespace zdr::host {
namespace {

constexpr size_t kFormatChunkBytes = 150;
constexpr size_t kCodecNameBytes = 80;
constexpr size_t kRateMapEntries = 8;
constexpr uint32_t kRiffSizeOffset = 4;
constexpr uint32_t kVariableRateCountOffset = 12 + 8 + kFormatChunkBytes + 8 + 4;
constexpr uint32_t kDataSizeOffset = kVariableRateCountOffset + 4 + 4;
constexpr uint32_t kHeaderBytes = kDataSizeOffset + 4;
constexpr uint16_t kFrameSamples = 160;  // 20 ms at 8000 Hz
constexpr uint16_t kSampleRate = 8000;
constexpr uint16_t kSampleBits = 16;

bool seal_riff(Output& output) {
  return output.rewrite(kRiffSizeOffset, le32(static_cast<uint32_t>(output.size() - 8)));
}

void append_format_chunk(RiffHeader& header, const QcpCodec& codec) {
  header.text("fmt ");
  header.u32(kFormatChunkBytes);
  header.u8(1);  // major version
  header.u8(0);
  header.raw(codec.guid);
  header.u16(codec.version);
  header.text(codec.name);
  header.zeros(kCodecNameBytes - std::strlen(codec.name));
  header.u16(codec.average_bits_per_second);
  header.u16(codec.packet_bytes);
  header.u16(kFrameSamples);
  header.u16(kSampleRate);
  header.u16(kSampleBits);
  header.u32(codec.rate_count);
  for (size_t i = 0; i < kRateMapEntries; ++i) {
    const SpeechRate rate = i < codec.rate_count ? codec.rates[i] : SpeechRate{0, 0};
    header.u8(rate.frame_bytes);
    header.u8(rate.octet);
  }
  header.zeros(20);  // reserved
}

}  // namespace

const QcpCodec kQcelpCodec = {
    {0x41, 0x6D, 0x7F, 0x5E, 0x15, 0xB1, 0xD0, 0x11, 0xBA, 0x91, 0x00, 0x80, 0x5F, 0xB4, 0xB9, 0x7E},
    "Qcelp 13K",
    2,
    13000,
    35,
    {{{4, 34}, {3, 16}, {2, 7}, {1, 3}, {0, 0}}},
    5};

const QcpCodec kEvrcCodec = {
    {0x8D, 0xD4, 0x89, 0xE6, 0x76, 0x90, 0xB5, 0x46, 0x91, 0xEF, 0x73, 0x6A, 0x51, 0x00, 0xCE, 0xB4},
    "TIA IS-127 Enhanced Variable Rate Codec, Speech Service Option 3",
    1,
    9600,
    23,
    {{{4, 22}, {3, 10}, {2, 5}, {1, 2}, {0, 0}}},
    5};

SpeechFrames count_speech_frames(const QcpCodec& codec, Bytes rest) {
  uint32_t count = 0;
  while (!rest.empty()) {
    const auto* end = codec.rates.begin() + codec.rate_count;
    const auto* rate =
        std::find_if(codec.rates.begin(), end, [&](SpeechRate r) { return r.octet == rest[0]; });
    if (rate == end || rest.size() < rate->frame_bytes + 1u) return {count, false};
    rest = rest.subspan(rate->frame_bytes + 1u);
    ++count;
  }
  return {count, true};
}

bool QcpWriter::begin(Output& output) {
  RiffHeader header;
  header.text("RIFF");
  header.u32(kToTheEnd);
  header.text("QLCM");
  append_format_chunk(header, codec_);
  header.text("vrat");
  header.u32(8);
  header.u32(1);  // variable rate
  header.u32(0);
  header.text("data");
  header.u32(kToTheEnd);
  return output.write(header.bytes());
}

bool QcpWriter::write(Output& output, Bytes sample) {
  const SpeechFrames frames = count_speech_frames(codec_, sample);
  if (!frames.is_whole) note_damage(kSpeechFrameDamage);
  frames_ += frames.count;
  return output.write(sample);
}

bool QcpWriter::finish(Output& output) {
  if (!seal(output)) return false;
  if (output.size() % 2 == 0) return true;
  const uint8_t padding = 0;
  return output.write({&padding, 1}) && (!output.can_rewrite() || seal_riff(output));
}

bool QcpWriter::seal(Output& output) {
  const bool is_stored = output.flush();
  if (!output.can_rewrite()) return is_stored;
  return seal_riff(output) && output.rewrite(kVariableRateCountOffset, le32(frames_)) &&
         output.rewrite(kDataSizeOffset, le32(static_cast<uint32_t>(output.size() - kHeaderBytes))) &&
         is_stored;
}

}  // namespace zdr::host
