// See frame_pipeline.h.
#include "aacdec/frame_pipeline.h"

#include <algorithm>

#include "aacdec/syntax/raw_data_block.h"

namespace zdr::aacdec {
namespace {

constexpr int kDamaged = -1;

// A single channel stands at the even places of a stereo buffer.
void duplicate_channel(int16_t* pcm, int samples) {
  for (int i = 0; i < samples; ++i) pcm[2 * i + 1] = pcm[2 * i];
}

// Spectra, and the data that would put sound above them.
void silence_all_bands(Frame& frame) {
  silence(frame);
  for (SbrChannelFrame& channel : frame.sbr.channel) channel.status = SbrStatus::kNone;
}

std::span<const uint8_t> bytes_between(std::span<const uint8_t> input, const BitReader& start,
                                       const BitReader& end) {
  const auto first = static_cast<size_t>(start.bytes_read());
  return input.subspan(first, static_cast<size_t>(end.bytes_read()) - first);
}

}  // namespace

void FramePipeline::configure(const PipelineSettings& settings, const StreamFormat& format,
                              int32_t core_rate_hz) {
  settings_ = settings;
  context_.keep_values = true;
  std::fill(std::begin(context_.tags), std::end(context_.tags), kNoTag);
  losses_.lost = 0;
  // The fade of an earlier stream goes on in a stream without SBR.
  if (settings.with_sbr) losses_.level = 0;
  holds_frame_ = false;
  remains_are_due_ = false;
  stored_ = 0;
  core_.reset();
  for (ResamplerState& resampler : resampler_) resampler = {};
  context_.format = format;
  core_rate_hz_ = core_rate_hz;
  begin_sbr(core_rate_hz);
}

void FramePipeline::set_format(const StreamFormat& format, int32_t core_rate_hz) {
  context_.format = format;
  if (core_rate_hz == core_rate_hz_) return;
  core_rate_hz_ = core_rate_hz;
  begin_sbr(core_rate_hz);
}

// Without SBR in the stream's settings, its payloads are passed over.
void FramePipeline::begin_sbr(int32_t core_rate_hz) {
  context_.sbr = settings_.with_sbr ? &sbr_->parser : nullptr;
  if (!settings_.with_sbr) return;
  sbr_->parser = SbrParser(core_rate_hz);
  sbr_->synthesis.configure({settings_.output.multiplier, settings_.output.resampling_class});
  if (ps_ != nullptr) ps_->configure();
}

int FramePipeline::decode(std::span<const uint8_t> input, BitReader& reader, int16_t* pcm) {
  if (losses_.lost > 0) return decode_after_loss(input, reader, pcm);
  const int samples = holds_frame_ ? synthesise_due(pcm) : 0;
  const BitReader start = reader;
  if (!parse(reader, spare())) {
    // No gap begins here: the next call makes the remains sound, the store keeps the last good block.
    remains_are_due_ = holds_frame_;
    return kDamaged;
  }
  losses_.recover();
  hold_spare(bytes_between(input, start, reader));
  return samples;
}

int FramePipeline::decode_after_loss(std::span<const uint8_t> input, BitReader& reader, int16_t* pcm) {
  const BitReader start = reader;
  if (!parse(reader, spare())) {
    reader = start;
    return conceal_further(pcm);
  }
  const bool long_gap = losses_.is_long_gap();
  losses_.recover();
  // Frames with different numbers of channels have no mean: such a gap is faded like a long one.
  const bool bridged = parse_store_again() && !long_gap && held().channel_count == spare().channel_count;
  if (bridged) bridge(held(), spare());
  const int samples = synthesise(held(), bridged ? 0 : losses_.level, pcm);
  hold_spare(bytes_between(input, start, reader));
  return samples;
}

int FramePipeline::conceal(int16_t* pcm) {
  if (losses_.lost > 0) return conceal_further(pcm);
  const int samples = synthesise_due(pcm);
  losses_.lose();
  return samples;
}

int FramePipeline::conceal_further(int16_t* pcm) {
  losses_.lose();
  parse_store_again();
  return synthesise(held(), losses_.level, pcm);
}

// A frame as it arrived. After a long gap the first ones are still faded.
int FramePipeline::synthesise_due(int16_t* pcm) {
  return synthesise(due(), losses_.level > LossCounters::kAudibleLevel ? losses_.level : 0, pcm);
}

// A damaged block leaves silence in `frame`, and nothing in what the parser knows of the stream: tags that no
// good block has, or SBR differences of half a block, would spoil the good ones behind it.
bool FramePipeline::parse(BitReader& reader, Frame& frame) {
  const BlockContext context_before = context_;
  if (context_.sbr != nullptr) sbr_->parser_before = sbr_->parser;
  if (parse_raw_data_block(reader, context_, frame).has_value() &&
      reconstruct_spectra(frame, context_.format, core_)) {
    reader.byte_align();
    return true;
  }
  context_ = context_before;
  if (context_.sbr != nullptr) sbr_->parser = sbr_->parser_before;
  frame.channel_count = held().channel_count;
  silence_all_bands(frame);
  return false;
}

// Sets the held record up once more; its SBR data stay as they are, since their time differences must not be
// added twice. A block that the store has cut gives silence, under the windows that it had.
bool FramePipeline::parse_store_again() {
  const IcsInfo windows[kMaxChannels] = {held().channel[0].ics, held().channel[1].ics};
  BlockContext context = context_;
  context.sbr = nullptr;
  BitReader reader(store_, stored_);
  if (parse_raw_data_block(reader, context, held()).has_value() &&
      reconstruct_spectra(held(), context.format, core_)) {
    return true;
  }
  for (int c = 0; c < kMaxChannels; ++c) held().channel[c].ics = windows[c];
  silence_all_bands(held());
  return false;
}

// The frame just parsed is the last good one from here on.
void FramePipeline::hold_spare(std::span<const uint8_t> block) {
  held_index_ = 1 - held_index_;
  holds_frame_ = true;
  remains_are_due_ = false;
  stored_ = std::min(block.size(), kStoreBytes);
  std::copy_n(block.begin(), stored_, store_);
}

int FramePipeline::synthesise(Frame& frame, int fade_level, int16_t* pcm) {
  fade(frame, fade_level);
  int channels = synthesise_core(frame, core_, context_.format.profile, settings_.channels, pcm);
  int samples = channels * kFrameLength;
  if (settings_.with_sbr) samples = replicate_bands(frame, fade_level, channels, pcm);
  if (settings_.output.resampling_class != 0) samples = convert_rate(channels, samples, pcm);
  if (channels == settings_.channels) return samples;
  duplicate_channel(pcm, samples);
  return 2 * samples;
}

// SBR of the `channels` that the core wrote; parametric stereo makes two of one.
int FramePipeline::replicate_bands(Frame& frame, int fade_level, int& channels, int16_t* pcm) {
  if (channels < frame.channel_count) merge_sbr_for_mono(frame.sbr);
  // A mono output has no room for a second channel.
  PsSynthesis* const ps = settings_.channels == kMaxChannels ? ps_ : nullptr;
  const SbrOutput output =
      sbr_->synthesis.process_frame(frame.sbr, channels, fade_level, ps, pcm, settings_.channels);
  channels = output.channel_count;
  return output.samples * output.channel_count;
}

int FramePipeline::convert_rate(int channels, int samples, int16_t* pcm) {
  int converted = 0;
  for (int c = 0; c < channels; ++c) {
    converted += resample(resampler_[c], settings_.output.resampling_class, pcm + c, samples / channels,
                          settings_.channels);
  }
  // A second channel that sets in later begins where the first one stands: both give the same count of
  // samples.
  if (channels == 1) resampler_[1] = resampler_[0];
  return converted;
}

}  // namespace zdr::aacdec
