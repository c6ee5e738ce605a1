// Parses a frame without storing values, and updates the configuration.
#include "aacdec/syntax/frame_probe.h"

#include <array>
#include <cstddef>

#include "aacdec/syntax/frame.h"
#include "aacdec/syntax/raw_data_block.h"
#include "aacdec/syntax/sampling_rates.h"

namespace zdr::aacdec {
namespace {

bool is_probeable(const Zd_AAC_Dec_Config& config) {
  return config.channels >= 0 && config.channels <= kMaxChannels &&
         sampling_index_of(config.sampleRate) >= 0 && config.frameLength == kFrameLength &&
         is_supported_profile(config.profile);
}

// The size comes from the caller and may be anything; the product wraps.
void multiply(int32_t& size, int32_t factor) {
  size = static_cast<int32_t>(static_cast<uint32_t>(size) * static_cast<uint32_t>(factor));
}

// Updates the configuration with the extensions of the frame.
//
// Kept: with parametric stereo `channels` doubles at every call, so a second probe with the same
// configuration fails.
bool apply_extension(const BlockContext& context, Zd_AAC_Dec_Config& config) {
  if (!context.sbr_signalled) {
    config.outputRate = config.sampleRate;
    return true;
  }
  // Kept: after compatible signalling `extension` is still 0 although the sizes have doubled; they double
  // again here.
  const int32_t before = config.extension;
  if (before == ZD_AAC_DEC_EXTENSION_NONE) config.outputRate = 2 * config.sampleRate;
  if (context.ps_signalled) {
    config.channels *= 2;
    config.extension = ZD_AAC_DEC_EXTENSION_PS;
    multiply(config.outputBytes, before == ZD_AAC_DEC_EXTENSION_SBR ? 2 : 4);
    return config.channels <= kMaxChannels;
  }
  config.extension = ZD_AAC_DEC_EXTENSION_SBR;
  if (before == ZD_AAC_DEC_EXTENSION_NONE) multiply(config.outputBytes, 2);
  return true;
}

}  // namespace

bool probe_frame(std::span<const uint8_t> data, Zd_AAC_Dec_Config& config, int32_t& frame_bytes) {
  if (!is_probeable(config)) return false;
  // Not allocated: without memory a sound frame would pass for a damaged one.
  alignas(std::max_align_t) std::array<std::byte, kSbrScratchBytes> scratch;

  BlockContext context;
  context.format = {sampling_index_of(config.sampleRate), config.profile};
  context.scratch = scratch;
  BitReader reader(data.data(), data.size());
  Frame frame;
  const auto channels = parse_raw_data_block(reader, context, frame);
  if (!channels.has_value()) return false;
  if (config.channels == 0) {
    config.channels = *channels;
    multiply(config.outputBytes, *channels);
  }
  if (reader.bytes_read() > data.size()) return false;
  frame_bytes = static_cast<int32_t>(reader.bytes_read());
  return apply_extension(context, config);
}

}  // namespace zdr::aacdec
