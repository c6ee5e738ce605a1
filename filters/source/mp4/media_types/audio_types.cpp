// Builds the types of audio: a WAVEFORMATEX, followed by the decoder configuration if there is one.
#include <limits>

#include "filters/source/mp4/interfaces/zdr_guids.h"
#include "filters/source/mp4/media_types/media_type.h"

namespace zdr::mp4source {
namespace {

constexpr WORD kTagAmr = 0x7A22;  // Kept: one tag for both bands, which differ by their subtype.
constexpr WORD kTagQcelp = 0xF7;
constexpr WORD kTagEvrc = 0xF9;
constexpr WORD kTagDolbyAc3 = 0x2000;
constexpr WORD kSpeechBlockAlign = 4;
constexpr WORD kAc3BlockAlign = 1536;
constexpr WORD kAc3ExtraSize = 18;

// Speech is stored either in MPEG-4 sample entries, whose record has a bitrate, or in sample entries of its
// own.
DWORD average_bitrate_of(const P3gppDecoderInfo& decoder) {
  return decoder.kind == P3GPP_KIND_SYSTEMS ? decoder.u.systems.average_bitrate : 0;
}

struct SpeechFormat {
  const GUID& subtype;
  const GUID& format_type;
  WORD tag;
  DWORD sample_rate;
  DWORD average_bytes;
};

HRESULT build_speech_type(const SpeechFormat& speech, std::span<const uint8_t> configuration,
                          CMediaType& type) {
  WAVEFORMATEX wave{};
  if (configuration.size() > std::numeric_limits<int32_t>::max() - sizeof wave) return kNoSpeechFormat;
  const auto block_bytes = static_cast<uint32_t>(sizeof wave + configuration.size());
  BYTE* const block = new_format_block(type, block_bytes);
  if (block == nullptr) return kNoSpeechFormat;
  wave.wFormatTag = speech.tag;
  wave.nChannels = 1;
  wave.nSamplesPerSec = speech.sample_rate;
  wave.nAvgBytesPerSec = speech.average_bytes;
  wave.nBlockAlign = kSpeechBlockAlign;
  wave.cbSize = static_cast<WORD>(configuration.size());
  std::memcpy(block, &wave, sizeof wave);
  BlockWriter({block + sizeof wave, configuration.size()}).append(configuration);
  set_audio_type(speech.subtype, speech.format_type, type);
  return S_OK;
}

WAVEFORMATEX ac3_format(const P3gppDecoderInfo& decoder) {
  const bool enhanced = decoder.object_type == P3GPP_OTI_EAC3;
  const P3gppAc3Info& ac3 = decoder.u.ac3;
  const P3gppEac3Info& eac3 = decoder.u.eac3;
  WAVEFORMATEX wave{};
  wave.wFormatTag = kTagDolbyAc3;
  wave.nChannels = enhanced ? eac3.channel_count : ac3.channel_count;
  wave.nSamplesPerSec = enhanced ? eac3.sample_rate : ac3.sample_rate;
  wave.nAvgBytesPerSec = wave.nSamplesPerSec;  // Kept: not the byte rate.
  wave.nBlockAlign = kAc3BlockAlign;
  wave.cbSize = kAc3ExtraSize;  // Kept: announces extra bytes that do not follow.
  return wave;
}

}  // namespace

HRESULT build_amr_type_of_band(bool wide_band, std::span<const uint8_t> configuration, CMediaType& type) {
  const GUID& subtype = wide_band ? kSubtypeAmrWideBand : kSubtypeAmrNarrowBand;
  const DWORD sample_rate = wide_band ? 16000 : 8000;
  return build_speech_type({subtype, FORMAT_WaveFormatEx, kTagAmr, sample_rate, 0}, configuration, type);
}

HRESULT build_amr_type(const TypeRequest& request, CMediaType& type) {
  return build_amr_type_of_band(false, request.track.configuration(), type);
}

HRESULT build_amr_wb_type(const TypeRequest& request, CMediaType& type) {
  return build_amr_type_of_band(true, request.track.configuration(), type);
}

HRESULT build_qcelp_type(const TypeRequest& request, CMediaType& type) {
  const DWORD bitrate = average_bitrate_of(*request.track.decoder());
  return build_speech_type({kSubtypeQcelp, kFormatQcelp, kTagQcelp, 8000, bitrate},
                           request.track.configuration(), type);
}

HRESULT build_evrc_type(const TypeRequest& request, CMediaType& type) {
  const DWORD bitrate = average_bitrate_of(*request.track.decoder());
  return build_speech_type({kSubtypeEvrc, kFormatEvrc, kTagEvrc, 8000, bitrate},
                           request.track.configuration(), type);
}

HRESULT build_ac3_type(const TypeRequest& request, CMediaType& type) {
  const P3gppDecoderInfo& decoder = *request.track.decoder();
  if (decoder.kind != P3GPP_KIND_COMPRESSED_AUDIO) return kTypeNotBuilt;
  // The first sample only shows whether the track can be read.
  OwnedSample first;
  const ReadResult read = request.track.read_first_sample(first);
  if (read == ReadResult::kNoMemory) return E_OUTOFMEMORY;
  if (read == ReadResult::kFailed) return kTypeNotBuilt;
  const WAVEFORMATEX wave = ac3_format(decoder);
  BYTE* const block = new_format_block(type, sizeof wave);
  if (block == nullptr) return E_OUTOFMEMORY;
  std::memcpy(block, &wave, sizeof wave);
  set_audio_type(kSubtypeDolbyAc3, FORMAT_WaveFormatEx, type);
  return S_OK;
}

}  // namespace zdr::mp4source
