// Decodes access units to PCM with a delay of one frame: each call parses and holds a frame, and synthesises
// the previous one. The delay lets a lost frame be bridged from the frames before and after it.
//
// clang-format off
//   input --> parse, spectral tools --> held frame --> core synthesis --> SBR, PS --> resampler --> PCM
//                    |                       ^
//                    +-> stored bytes -------+  parsed again when the frame after it is lost
// clang-format on
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "aacdec/concealment.h"
#include "aacdec/core/core_synthesis.h"
#include "aacdec/output_rate.h"
#include "aacdec/resampler.h"
#include "aacdec/sbr/sbr_synthesis.h"
#include "aacdec/syntax/bit_reader.h"
#include "aacdec/syntax/block_context.h"
#include "aacdec/syntax/frame.h"
#include "aacdec/syntax/sbr_parser.h"

namespace zdr::aacdec {

// Kept: the stored block is at most as long as the standard allows for two channels. Padding can make a block
// longer; it is then truncated, and a gap after it is filled with silence.
inline constexpr size_t kStoreBytes = 1536;

struct PipelineSettings {
  int channels = 0;  // of the output
  bool with_sbr = false;
  OutputRate output;

  int output_frame_length() const { return kFrameLength * output.multiplier; }
  size_t output_bytes() const {
    return static_cast<size_t>(output_frame_length() * channels) * sizeof(int16_t);
  }
};

// The state of SBR, in instances that support it.
struct SbrPart {
  SbrParser parser{0};
  SbrParser parser_backup{0};  // from before the current block; restored if the block is damaged
  SbrSynthesis synthesis;
};

class FramePipeline {
 public:
  // Borrows `sbr` and `ps`, which may be null; `ps` requires `sbr`.
  FramePipeline(SbrPart* sbr, PsSynthesis* ps) : sbr_(sbr), ps_(ps) {}
  bool has_sbr() const { return sbr_ != nullptr; }

  // Starts a stream: clears everything except the reference level of dynamic range control, and the fade
  // level, which only a stream with SBR resets.
  void configure(const PipelineSettings& settings, const StreamFormat& format, int32_t core_rate_hz);
  // Sets the format of the blocks that follow. A different rate resets SBR.
  void set_format(const StreamFormat& format, int32_t core_rate_hz);

  const PipelineSettings& settings() const { return settings_; }

  // decode() and conceal() write at most one output frame to `pcm` and return the number of samples, over all
  // channels.
  //
  // Parses the block at the reader's position, moves the reader to the byte after it, and synthesises the
  // held frame. Returns -1 for a damaged block: the held frame, if any, is in `pcm`, and the next call
  // outputs silence. While frames are being concealed, a damaged block counts as lost: the reader does not
  // move, and a replacement is written.
  int decode(std::span<const uint8_t> input, BitReader& reader, int16_t* pcm);
  // Synthesises the held frame, or a replacement, in place of a lost block. Requires a held frame.
  int conceal(int16_t* pcm);

 private:
  Frame& held() { return frames_[held_index_]; }
  Frame& spare() { return frames_[1 - held_index_]; }

  int decode_after_loss(std::span<const uint8_t> input, BitReader& reader, int16_t* pcm);
  int conceal_again(int16_t* pcm);
  bool parse(BitReader& reader, Frame& frame);
  bool parse_stored_block();
  void store_held_block(std::span<const uint8_t> block);

  int synthesise_next(int16_t* pcm);
  int synthesise(Frame& frame, int fade_level, int16_t* pcm);
  int apply_sbr(Frame& frame, int fade_level, int& channels, int16_t* pcm);
  int convert_rate(int channels, int samples, int16_t* pcm);
  void reset_sbr(int32_t core_rate_hz);

  SbrPart* sbr_;
  PsSynthesis* ps_;
  PipelineSettings settings_;
  int32_t core_rate_hz_ = 0;
  BlockContext context_;
  LossCounters losses_;
  // One of the two frames is the last good one; the next block is parsed into the other. If that block is
  // damaged, the other frame is silenced and output next, while the good one remains held.
  bool holds_frame_ = false;
  bool silence_is_next_ = false;
  int held_index_ = 0;

  size_t stored_bytes_ = 0;
  uint8_t store_[kStoreBytes] = {};

  Frame frames_[2]{};
  CoreState core_;
  ResamplerState resampler_[kMaxChannels];
};

}  // namespace zdr::aacdec
