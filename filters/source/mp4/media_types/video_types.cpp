// Builds the types of video: a VIDEOINFOHEADER, followed by the data that a decoder needs before its first
// frame.
#include <limits>

#include "filters/source/mp4/core/conversions.h"
#include "filters/source/mp4/interfaces/zdr_guids.h"
#include "filters/source/mp4/media_types/media_type.h"
#include "filters/source/mp4/media_types/video_compression.h"

namespace zdr::mp4source {
namespace {

constexpr uint32_t kHeaderBytes = sizeof(VIDEOINFOHEADER);
constexpr uint32_t kBitmapHeaderBytes = sizeof(BITMAPINFOHEADER);

struct VideoDescription {
  const GUID& subtype;
  DWORD compression;
  uint16_t width;
  uint16_t height;
  DWORD bitrate;
  uint32_t extra_bytes;  // as counted in biSize
};

REFERENCE_TIME average_time_per_frame(double frame_rate) {
  return frame_rate == 0 ? 0 : trunc_to_i64(1e7 / frame_rate);
}

// Gives the type its block and header, and returns the block; null if memory runs out.
BYTE* describe_video(const VideoDescription& video, double frame_rate, uint64_t block_bytes,
                     CMediaType& type) {
  if (block_bytes > std::numeric_limits<int32_t>::max()) return nullptr;
  BYTE* const block = new_format_block(type, static_cast<uint32_t>(block_bytes));
  if (block == nullptr) return nullptr;
  VIDEOINFOHEADER header{};
  header.dwBitRate = video.bitrate;
  header.AvgTimePerFrame = average_time_per_frame(frame_rate);
  header.bmiHeader.biSize = kBitmapHeaderBytes + video.extra_bytes;
  header.bmiHeader.biWidth = video.width;
  header.bmiHeader.biHeight = video.height;
  header.bmiHeader.biPlanes = 1;
  header.bmiHeader.biCompression = video.compression;
  std::memcpy(block, &header, kHeaderBytes);
  type.SetType(&MEDIATYPE_Video);
  type.SetSubtype(&video.subtype);
  type.SetFormatType(&FORMAT_VideoInfo);
  type.SetTemporalCompression(TRUE);
  type.SetVariableSize();
  return block;
}

HRESULT read_first_frame(IsoTrack& track, OwnedSample& frame) {
  switch (track.read_first_sample(frame)) {
    case ReadResult::kOk:
      return S_OK;
    case ReadResult::kNoMemory:
      OutputDebugStringW(u"Getmedia type Returns outof memory ");
      return E_OUTOFMEMORY;
    case ReadResult::kFailed:
      break;
  }
  return kTypeNotBuilt;
}

// MPEG-4 visual and H.263: the configuration, if any, and the whole first frame.
HRESULT describe_with_first_frame(const TypeRequest& request, VideoDescription video,
                                  std::span<const uint8_t> configuration, CMediaType& type) {
  OwnedSample frame;
  const HRESULT status = read_first_frame(request.track, frame);
  if (status != S_OK) return status;
  video.extra_bytes = static_cast<uint32_t>(configuration.size()) + frame.size;
  request.track.set_format_extra_length(video.extra_bytes);
  const uint64_t block_bytes = uint64_t{kHeaderBytes} + configuration.size() + frame.size;
  BYTE* const block = describe_video(video, request.frame_rate, block_bytes, type);
  if (block == nullptr) return E_OUTOFMEMORY;
  BlockWriter extra({block + kHeaderBytes, static_cast<size_t>(block_bytes) - kHeaderBytes});
  extra.append(configuration);
  extra.append(frame.span());
  return S_OK;
}

}  // namespace

HRESULT build_mpeg4_visual_type(const TypeRequest& request, CMediaType& type) {
  const P3gppDecoderInfo& decoder = *request.track.decoder();
  if (decoder.kind != P3GPP_KIND_SYSTEMS) return kTypeNotBuilt;
  const P3gppSystemsInfo& systems = decoder.u.systems;
  const VideoDescription video{kSubtypeMpeg4Visual, kCompressionM4s2,        systems.width,
                               systems.height,      systems.average_bitrate, 0};
  return describe_with_first_frame(request, video, request.track.configuration(), type);
}

HRESULT build_h263_type(const TypeRequest& request, CMediaType& type) {
  const P3gppDecoderInfo& decoder = *request.track.decoder();
  if (decoder.kind != P3GPP_KIND_CODEC) return kTypeNotBuilt;
  const DWORD bitrate = trunc_to_u32(request.track.average_bitrate());
  const VideoDescription video{kSubtypeH263,          kCompressionH263, decoder.u.h263.width,
                               decoder.u.h263.height, bitrate,          0};
  return describe_with_first_frame(request, video, {}, type);
}

HRESULT build_avc_type(const TypeRequest& request, CMediaType& type) {
  const P3gppDecoderInfo& decoder = *request.track.decoder();
  if (decoder.kind != P3GPP_KIND_CODEC) return kTypeNotBuilt;
  const P3gppAvcInfo& avc = decoder.u.avc;
  const auto length_field = nal_length_field(avc);
  constexpr uint32_t kFixedBytes = kHeaderBytes + sizeof length_field;
  const uint32_t list_bytes = uint32_t{avc.sps_list_length} + avc.pps_list_length;
  // Kept: the block's size has 16 bits, and longer lists are cut off.
  const uint32_t block_bytes = (list_bytes + kFixedBytes) & 0xFFFF;
  if (block_bytes < kFixedBytes) return kTypeNotBuilt;
  const DWORD bitrate = trunc_to_u32(request.track.average_bitrate());
  const VideoDescription video{kSubtypeAvc, kCompressionH264, avc.width, avc.height, bitrate, list_bytes};
  BYTE* const block = describe_video(video, request.frame_rate, block_bytes, type);
  if (block == nullptr) return E_OUTOFMEMORY;
  BlockWriter extra({block + kHeaderBytes, block_bytes - kHeaderBytes});
  extra.append(length_field);
  extra.append({avc.sps_list, avc.sps_list_length});
  extra.append({avc.pps_list, avc.pps_list_length});
  return S_OK;
}

}  // namespace zdr::mp4source
