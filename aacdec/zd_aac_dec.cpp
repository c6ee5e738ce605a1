// The public functions. Nothing they call throws.
#include "aacdec/zd_aac_dec.h"

#include <algorithm>
#include <cstddef>
#include <span>

#include "aacdec/decoder_instance.h"
#include "aacdec/syntax/audio_specific_config.h"
#include "aacdec/syntax/bit_reader.h"
#include "aacdec/syntax/frame_probe.h"
#include "aacdec/syntax/sampling_rates.h"
#include "aacdec/syntax/stream_format.h"
#include "aacdec/syntax/stream_header.h"

namespace zdr::aacdec {
namespace {

using Bytes = std::span<const uint8_t>;

constexpr int32_t kBytesPerChannel = 2 * kFrameLength;

int32_t status(bool succeeded) {
  return succeeded ? ZD_AAC_DEC_OK : ZD_AAC_DEC_ERR_FAILED;
}

// Bytes of `data` read so far. The zeros that the reader delivers past the end do not count.
int32_t bytes_read(const BitReader& reader, Bytes data) {
  return static_cast<int32_t>(std::min<uint64_t>(reader.bytes_read(), data.size()));
}

Bytes bytes(const uint8_t* data, int32_t length) {
  return data == nullptr || length <= 0 ? Bytes() : Bytes(data, static_cast<size_t>(length));
}

bool configure_from_adif(BitReader& reader, Zd_AAC_Dec_Config& config) {
  const auto program = parse_adif_header(reader);
  if (!program.has_value() || !is_sampling_index(program->sampling_index)) return false;
  config.profile = program->profile;
  config.sampleRate = config.outputRate = kSamplingRates[program->sampling_index];
  config.channels = program->channels;
  config.outputBytes = program->channels * kBytesPerChannel;
  return true;
}

bool configure_from_adts(BitReader& reader, Zd_AAC_Dec_Config& config) {
  reader.skip(kAdtsSyncBits);
  const AdtsHeader header = parse_adts_header(reader);
  if (!header.is_accepted()) return false;
  config.profile = header.profile;
  config.sampleRate = config.outputRate = kSamplingRates[header.sampling_index];
  config.channels = header.channel_configuration;
  // For 0 channels, the size of one channel: the probe multiplies it by the number of channels it finds.
  config.outputBytes =
      (header.channel_configuration == 0 ? 1 : header.channel_configuration) * kBytesPerChannel;
  return true;
}

bool configure_from_stream(Bytes data, int32_t& length, Zd_AAC_Dec_Config& config) {
  length = 0;
  if (data.size() < kMinHeaderBytes) return false;
  BitReader reader(data.data(), data.size());
  bool accepted = false;
  switch (find_stream_header(reader)) {
    case StreamHeaderKind::kAdif:
      accepted = configure_from_adif(reader, config);
      break;
    case StreamHeaderKind::kAdts:
      accepted = configure_from_adts(reader, config);
      break;
    case StreamHeaderKind::kNone:
      break;
  }
  length = bytes_read(reader, data);
  if (!accepted) return false;
  if (reader.bytes_read() >= data.size()) return reader.bytes_read() == data.size();
  int32_t frame_bytes = 0;
  return probe_frame(data.subspan(static_cast<size_t>(length)), config, frame_bytes);
}

bool configure_from_record(Bytes data, int32_t& length, Bytes first_frame, Zd_AAC_Dec_Config& config) {
  BitReader reader(data.data(), data.size());
  const bool parsed = parse_audio_specific_config(reader, config);
  length = bytes_read(reader, data);
  if (!parsed) return false;
  if (config.extension == ZD_AAC_DEC_EXTENSION_PS || first_frame.empty()) return true;
  int32_t frame_bytes = 0;
  return probe_frame(first_frame, config, frame_bytes);
}

// The length of the stream header at the start of `data`: 0 if there is none, -1 if it is not accepted.
int64_t stream_header_bytes(Bytes data) {
  if (data.size() < kMinHeaderBytes) return -1;
  BitReader reader(data.data(), data.size());
  switch (find_stream_header(reader)) {
    case StreamHeaderKind::kAdif:
      if (!parse_adif_header(reader).has_value()) return -1;
      break;
    case StreamHeaderKind::kAdts:
      reader.skip(kAdtsSyncBits);
      if (!parse_adts_header(reader).is_accepted()) return -1;
      break;
    case StreamHeaderKind::kNone:
      break;
  }
  return static_cast<int64_t>(reader.bytes_read());
}

bool measure_frame(Bytes data, bool with_header, Zd_AAC_Dec_Config& config, int32_t& length) {
  const int64_t header_bytes = with_header ? stream_header_bytes(data) : 0;
  if (header_bytes < 0 || header_bytes >= static_cast<int64_t>(data.size())) return false;
  int32_t frame_bytes = 0;
  if (!probe_frame(data.subspan(static_cast<size_t>(header_bytes)), config, frame_bytes)) return false;
  length = static_cast<int32_t>(header_bytes) + frame_bytes;
  return true;
}

}  // namespace
}  // namespace zdr::aacdec

