// Builds the ADTS headers from the configuration of the stream.
#include "host/writers/adts_writer.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <vector>

#include "host/formats/aac_format.h"
#include "host/formats/adts_header.h"

namespace zdr::host {
namespace {

// In Hz, by sampling_frequency_index: every core rate that the decoder accepts.
constexpr int32_t kAdtsRates[] = {96000, 88200, 64000, 48000, 44100, 32000,
                                  24000, 22050, 16000, 12000, 11025, 8000};

unsigned rate_index(int32_t rate_hz) {
  return static_cast<unsigned>(std::find(std::begin(kAdtsRates), std::end(kAdtsRates), rate_hz) - kAdtsRates);
}

}  // namespace

AdtsWriter::AdtsWriter(Bytes config) {
  const auto parsed = read_aac_config(config, {});
  if (!parsed) return;
  profile_ = static_cast<unsigned>(parsed->profile);
  rate_index_ = rate_index(parsed->sampleRate);
  // The header cannot express a channel configuration of 0 (the record lists the channels itself), so the
  // channel count is written. With parametric stereo the core has one channel, the output two.
  channel_configuration_ =
      parsed->extension == ZD_AAC_DEC_EXTENSION_PS ? 1 : static_cast<unsigned>(parsed->channels);
  usable_ = channel_configuration_ < 8;
}

bool AdtsWriter::write(Output& output, Bytes sample) {
  const std::vector<Bytes> units = split_aac_sample(sample);
  if (units.empty()) note_damage(kAacTableDamage);
  for (const Bytes unit : units) {
    if (!write_unit(output, unit)) return false;
  }
  return true;
}

bool AdtsWriter::write_unit(Output& output, Bytes unit) {
  const size_t length = unit.size() + AdtsHeader::kBytes;
  if (!usable_ || unit.size() > kLongestAacUnit) {
    note_damage(usable_ ? "access unit too long for ADTS" : "configuration that ADTS cannot express");
    return true;
  }
  const std::array<uint8_t, AdtsHeader::kBytes> header = {
      0xFF,
      0xF1,  // MPEG-4, no checksum
      static_cast<uint8_t>(profile_ << 6 | rate_index_ << 2 | channel_configuration_ >> 2),
      static_cast<uint8_t>((channel_configuration_ & 3) << 6 | length >> 11),
      static_cast<uint8_t>(length >> 3),
      static_cast<uint8_t>((length & 7) << 5 | 0x1F),  // buffer fullness 0x7FF: variable rate
      0xFC,                                            // one raw data block
  };
  return output.write(header) && output.write(unit);
}

}  // namespace zdr::host
