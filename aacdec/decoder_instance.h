// The decoder instance: one block of memory that begins with the table of its operations, which the public
// functions call.
#pragma once

#include <cstddef>
#include <cstdint>

#include "aacdec/frame_pipeline.h"
#include "aacdec/syntax/adts_framing.h"
#include "aacdec/zd_aac_dec.h"

// The argument of the configure operation.
struct Zd_AAC_Dec_Settings {
  int32_t frame_length;
  int32_t core_rate_hz;
  int32_t channels;
  int32_t profile;
  int32_t reserved;        // 0
  int32_t output_rate_hz;  // in: requested; out: before a conversion to 8 or 16 kHz
  int32_t extension;
  int32_t single_rate;  // in: 1 prevents SBR from doubling the rate; out: 1 if the output has the core rate
};

// Six slots, three of them unused.
struct Zd_AAC_Dec_Operations {
  int32_t (*decode)(Zd_AAC_Dec_Instance& instance, const uint8_t* input, int32_t& input_bytes, int16_t* pcm,
                    int32_t& pcm_bytes);
  void (*unused_1)();
  void (*unused_2)();
  void (*release)(Zd_AAC_Dec_Instance& instance);
  int32_t (*configure)(Zd_AAC_Dec_Instance& instance, Zd_AAC_Dec_Settings& settings);
  void (*unused_5)();
};

struct Zd_AAC_Dec_Instance {
  enum class StartUp { kNotConfigured, kConfigured, kRunning };

  // Borrows the parts, which are in the same block. `sbr` and `ps` may be null; `ps` requires `sbr`.
  Zd_AAC_Dec_Instance(zdr::aacdec::SbrPart* sbr, zdr::aacdec::PsSynthesis* ps);

  Zd_AAC_Dec_Operations operations;
  StartUp start_up = StartUp::kNotConfigured;
  zdr::aacdec::AdtsFraming framing;
  zdr::aacdec::FramePipeline pipeline;
};

namespace zdr::aacdec {

// The alignment of each part of the block.
inline constexpr size_t kPartAlignment = 64;
constexpr size_t part_bytes(size_t bytes) {
  return (bytes + kPartAlignment - 1) / kPartAlignment * kPartAlignment;
}
inline constexpr size_t kSbrPartBytes = part_bytes(sizeof(SbrPart));
inline constexpr size_t kPsPartBytes = part_bytes(sizeof(PsSynthesis));

// The size of an instance of `mode`: the core decoder, followed by SBR and by parametric stereo if the mode
// has them.
constexpr size_t instance_bytes(int32_t mode) {
  size_t bytes = part_bytes(sizeof(Zd_AAC_Dec_Instance));
  if (mode >= ZD_AAC_DEC_MODE_SBR) bytes += kSbrPartBytes;
  if (mode >= ZD_AAC_DEC_MODE_PS) bytes += kPsPartBytes;
  return bytes;
}

// Allocates and constructs an instance; null if out of memory. The caller frees it with its release
// operation.
Zd_AAC_Dec_Instance* create_instance(int32_t mode);

}  // namespace zdr::aacdec
