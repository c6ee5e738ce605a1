// Reads ADTS and ADIF headers field by field.
#include "aacdec/syntax/stream_header.h"

#include "aacdec/syntax/sampling_rates.h"
#include "aacdec/syntax/stream_format.h"

namespace zdr::aacdec {
namespace {

constexpr uint32_t kAdifId = 0x41444946;  // "ADIF"

}  // namespace

bool AdtsHeader::is_accepted() const {
  return is_sampling_index(sampling_index) && layer == 0 && is_supported_profile(profile);
}

AdtsHeader parse_adts_header(BitReader& reader) {
  AdtsHeader header;
  reader.skip(1);  // ID: MPEG-4 or MPEG-2
  header.layer = static_cast<int>(reader.read(2));
  const bool protection_absent = reader.read_bit();
  header.profile = static_cast<int>(reader.read(2));
  header.sampling_index = static_cast<int>(reader.read(4));
  reader.skip(1);  // private_bit
  header.channel_configuration = static_cast<int>(reader.read(3));
  reader.skip(4);  // original_copy, home, copyright bits
  header.frame_length = static_cast<int>(reader.read(13));
  reader.skip(11);  // adts_buffer_fullness
  header.raw_data_blocks = static_cast<int>(reader.read(2));
  // Kept: the check word is not verified. Only its 16 bits are skipped, even where a frame of several blocks
  // has a table of positions before it.
  if (!protection_absent) reader.skip(16);
  return header;
}

std::optional<ProgramConfig> parse_adif_header(BitReader& reader) {
  reader.skip(32);
  const bool copyright_id_present = reader.read_bit();
  if (copyright_id_present) reader.skip(72);
  reader.skip(2);  // original_copy, home
  const bool variable_rate = reader.read_bit();
  reader.skip(23);  // bitrate
  const uint32_t further_programs = reader.read(4);
  if (further_programs != 0) return std::nullopt;
  if (!variable_rate) reader.skip(20);  // adif_buffer_fullness
  return parse_program_config(reader);
}

StreamHeaderKind find_stream_header(const BitReader& reader) {
  const uint32_t head = reader.peek(32);
  if (head == kAdifId) return StreamHeaderKind::kAdif;
  return head >> (32 - kAdtsSyncBits) == kAdtsSyncword ? StreamHeaderKind::kAdts : StreamHeaderKind::kNone;
}

}  // namespace zdr::aacdec
