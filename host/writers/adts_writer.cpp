// A header of seven bytes for each access unit, made from the configuration.
#include "host/writers/adts_writer.h"

#include <algorithm>
#include <iterator>

#include "aacdec/zd_aac_dec.h"

namespace zdr::host {
namespace {

constexpr size_t kAdtsHeaderBytes = 7;
constexpr size_t kLargestAdtsFrame = (1u << 13) - 1;  // 13-bit frame length
constexpr int32_t kPlainConfiguration = 0;

// In Hz, by sampling_frequency_index: every core rate that the decoder accepts.
constexpr int32_t kAdtsRates[] = {96000, 88200, 64000, 48000, 44100, 32000,
                                  24000, 22050, 16000, 12000, 11025, 8000};

unsigned rate_index(int32_t rate_hz) {
  return static_cast<unsigned>(std::find(std::begin(kAdtsRates), std::end(kAdtsRates), rate_hz) - kAdtsRates);
}

}  // namespace

std::vector<Bytes> split_aac_sample(Bytes sample) {
  if (sample.size() < kAacSizeTableBytes) return {};
  const Bytes table = sample.last(kAacSizeTableBytes);
  Bytes rest = sample.first(sample.size() - kAacSizeTableBytes);
  std::vector<Bytes> units;
  for (size_t i = 0; i < kAacUnitsPerSample; ++i) {
    const size_t size = table[2 * i] | static_cast<size_t>(table[2 * i + 1]) << 8;
    if (size > rest.size()) return {};
    if (size == 0) continue;
    units.push_back(rest.first(size));
    rest = rest.subspan(size);
  }
  return rest.empty() ? units : std::vector<Bytes>{};
}

AdtsWriter::AdtsWriter(Bytes audio_specific_config) {
  Zd_AAC_Dec_Config config{};
  auto length = static_cast<int32_t>(audio_specific_config.size());
  if (Zd_AAC_Dec_GetConfig(audio_specific_config.data(), &length, &config, kPlainConfiguration, nullptr, 0) !=
      ZD_AAC_DEC_OK) {
    return;
  }
  profile_ = static_cast<unsigned>(config.profile);
  rate_index_ = rate_index(config.sampleRate);
  // The count where a record spells its channels out: a header has no room for that. Parametric stereo makes
  // its two channels of one.
  channel_configuration_ =
      config.extension == ZD_AAC_DEC_EXTENSION_PS ? 1 : static_cast<unsigned>(config.channels);
  usable_ = channel_configuration_ < 8;
}

bool AdtsWriter::write(OutputFile& file, Bytes sample) {
  const std::vector<Bytes> units = split_aac_sample(sample);
  if (units.empty()) note_damage("size table does not match its sample");
  for (const Bytes unit : units) {
    if (!write_unit(file, unit)) return false;
  }
  return true;
}

bool AdtsWriter::write_unit(OutputFile& file, Bytes unit) {
  const size_t length = unit.size() + kAdtsHeaderBytes;
  if (!usable_ || length > kLargestAdtsFrame) {
    note_damage(usable_ ? "access unit too long for ADTS" : "configuration that ADTS cannot express");
    return true;
  }
  const std::array<uint8_t, kAdtsHeaderBytes> header = {
      0xFF,
      0xF1,  // MPEG-4, no checksum
      static_cast<uint8_t>(profile_ << 6 | rate_index_ << 2 | channel_configuration_ >> 2),
      static_cast<uint8_t>((channel_configuration_ & 3) << 6 | length >> 11),
      static_cast<uint8_t>(length >> 3),
      static_cast<uint8_t>((length & 7) << 5 | 0x1F),  // buffer fullness 0x7FF: variable rate
      0xFC,                                            // one raw data block
  };
  return file.write(header) && file.write(unit);
}

}  // namespace zdr::host
