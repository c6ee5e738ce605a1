#include "host/writers/adts_writer.h"

namespace zdr::host {
namespace {

constexpr size_t kAdtsHeaderBytes = 7;
constexpr size_t kLargestAdtsFrame = (1u << 13) - 1;  // 13-bit frame length
constexpr unsigned kEscapeRateIndex = 15;
constexpr unsigned kObjectTypeSbr = 5;
constexpr unsigned kObjectTypePs = 29;

// Bits from the front of an AudioSpecificConfig; zeros past its end.
class ConfigBits {
 public:
  explicit ConfigBits(Bytes bytes) : bytes_(bytes) {}
  unsigned read(unsigned count) {
    unsigned value = 0;
    while (count-- > 0) {
      const unsigned bit = at_ / 8 < bytes_.size() ? bytes_[at_ / 8] >> (7 - at_ % 8) & 1u : 0u;
      value = value << 1 | bit;
      ++at_;
    }
    return value;
  }

 private:
  Bytes bytes_;
  size_t at_ = 0;
};

unsigned read_object_type(ConfigBits& bits) {
  const unsigned type = bits.read(5);
  return type == 31 ? 32 + bits.read(6) : type;
}

unsigned read_rate_index(ConfigBits& bits) {
  const unsigned index = bits.read(4);
  if (index == kEscapeRateIndex) bits.read(24);
  return index;
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
  ConfigBits bits(audio_specific_config);
  unsigned object_type = read_object_type(bits);
  rate_index_ = read_rate_index(bits);
  channel_configuration_ = bits.read(4);
  if (object_type == kObjectTypeSbr || object_type == kObjectTypePs) {
    read_rate_index(bits);  // of the extension
    object_type = read_object_type(bits);
  }
  profile_ = object_type - 1;
  usable_ = object_type >= 1 && object_type <= 4 && rate_index_ < 13 && channel_configuration_ < 8;
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
