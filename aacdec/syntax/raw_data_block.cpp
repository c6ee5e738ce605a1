// Parses the elements of a raw_data_block in a loop up to ID_END.
#include "aacdec/syntax/raw_data_block.h"

#include <algorithm>
#include <iterator>
#include <span>

#include "aacdec/syntax/channel_stream.h"
#include "aacdec/syntax/fill_element.h"
#include "aacdec/syntax/program_config.h"

namespace zdr::aacdec {
namespace {

enum ElementId {
  kSingleChannel = 0,
  kChannelPair = 1,
  kCouplingChannel = 2,
  kLowFrequency = 3,
  kDataStream = 4,
  kProgramConfig = 5,
  kFill = 6,
  kEnd = 7
};

void skip_data_stream(BitReader& reader) {
  reader.skip(4);
  const bool align = reader.read_bit();
  uint64_t count = reader.read(8);
  if (count == 255) count += reader.read(8);
  if (align) reader.byte_align();
  reader.skip(8 * count);
}

class BlockParser {
 public:
  BlockParser(BitReader& reader, BlockContext& context, Frame& frame)
      : reader_(reader), context_(context), frame_(frame) {}

  std::optional<int> parse() {
    frame_.dynamic_range.band_count = 0;
    if (context_.sbr != nullptr) {
      for (SbrChannelFrame& channel : frame_.sbr.channel) channel.status = SbrStatus::kNone;
    }
    // The loop terminates: every element consumes bits or fails, and the zeros past the end of the data read
    // as single channel elements, the third of which fails.
    for (int id = next_id(); id != kEnd; id = next_id()) {
      if (!parse_element(id)) return std::nullopt;
    }
    if (channels_ == 0) return std::nullopt;
    frame_.channel_count = channels_;
    return channels_;
  }

 private:
  int next_id() { return static_cast<int>(reader_.read(3)); }

  bool parse_element(int id) {
    switch (id) {
      case kSingleChannel:
        return parse_single_channel();
      case kChannelPair:
        return parse_channel_pair();
      case kDataStream:
        skip_data_stream(reader_);
        return true;
      case kProgramConfig:
        return parse_program();
      case kFill:
        return parse_fill_element(reader_, element_, context_, frame_);
      default:
        return false;  // coupling and low frequency channels are not supported
    }
  }

  // Returns the output channel of the single channel element with `tag`, or -1 if there is none. Channel 1 is
  // assigned only after channel 0, so that a stream of one element keeps its channel.
  int assign_channel(uint8_t tag) {
    if (channels_ >= kMaxChannels) return -1;
    uint8_t& bound = context_.tags[channels_];
    if (channels_ == 1 && tag == context_.tags[0]) return -1;
    if (bound == kNoTag) bound = tag;
    return tag == bound ? channels_ : -1;
  }

  bool parse_channel(int number, bool common_window) {
    ChannelStream& channel = frame_.channel[number];
    if (!parse_channel_side_info(reader_, context_.format, common_window, context_.keep_values, channel))
      return false;
    return context_.keep_values
               ? parse_spectral_data(reader_, context_.format, channel, frame_.quantised[number])
               : skip_spectral_data(reader_, context_.format, channel);
  }

  bool parse_single_channel() {
    const int channel = assign_channel(static_cast<uint8_t>(reader_.read(4)));
    if (channel < 0) return false;
    frame_.is_pair = false;
    frame_.channel[channel].clear_tools();
    element_ = SbrElement{channel, false};
    ++channels_;
    return parse_channel(channel, false);
  }

  bool parse_channel_pair() {
    // Kept: the tag of a pair is not checked; a pair is always the only channel element.
    reader_.skip(4);
    if (channels_ != 0) return false;
    frame_.is_pair = true;
    element_ = SbrElement{0, true};
    channels_ = 2;
    for (ChannelStream& channel : frame_.channel) channel.clear_tools();
    if (!parse_common_window()) return false;
    for (int c = 0; c < kMaxChannels; ++c) {
      if (!parse_channel(c, frame_.pair.common_window)) return false;
    }
    return true;
  }

  bool parse_common_window() {
    PairData& pair = frame_.pair;
    pair.ms_mask_present = 0;
    std::fill(std::begin(pair.ms_used), std::end(pair.ms_used), uint8_t{0});
    pair.common_window = reader_.read_bit();
    if (!pair.common_window) return true;
    IcsInfo& ics = frame_.channel[0].ics;
    if (!parse_ics_info(reader_, context_.format, ics, frame_.channel[0].ltp, &frame_.channel[1].ltp)) {
      return false;
    }
    frame_.channel[1].ics = ics;
    pair.ms_mask_present = static_cast<uint8_t>(reader_.read(2));
    if (pair.ms_mask_present == 1) parse_ms_used(ics);
    return true;
  }

  void parse_ms_used(const IcsInfo& ics) {
    if (!context_.keep_values) {
      reader_.skip(uint64_t{ics.group_count} * ics.max_sfb);
      return;
    }
    // A window holds the bits of a group, which has at most 51 bands.
    for (int group = 0; group < ics.group_count; ++group) {
      uint64_t window = reader_.window();
      uint8_t* const used = frame_.pair.ms_used + ics.band(group, 0);
      for (int sfb = 0; sfb < ics.max_sfb; ++sfb, window <<= 1)
        used[sfb] = static_cast<uint8_t>(window >> 63);
      reader_.skip(ics.max_sfb);
    }
  }

  bool parse_program() {
    const auto program = parse_program_config(reader_);
    return program.has_value() && program->sampling_index == context_.format.stream_index;
  }

  BitReader& reader_;
  BlockContext& context_;
  Frame& frame_;
  int channels_ = 0;
  std::optional<SbrElement> element_;
};

}  // namespace

std::optional<int> parse_raw_data_block(BitReader& reader, BlockContext& context, Frame& frame) {
  return BlockParser(reader, context, frame).parse();
}

}  // namespace zdr::aacdec
