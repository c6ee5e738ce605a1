// Reads program_config_element field by field.
#include "aacdec/syntax/program_config.h"

namespace zdr::aacdec {
namespace {

// The number of channels in `count` front, side or back elements.
int count_channels(BitReader& reader, int count) {
  int channels = 0;
  for (int i = 0; i < count; ++i) {
    channels += reader.read_bit() ? 2 : 1;
    reader.skip(4);
  }
  return channels;
}

}  // namespace

std::optional<ProgramConfig> parse_program_config(BitReader& reader) {
  ProgramConfig config;
  reader.skip(4);
  config.profile = static_cast<int>(reader.read(2));
  config.sampling_index = static_cast<int>(reader.read(4));
  const int front = static_cast<int>(reader.read(4));
  const int side = static_cast<int>(reader.read(4));
  const int back = static_cast<int>(reader.read(4));
  const int lfe = static_cast<int>(reader.read(2));
  const int associated_data = static_cast<int>(reader.read(3));
  const int coupling = static_cast<int>(reader.read(4));
  if (front > 2 || side > 2 || back > 1 || lfe > 0 || coupling > 0) return std::nullopt;

  const bool mono_mixdown = reader.read_bit();
  if (mono_mixdown) reader.skip(4);
  const bool stereo_mixdown = reader.read_bit();
  if (stereo_mixdown) reader.skip(4);
  const bool matrix_mixdown = reader.read_bit();
  if (matrix_mixdown) reader.skip(3);

  config.channels = count_channels(reader, front + side + back);
  reader.skip(4 * static_cast<uint64_t>(associated_data));
  reader.byte_align();
  const uint64_t comment_bytes = reader.read(8);
  reader.skip(8 * comment_bytes);
  if (config.channels < 1 || config.channels > 2) return std::nullopt;
  return config;
}

}  // namespace zdr::aacdec
