// Reads dynamic_range_info field by field.
#include "aacdec/syntax/dynamic_range.h"

#include "aacdec/syntax/stream_format.h"

namespace zdr::aacdec {
namespace {

void skip_excluded_channels(BitReader& reader) {
  bool more = true;
  while (more) {
    reader.skip(7);
    more = reader.read_bit();
  }
}

}  // namespace

void parse_dynamic_range(BitReader& reader, DynamicRange& range) {
  const bool tag_present = reader.read_bit();
  if (tag_present) reader.skip(8);
  const bool channels_excluded = reader.read_bit();
  if (channels_excluded) skip_excluded_channels(reader);
  range.band_count = 1;
  // Kept: one band over the whole frame, which ends at line 1031, eight lines past the frame.
  range.band_top[0] = kFrameLength / 4 + 1;
  const bool bands_present = reader.read_bit();
  if (bands_present) {
    range.band_count = static_cast<uint8_t>(1 + (reader.read(8) >> 4));
    for (int i = 0; i < range.band_count; ++i) range.band_top[i] = static_cast<uint16_t>(reader.read(8));
  }
  const bool level_present = reader.read_bit();
  if (level_present) range.program_reference_level = static_cast<uint8_t>(reader.read(8) >> 1);
  for (int i = 0; i < range.band_count; ++i) {
    range.negative[i] = reader.read_bit();
    range.control[i] = static_cast<uint8_t>(reader.read(7));
  }
}

}  // namespace zdr::aacdec
