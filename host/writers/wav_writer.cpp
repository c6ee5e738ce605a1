// Writes a WAVE header and the samples, and fills in the sizes of the header at the end.
#include "host/writers/wav_writer.h"

#include <algorithm>

#include "host/writers/riff_header.h"

namespace zdr::host {
namespace {

constexpr uint64_t kRiffSizeOffset = 4;
constexpr uint64_t kDataSizeOffset = 40;
constexpr uint64_t kHeaderBytes = 44;
constexpr uint32_t kToTheEnd = UINT32_MAX;  // a size, of a file that could not be completed or is too long
constexpr uint32_t kFormatChunkBytes = 16;
constexpr uint16_t kPcmTag = 1;
constexpr uint16_t kSampleBytes = 2;

uint32_t riff_size(uint64_t bytes) {
  return static_cast<uint32_t>(std::min<uint64_t>(bytes, kToTheEnd));
}

}  // namespace

bool WavWriter::begin(OutputFile& file) {
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
  return file.write(header.bytes());
}

bool WavWriter::seal(OutputFile& file) {
  const bool is_stored = file.flush();
  return file.rewrite(kRiffSizeOffset, le32(riff_size(file.size() - 8))) &&
         file.rewrite(kDataSizeOffset, le32(riff_size(file.size() - kHeaderBytes))) && is_stored;
}

}  // namespace zdr::host
