// Searches for ADTS headers (ISO/IEC 14496-3, 1.A) and checks them.
#include "aacdec/syntax/adts_framing.h"

#include <algorithm>

#include "aacdec/syntax/sampling_rates.h"
#include "aacdec/syntax/stream_header.h"

namespace zdr::aacdec {
namespace {

// The thirteenth rate of the standard; only a header can select it.
constexpr int kSlowestIndex = kSamplingRateCount;
constexpr int32_t kSlowestRateHz = 7350;

// Skips byte by byte to the next syncword, to resynchronise after damage.
bool find_syncword(BitReader& reader) {
  while (reader.bits_left() >= kAdtsSyncBits) {
    if (reader.peek(kAdtsSyncBits) == kAdtsSyncword) return true;
    reader.skip(8);
  }
  return false;
}

bool is_decodable(const AdtsHeader& header) {
  // The channel configuration is only an upper bound; the elements of the blocks decide.
  return header.layer == 0 && header.channel_configuration <= kMaxChannels &&
         header.sampling_index <= kSlowestIndex && is_supported_profile(header.profile);
}

}  // namespace

void AdtsFraming::begin_stream(int stream_sampling_index, int stream_profile) {
  blocks_left = kHeaderDue;
  sampling_index = stream_sampling_index;
  profile = stream_profile;
}

bool AdtsFraming::read_header(BitReader& reader) {
  if (!find_syncword(reader)) return false;
  reader.skip(kAdtsSyncBits);
  // Kept: the first syncword ends the search, whether its header is usable or not. The caller, which has the
  // rest of the input, decides how to continue.
  const AdtsHeader header = parse_adts_header(reader);
  if (reader.bits_left() < 0 || !is_decodable(header)) return false;
  sampling_index = header.sampling_index;
  profile = header.profile;
  blocks_left = header.raw_data_blocks;
  return true;
}

bool AdtsFraming::find_block(BitReader& reader, bool is_first) {
  if (is_first && reader.peek(kAdtsSyncBits) == kAdtsSyncword) latched = true;
  if (!latched) return true;
  if (blocks_left == kHeaderDue && !read_header(reader)) return false;
  --blocks_left;
  return true;
}

int32_t AdtsFraming::rate_hz() const {
  return sampling_index == kSlowestIndex ? kSlowestRateHz : kSamplingRates[sampling_index];
}

StreamFormat AdtsFraming::format() const {
  return {std::min(sampling_index, kSamplingRateCount - 1), profile, sampling_index};
}

}  // namespace zdr::aacdec
