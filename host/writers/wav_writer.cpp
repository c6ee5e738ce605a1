// Writes a WAVE header and the samples, and fills in the sizes of the header at the end.
#include "host/writers/wav_writer.h"

#include <algorithm>

#include "host/writers/riff_header.h"

namespace zdr::host {
namespace {

constexpr uint64_t kRiffSizeOffset = 4;
constexpr uint64_t kDataSizeOffset = 40;
constexpr uint64_t kHeaderBytes = 44;
constexpr uint32_t kFormatChunkBytes = 16;
constexpr uint16_t kPcmTag = 1;
constexpr uint16_t kSampleBytes = sizeof(int16_t);

uint32_t riff_size(uint64_t bytes) {
  return static_cast<uint32_t>(std::min<uint64_t>(bytes, kToTheEnd));
}

// A time in sample frames, to the nearest.
uint64_t to_frames(uint64_t units, uint64_t time_scale, uint64_t rate_hz) {
  return (units * rate_hz + time_scale / 2) / time_scale;
}

}  // namespace

bool WavWriter::trim(const ShownMedia& shown) {
  is_trimmed_ = format_.channels != 0;
  begin_ = to_frames(shown.begin, shown.time_scale, format_.rate_hz);
  if (shown.end != UINT64_MAX) end_ = to_frames(shown.end, shown.time_scale, format_.rate_hz);
  return true;
}

bool WavWriter::write(Output& output, Bytes pcm) {
  if (!is_trimmed_) return output.write(pcm);
  const size_t frame_bytes = format_.channels * size_t{kSampleBytes};
  const uint64_t frames = pcm.size() / frame_bytes;
  const uint64_t first = std::min(begin_ - std::min(begin_, position_), frames);
  const uint64_t last = std::min(end_ - std::min(end_, position_), frames);
  position_ += frames;
  if (first >= last) return true;
  // In bytes, both are at most the size of `pcm`.
  const auto begin = static_cast<size_t>(first * frame_bytes);
  return output.write(pcm.subspan(begin, static_cast<size_t>(last * frame_bytes) - begin));
}

bool WavWriter::begin(Output& output) {
  const auto block = static_cast<uint16_t>(format_.channels * kSampleBytes);
  RiffHeader header;
  header.text("RIFF");
  header.u32(kToTheEnd);
  header.text("WAVEfmt ");
  header.u32(kFormatChunkBytes);
  header.u16(kPcmTag);
  header.u16(format_.channels);
  header.u32(format_.rate_hz);
  header.u32(format_.rate_hz * block);
  header.u16(block);
  header.u16(8 * kSampleBytes);
  header.text("data");
  header.u32(kToTheEnd);
  return output.write(header.bytes());
}

bool WavWriter::seal(Output& output) {
  const bool is_stored = output.flush();
  if (!output.can_rewrite()) return is_stored;
  return output.rewrite(kRiffSizeOffset, le32(riff_size(output.size() - 8))) &&
         output.rewrite(kDataSizeOffset, le32(riff_size(output.size() - kHeaderBytes))) && is_stored;
}

}  // namespace zdr::host
