// Creates instances and implements their operations: configure, decode, release.
#include "aacdec/decoder_instance.h"

#include <algorithm>
#include <new>
#include <span>
#include <type_traits>

#include "aacdec/output_rate.h"
#include "aacdec/syntax/sampling_rates.h"

namespace zdr::aacdec {
namespace {

using Instance = Zd_AAC_Dec_Instance;
using StartUp = Instance::StartUp;

static_assert(std::is_trivially_destructible_v<Instance> && std::is_trivially_destructible_v<SbrPart> &&
              std::is_trivially_destructible_v<PsSynthesis>);
static_assert(alignof(Instance) == kPartAlignment && alignof(SbrPart) <= kPartAlignment &&
              alignof(PsSynthesis) <= kPartAlignment);

constexpr std::align_val_t kAlignment{kPartAlignment};

bool is_supported(const Zd_AAC_Dec_Settings& settings) {
  return (settings.channels == 1 || settings.channels == kMaxChannels) &&
         sampling_index_of(settings.core_rate_hz) >= 0 && settings.frame_length == kFrameLength &&
         is_supported_profile(settings.profile) &&
         (settings.extension == ZD_AAC_DEC_EXTENSION_NONE || settings.extension == ZD_AAC_DEC_EXTENSION_SBR ||
          settings.extension == ZD_AAC_DEC_EXTENSION_PS);
}

int32_t configure(Instance& instance, Zd_AAC_Dec_Settings& settings) {
  if (!is_supported(settings)) return ZD_AAC_DEC_ERR_FAILED;
  PipelineSettings pipeline;
  pipeline.channels = settings.channels;
  pipeline.with_sbr = instance.pipeline.has_sbr() && settings.extension != ZD_AAC_DEC_EXTENSION_NONE;
  if (pipeline.with_sbr) {
    pipeline.output =
        choose_output_rate(settings.core_rate_hz, settings.output_rate_hz, settings.single_rate != 0);
  }
  // Kept: if the output is converted to 8 or 16 kHz, the rate before the conversion is reported. Without SBR
  // there is never a conversion.
  settings.output_rate_hz = settings.core_rate_hz * pipeline.output.multiplier;
  settings.single_rate = pipeline.output.multiplier == 1 ? 1 : 0;
  instance.framing.begin_stream(sampling_index_of(settings.core_rate_hz), settings.profile);
  instance.pipeline.configure(pipeline, instance.framing.format(), settings.core_rate_hz);
  instance.start_up = StartUp::kConfigured;
  return ZD_AAC_DEC_OK;
}

int32_t byte_count(int samples) {
  return samples * static_cast<int32_t>(sizeof(int16_t));
}

bool has_room(const Instance& instance, int32_t pcm_bytes) {
  return pcm_bytes >= static_cast<int32_t>(instance.pipeline.settings().output_bytes());
}

int32_t decode_lost_frame(Instance& instance, int32_t& input_bytes, int16_t* pcm, int32_t& pcm_bytes) {
  if (instance.start_up != StartUp::kRunning) return ZD_AAC_DEC_ERR_FAILED;
  if (!has_room(instance, pcm_bytes)) return ZD_AAC_DEC_ERR_OUTPUT_TOO_SMALL;
  input_bytes = 0;
  pcm_bytes = byte_count(instance.pipeline.conceal(pcm));
  return ZD_AAC_DEC_OK;
}

int32_t decode(Instance& instance, const uint8_t* input, int32_t& input_bytes, int16_t* pcm,
               int32_t& pcm_bytes) {
  if (instance.start_up == StartUp::kNotConfigured) return ZD_AAC_DEC_ERR_FAILED;
  if (input == nullptr) return decode_lost_frame(instance, input_bytes, pcm, pcm_bytes);
  const std::span<const uint8_t> data(input, static_cast<size_t>(std::max(input_bytes, 0)));
  BitReader reader(data.data(), data.size());

  // The header is read on a copy of the framing, so that a call that fails for lack of room can be repeated.
  const bool is_first = instance.start_up == StartUp::kConfigured;
  AdtsFraming framing = instance.framing;
  if (!framing.find_block(reader, is_first)) return ZD_AAC_DEC_ERR_FAILED;
  // The first header overrides the configured rate; later ones must agree with it.
  if (!is_first && framing.rate_hz() != instance.framing.rate_hz()) return ZD_AAC_DEC_ERR_FAILED;
  if (!has_room(instance, pcm_bytes)) return ZD_AAC_DEC_ERR_OUTPUT_TOO_SMALL;
  instance.framing = framing;
  instance.pipeline.set_format(framing.format(), framing.rate_hz());

  // Kept: during a gap, decoding a damaged block succeeds without moving the reader, so that only the ADTS
  // header, if any, is consumed.
  const int samples = instance.pipeline.decode(data, reader, pcm);
  if (samples < 0) return ZD_AAC_DEC_ERR_FAILED;
  pcm_bytes = byte_count(samples);
  input_bytes = static_cast<int32_t>(reader.position() / 8);
  instance.start_up = StartUp::kRunning;
  return ZD_AAC_DEC_OK;
}

void release(Instance& instance) {
  ::operator delete(&instance, kAlignment);
}

// Copied to the start of every instance.
constexpr Zd_AAC_Dec_Operations kOperations = {decode, nullptr, nullptr, release, configure, nullptr};

}  // namespace

Zd_AAC_Dec_Instance* create_instance(int32_t mode) {
  void* const block = ::operator new(instance_bytes(mode), kAlignment, std::nothrow);
  if (block == nullptr) return nullptr;
  auto* const sbr_place = static_cast<std::byte*>(block) + part_bytes(sizeof(Instance));
  SbrPart* const sbr = mode >= ZD_AAC_DEC_MODE_SBR ? new (sbr_place) SbrPart() : nullptr;
  PsSynthesis* const ps =
      mode >= ZD_AAC_DEC_MODE_PS ? new (sbr_place + kSbrPartBytes) PsSynthesis() : nullptr;
  return new (block) Instance(sbr, ps);
}

}  // namespace zdr::aacdec

Zd_AAC_Dec_Instance::Zd_AAC_Dec_Instance(zdr::aacdec::SbrPart* sbr, zdr::aacdec::PsSynthesis* ps)
    : operations(zdr::aacdec::kOperations), pipeline(sbr, ps) {}
