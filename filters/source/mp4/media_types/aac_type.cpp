// The type of an AAC track. aac_sample.h has the layout of its format block.
#include "aacdec/zd_aac_dec.h"
#include "filters/source/mp4/interfaces/aac_sample.h"
#include "filters/source/mp4/interfaces/zdr_guids.h"
#include "filters/source/mp4/media_types/media_type.h"

namespace zdr::mp4source {
namespace {

constexpr WORD kTagAac = 0xA106;
constexpr int32_t kPlainConfiguration = 0;  // as opposed to the header of a stream

// Kept: shortens the track's configuration to the bytes that the parser has read, so that a second type may
// carry less of it than the first.
bool parse_configuration(IsoTrack& track, const OwnedSample& first_unit, Zd_AAC_Dec_Config& config) {
  const auto configuration = track.configuration();
  auto length = static_cast<int32_t>(configuration.size());
  const int32_t status = Zd_AAC_Dec_GetConfig(configuration.data(), &length, &config, kPlainConfiguration,
                                              first_unit.bytes.get(), static_cast<int32_t>(first_unit.size));
  track.shorten_configuration(static_cast<uint32_t>(length));
  return status == ZD_AAC_DEC_OK;
}

WAVEFORMATEX aac_format(const Zd_AAC_Dec_Config& config, DWORD average_bitrate, uint32_t block_bytes) {
  WAVEFORMATEX wave{};
  wave.wFormatTag = kTagAac;
  wave.nChannels = static_cast<WORD>(config.channels);
  // Kept: the rate of the core, even if SBR doubles it.
  wave.nSamplesPerSec = static_cast<DWORD>(config.sampleRate);
  wave.nAvgBytesPerSec = average_bitrate;
  wave.nBlockAlign = 1;
  // The size of the whole block, not of the bytes that follow the record.
  wave.cbSize = static_cast<WORD>(block_bytes);
  return wave;
}

}  // namespace

HRESULT build_aac_type(const TypeRequest& request, CMediaType& type) {
  const P3gppDecoderInfo& decoder = *request.track.decoder();
  if (decoder.kind != P3GPP_KIND_SYSTEMS) return kTypeNotBuilt;
  OwnedSample first_unit;
  const ReadResult read = request.track.read_first_sample(first_unit);
  if (read == ReadResult::kNoMemory) return E_OUTOFMEMORY;
  if (read == ReadResult::kFailed) return kTypeNotBuilt;

  const auto configuration = request.track.configuration();
  // Kept: the block's size has 16 bits, and what exceeds it is cut off.
  const uint64_t whole_bytes = uint64_t{kAacConfigOffset} + configuration.size() + first_unit.size;
  const auto block_bytes = static_cast<uint32_t>(whole_bytes & 0xFFFF);
  if (block_bytes < kAacConfigOffset) return kTypeNotBuilt;
  BYTE* const block = new_format_block(type, block_bytes);
  if (block == nullptr) return E_OUTOFMEMORY;
  Zd_AAC_Dec_Config config{};
  // Kept: a configuration that does not parse ends the list of types instead of failing.
  if (!parse_configuration(request.track, first_unit, config)) return VFW_S_NO_MORE_ITEMS;

  const WAVEFORMATEX wave = aac_format(config, decoder.u.systems.average_bitrate, block_bytes);
  std::memcpy(block, &wave, sizeof wave);
  block[kAacConfigSizeOffset] = static_cast<BYTE>(configuration.size());
  block[kAacUnitSizeOffset] = static_cast<BYTE>(first_unit.size);
  block[kAacUnitSizeOffset + 1] = static_cast<BYTE>(first_unit.size >> 8);
  BlockWriter rest({block + kAacConfigOffset, block_bytes - kAacConfigOffset});
  rest.append(configuration);
  rest.append(first_unit.span());
  set_audio_type(kSubtypeAac, FORMAT_WaveFormatEx, type);
  return S_OK;
}

}  // namespace zdr::mp4source
