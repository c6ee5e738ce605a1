// From access units to PCM, one frame behind: a frame is parsed and held, and only the next call makes it
// sound. The delay lets a lost frame be bridged from the frames on both of its sides.
//
// clang-format off
//   input --> parse, spectral tools --> held frame --> core synthesis --> SBR, PS --> resampler --> PCM
//                    |                       ^
//                    +-> bytes in the store -+  parsed again when the frame after it is lost
// clang-format on
//
// Part of the instance's one block, as are the SBR parts that it points to.
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

// Bytes of the last good block. The longest of two channels by the standard; padding can make one longer,
// which is then cut and can be bridged by silence only.
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

// What SBR adds to a decoder that has it.
struct SbrPart {
  SbrParser parser{0};
  SbrParser parser_before{0};  // as it was ahead of the block at hand, should that be damaged
  SbrSynthesis synthesis;
};

class FramePipeline {
 public:
  // `sbr` and `ps` may be null and else outlive the pipeline; `ps` only with `sbr`.
  FramePipeline(SbrPart* sbr, PsSynthesis* ps) : sbr_(sbr), ps_(ps) {}
  bool has_sbr() const { return sbr_ != nullptr; }

  // Begins a stream: nothing held, nothing remembered but the fade, which only a stream with SBR resets.
  void configure(const PipelineSettings& settings, const StreamFormat& format, int32_t core_rate_hz);
  // The format of the blocks that follow. Another rate begins SBR anew.
  void set_format(const StreamFormat& format, int32_t core_rate_hz);

  const PipelineSettings& settings() const { return settings_; }
  bool holds_frame() const { return holds_frame_; }

  // Both write at most one output frame to `pcm` and return the samples written, over all channels.
  //
  // Parses the block at the reader, which ends behind it, aligned, and synthesises the one before. -1: the
  // block is damaged; its predecessor has been synthesised all the same, and the next call makes silence.
  // While frames are being concealed a damaged block is a lost one: the reader stays where it was and a
  // replacement is written.
  int decode(std::span<const uint8_t> input, BitReader& reader, int16_t* pcm);
  // A block was lost. Only while a frame is held.
  int conceal(int16_t* pcm);

 private:
  Frame& held() { return frames_[held_index_]; }
  Frame& spare() { return frames_[1 - held_index_]; }
  // What the next call makes sound.
  Frame& due() { return remains_are_due_ ? spare() : held(); }

  int decode_after_loss(std::span<const uint8_t> input, BitReader& reader, int16_t* pcm);
  int conceal_further(int16_t* pcm);
  bool parse(BitReader& reader, Frame& frame);
  bool parse_store_again();
  void hold_spare(std::span<const uint8_t> block);

  int synthesise_due(int16_t* pcm);
  int synthesise(Frame& frame, int fade_level, int16_t* pcm);
  int replicate_bands(Frame& frame, int fade_level, int& channels, int16_t* pcm);
  int convert_rate(int channels, int samples, int16_t* pcm);
  void begin_sbr(int32_t core_rate_hz);

  SbrPart* sbr_;
  PsSynthesis* ps_;
  PipelineSettings settings_;
  int32_t core_rate_hz_ = 0;
  BlockContext context_;
  LossCounters losses_;
  // Of the two records one is the last good frame. The other takes the next block; when that is damaged, the
  // silence that remains of it is due while the good frame stays.
  bool holds_frame_ = false;
  bool remains_are_due_ = false;
  int held_index_ = 0;

  size_t stored_ = 0;
  uint8_t store_[kStoreBytes] = {};

  Frame frames_[2]{};
  CoreState core_;
  ResamplerState resampler_[kMaxChannels];
};

}  // namespace zdr::aacdec
