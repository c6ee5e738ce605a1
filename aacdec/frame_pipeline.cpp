// Runs parsing, concealment and synthesis in the order that each call needs.
#include "aacdec/frame_pipeline.h"

#include <algorithm>
#include <iterator>

#include "aacdec/syntax/raw_data_block.h"

namespace zdr::aacdec {
namespace {

constexpr int kDamaged = -1;

// Copies the samples of a single channel from the even to the odd positions of a stereo buffer.
void duplicate_channel(int16_t* pcm, int samples) {
  for (int i = 0; i < samples; ++i) pcm[2 * i + 1] = pcm[2 * i];
}

// Silences the spectra and removes the SBR data, which would generate high bands.
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
  // Kept: the reference level of dynamic range control remains that of the previous stream.
  std::fill(std::begin(context_.tags), std::end(context_.tags), kNoTag);
  losses_.lost = 0;
  // Kept: a stream without SBR continues the fade of the previous stream.
  if (settings.with_sbr) losses_.level = 0;
  holds_frame_ = false;
  silence_is_next_ = false;
  stored_bytes_ = 0;
  // A damaged block leaves parts of a frame as they were, and the silence in its place uses their windows.
  for (Frame& frame : frames_) frame = {};
  core_.reset();
  for (ResamplerState& resampler : resampler_) resampler = {};
  context_.format = format;
  core_rate_hz_ = core_rate_hz;
  reset_sbr(core_rate_hz);
}

void FramePipeline::set_format(const StreamFormat& format, int32_t core_rate_hz) {
  context_.format = format;
  if (core_rate_hz == core_rate_hz_) return;
  core_rate_hz_ = core_rate_hz;
  // Kept: the first ADTS header may change the rate, but the multiplier and the resampling ratio in settings_
  // remain as chosen for the configured rate.
  reset_sbr(core_rate_hz);
}

// Without SBR in the settings, SBR payloads are skipped.
void FramePipeline::reset_sbr(int32_t core_rate_hz) {
  context_.sbr = settings_.with_sbr ? &sbr_->parser : nullptr;
  if (!settings_.with_sbr) return;
  sbr_->parser = SbrParser(core_rate_hz);
  sbr_->synthesis.configure({settings_.output.multiplier, settings_.output.resampling_class});
  if (ps_ != nullptr) ps_->configure();
}

int FramePipeline::decode(std::span<const uint8_t> input, BitReader& reader, int16_t* pcm) {
  if (losses_.lost > 0) return decode_after_loss(input, reader, pcm);
  // Kept: the first call returns no samples, and a call without input outputs the last frame.
  const int samples = holds_frame_ ? synthesise_next(pcm) : 0;
  const BitReader start = reader;
  if (!parse(reader, spare())) {
    // Kept: a damaged block does not start concealment. The next call outputs silence, and the stored block
    // remains the last good one.
    silence_is_next_ = holds_frame_;
    return kDamaged;
  }
  losses_.count_received();
  store_held_block(bytes_between(input, start, reader));
  return samples;
}

int FramePipeline::decode_after_loss(std::span<const uint8_t> input, BitReader& reader, int16_t* pcm) {
  const BitReader start = reader;
  if (!parse(reader, spare())) {
    reader = start;
    return conceal_again(pcm);
  }
  const bool long_gap = losses_.is_long_gap();
  losses_.count_received();
  // Kept: a gap between frames with different numbers of channels is faded like a long one, because their
  // spectra cannot be averaged.
  const bool bridged = parse_stored_block() && !long_gap && held().channel_count == spare().channel_count;
  if (bridged) bridge(held(), spare());
  const int samples = synthesise(held(), bridged ? 0 : losses_.level, pcm);
  store_held_block(bytes_between(input, start, reader));
  return samples;
}

int FramePipeline::conceal(int16_t* pcm) {
  if (losses_.lost > 0) return conceal_again(pcm);
  const int samples = synthesise_next(pcm);
  losses_.count_lost();
  return samples;
}

// The second and later calls of a gap.
int FramePipeline::conceal_again(int16_t* pcm) {
  losses_.count_lost();
  parse_stored_block();
  return synthesise(held(), losses_.level, pcm);
}

// Outputs a received frame, or silence for a damaged one. The first frames after a long gap are still faded.
int FramePipeline::synthesise_next(int16_t* pcm) {
  Frame& frame = silence_is_next_ ? spare() : held();
  return synthesise(frame, losses_.level > LossCounters::kFullLevel ? losses_.level : 0, pcm);
}

// A damaged block leaves `frame` silent and the parser's state unchanged. Otherwise its tags, or the SBR
// differences of half a block, would corrupt the good blocks that follow.
bool FramePipeline::parse(BitReader& reader, Frame& frame) {
  const BlockContext context_before = context_;
  if (context_.sbr != nullptr) sbr_->parser_backup = sbr_->parser;
  if (parse_raw_data_block(reader, context_, frame).has_value() &&
      reconstruct_spectra(frame, context_.format, core_)) {
    reader.byte_align();
    return true;
  }
  context_ = context_before;
  if (context_.sbr != nullptr) sbr_->parser = sbr_->parser_backup;
  frame.channel_count = held().channel_count;
  silence_all_bands(frame);
  return false;
}

// Restores the held frame, whose spectra the last synthesis may have modified. Its SBR data remain as they
// are, because their time differences must not be added twice. A block that was truncated when stored yields
// silence with its original windows.
bool FramePipeline::parse_stored_block() {
  const IcsInfo windows[kMaxChannels] = {held().channel[0].ics, held().channel[1].ics};
  BlockContext context = context_;
  context.sbr = nullptr;
  BitReader reader(store_, stored_bytes_);
  if (parse_raw_data_block(reader, context, held()).has_value() &&
      reconstruct_spectra(held(), context.format, core_)) {
    return true;
  }
  for (int c = 0; c < kMaxChannels; ++c) held().channel[c].ics = windows[c];
  silence_all_bands(held());
  return false;
}

// Makes the frame just parsed the held one.
void FramePipeline::store_held_block(std::span<const uint8_t> block) {
  held_index_ = 1 - held_index_;
  holds_frame_ = true;
  silence_is_next_ = false;
  stored_bytes_ = std::min(block.size(), kStoreBytes);
  std::copy_n(block.begin(), stored_bytes_, store_);
}

int FramePipeline::synthesise(Frame& frame, int fade_level, int16_t* pcm) {
  fade(frame, fade_level);
  // The QMF analysis of SBR reads each channel from a block of its own. Without SBR this is the output.
  static_assert(sizeof SbrSynthesis::core_pcm[0] == kFrameLength * sizeof(int16_t));
  const CoreOutput core_output = settings_.with_sbr ? CoreOutput{sbr_->synthesis.core_pcm[0], kFrameLength, 1}
                                                    : CoreOutput{pcm, 1, settings_.channels};
  int channels = synthesise_core(frame, core_, context_.format.profile, settings_.channels, core_output);
  int samples = channels * kFrameLength;
  if (settings_.with_sbr) samples = apply_sbr(frame, fade_level, channels, pcm);
  if (settings_.output.resampling_class != 0) samples = convert_rate(channels, samples, pcm);
  if (channels == settings_.channels) return samples;
  duplicate_channel(pcm, samples);
  return 2 * samples;
}

// Applies SBR to the `channels` that the core wrote. Parametric stereo may turn one channel into two.
int FramePipeline::apply_sbr(Frame& frame, int fade_level, int& channels, int16_t* pcm) {
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
  // A second channel that starts later continues at the position of the first, so that both yield the same
  // number of samples.
  if (channels == 1) resampler_[1] = resampler_[0];
  return converted;
}

}  // namespace zdr::aacdec
