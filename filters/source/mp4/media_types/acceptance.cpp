// The media types that a pin accepts. The rules differ by codec; some ignore the major type.
#include <optional>

#include "filters/source/mp4/interfaces/zdr_guids.h"
#include "filters/source/mp4/media_types/media_type.h"
#include "filters/source/mp4/media_types/video_compression.h"

namespace zdr::mp4source {
namespace {

// A copy of the record at the start of the type's block, which may be short or unaligned.
template <class Header>
std::optional<Header> header_of(const CMediaType& type) {
  if (type.pbFormat == nullptr || type.cbFormat < sizeof(Header)) return std::nullopt;
  Header header;
  std::memcpy(&header, type.pbFormat, sizeof header);
  return header;
}

template <class Header>
bool extra_bytes_equal(const CMediaType& type, std::span<const uint8_t> expected) {
  if (type.cbFormat - sizeof(Header) < expected.size()) return false;
  return expected.empty() ||
         std::memcmp(type.pbFormat + sizeof(Header), expected.data(), expected.size()) == 0;
}

bool is_video_info(const CMediaType& type) {
  return type.majortype == MEDIATYPE_Video && type.formattype == FORMAT_VideoInfo;
}

// A decoder returns biSize as offered: the size of the header and of the bytes that follow it.
bool matches_frame(const std::optional<VIDEOINFOHEADER>& header, const IsoTrack& track, uint16_t width,
                   uint16_t height, DWORD compression) {
  return header && header->bmiHeader.biWidth == width && header->bmiHeader.biHeight == height &&
         header->bmiHeader.biCompression == compression &&
         header->bmiHeader.biSize == DWORD{sizeof(BITMAPINFOHEADER)} + track.format_extra_length();
}

bool accepts_mpeg4_visual(const IsoTrack& track, const CMediaType& type) {
  if (!is_video_info(type)) return false;
  if (type.subtype != kSubtypeMpeg4Visual && type.subtype != kSubtypeAnyVideo) return false;
  const P3gppSystemsInfo& systems = track.decoder()->u.systems;
  return matches_frame(header_of<VIDEOINFOHEADER>(type), track, systems.width, systems.height,
                       kCompressionM4s2) &&
         extra_bytes_equal<VIDEOINFOHEADER>(type, track.configuration());
}

bool accepts_codec_video(const IsoTrack& track, const CMediaType& type) {
  const P3gppDecoderInfo& decoder = *track.decoder();
  const auto header = header_of<VIDEOINFOHEADER>(type);
  if (decoder.object_type == P3GPP_OTI_H263 && is_video_info(type) &&
      (type.subtype == kSubtypeH263 || type.subtype == kSubtypeAnyVideo) &&
      matches_frame(header, track, decoder.u.h263.width, decoder.u.h263.height, kCompressionH263)) {
    return true;
  }
  // Kept: only types that are video must have the right subtype.
  if (is_video_info(type) && type.subtype != kSubtypeAvc && type.subtype != kSubtypeAnyVideo) return false;
  return decoder.object_type == P3GPP_OTI_AVC &&
         matches_frame(header, track, decoder.u.avc.width, decoder.u.avc.height, kCompressionH264);
}

bool is_aac_subtype(const GUID& subtype) {
  for (const GUID& accepted : kSubtypeAacAccepted) {
    if (subtype == accepted) return true;
  }
  return false;
}

bool is_known_audio_format(const GUID& format_type) {
  return format_type == FORMAT_WaveFormatEx || format_type == kFormatQcelp || format_type == kFormatEvrc ||
         format_type == kFormatAudioAccepted;
}

bool is_mono_at(const std::optional<WAVEFORMATEX>& wave, DWORD sample_rate) {
  return wave && wave->nChannels == 1 && wave->nSamplesPerSec == sample_rate;
}

bool accepts_audio(const IsoTrack& track, const CMediaType& type) {
  const bool has_block = type.pbFormat != nullptr && type.cbFormat > 0;
  const auto wave = header_of<WAVEFORMATEX>(type);
  const auto configuration = track.configuration();
  const bool same_configuration =
      wave && wave->cbSize == configuration.size() && extra_bytes_equal<WAVEFORMATEX>(type, configuration);
  // Kept: no rule checks the codec of the track.
  if (type.majortype == MEDIATYPE_Audio && is_known_audio_format(type.formattype)) {
    if (is_aac_subtype(type.subtype) && has_block) return true;
    if (type.subtype == kSubtypeAmrNarrowBand && is_mono_at(wave, 8000)) return true;
    if (type.subtype == kSubtypeAmrWideBand && is_mono_at(wave, 16000)) return true;
    if (type.subtype == kSubtypeEvrc && is_mono_at(wave, 8000) && same_configuration) return true;
  }
  // These two apply to any major and format type.
  if (type.subtype == kSubtypeQcelp && wave && wave->nChannels == 1 && same_configuration) return true;
  return type.subtype == kSubtypeDolbyAc3 && has_block;
}

}  // namespace

bool accepts_media_type(const IsoTrack& track, const CMediaType& type) {
  if (track.decoder() == nullptr) return false;
  if (track.stream() == StreamKind::kAudio) return accepts_audio(track, type);
  return track.decoder()->kind == P3GPP_KIND_SYSTEMS ? accepts_mpeg4_visual(track, type)
                                                     : accepts_codec_video(track, type);
}

}  // namespace zdr::mp4source