using namespace zdr::aacdec;

int32_t Zd_AAC_Dec_GetConfig(const uint8_t* data, int32_t* length_inout, Zd_AAC_Dec_Config* config_out,
                             int32_t header_mode, const uint8_t* first_frame,
                             int32_t first_frame_bytes) noexcept {
  if (data == nullptr || length_inout == nullptr || config_out == nullptr) return ZD_AAC_DEC_ERR_FAILED;
  const Bytes input = bytes(data, *length_inout);
  *config_out = {};
  config_out->frameLength = kFrameLength;
  if (header_mode != 0) return status(configure_from_stream(input, *length_inout, *config_out));
  return status(
      configure_from_record(input, *length_inout, bytes(first_frame, first_frame_bytes), *config_out));
}

int32_t Zd_AAC_Dec_GetFrameLength(const uint8_t* data, int32_t stream_kind, Zd_AAC_Dec_Config* config_inout,
                                  int32_t* length_inout, int32_t /*reserved*/) noexcept {
  if (config_inout == nullptr || length_inout == nullptr) return ZD_AAC_DEC_ERR_FAILED;
  const Bytes input = bytes(data, *length_inout);
  // Kept: measuring no data succeeds and leaves the length unchanged.
  if (input.empty()) return ZD_AAC_DEC_OK;
  return status(measure_frame(input, stream_kind != ZD_AAC_DEC_STREAM_RAW, *config_inout, *length_inout));
}

int32_t Zd_AAC_Dec_Create(Zd_AAC_Dec_Instance** handle_out, int32_t mode) noexcept {
  if (handle_out == nullptr) return ZD_AAC_DEC_ERR_NO_INSTANCE;
  *handle_out = nullptr;
  if (mode < ZD_AAC_DEC_MODE_CORE || mode > ZD_AAC_DEC_MODE_PS) return ZD_AAC_DEC_ERR_NO_INSTANCE;
  *handle_out = create_instance(mode);
  return *handle_out != nullptr ? ZD_AAC_DEC_OK : ZD_AAC_DEC_ERR_NO_INSTANCE;
}

int32_t Zd_AAC_Dec_Open(Zd_AAC_Dec_Instance** handle_out) noexcept {
  return Zd_AAC_Dec_Create(handle_out, ZD_AAC_DEC_MODE_SBR);
}

int32_t Zd_AAC_Dec_SetConfig(Zd_AAC_Dec_Instance* instance, Zd_AAC_Dec_Config* config) noexcept {
  if (instance == nullptr || config == nullptr) return ZD_AAC_DEC_ERR_FAILED;
  Zd_AAC_Dec_Settings settings{};
  settings.frame_length = config->frameLength;
  settings.core_rate_hz = config->sampleRate;
  settings.channels = config->channels;
  settings.profile = config->profile;
  settings.output_rate_hz = config->outputRate;
  settings.extension = config->extension;
  settings.single_rate = config->singleRate != 0 ? 1 : 0;
  const int32_t result = instance->operations.configure(*instance, settings);
  if (result != ZD_AAC_DEC_OK) return result;
  config->outputRate = settings.output_rate_hz;
  config->singleRate = settings.single_rate;
  config->outputBytes = config->channels * kBytesPerChannel * (settings.single_rate != 0 ? 1 : 2);
  return result;
}

int32_t Zd_AAC_Dec_Decode(Zd_AAC_Dec_Instance* instance, const uint8_t* input, int32_t* input_bytes_inout,
                          int16_t* pcm_out, int32_t* pcm_bytes_inout) noexcept {
  if (instance == nullptr || input_bytes_inout == nullptr || pcm_out == nullptr ||
      pcm_bytes_inout == nullptr) {
    return ZD_AAC_DEC_ERR_FAILED;
  }
  return instance->operations.decode(*instance, input, *input_bytes_inout, pcm_out, *pcm_bytes_inout);
}

int32_t Zd_AAC_Dec_Close(Zd_AAC_Dec_Instance* instance) noexcept {
  if (instance == nullptr) return ZD_AAC_DEC_ERR_FAILED;
  instance->operations.release(*instance);
  return ZD_AAC_DEC_OK;
}
