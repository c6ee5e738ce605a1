// Names subtypes and reads the fields of format blocks.
#include "host/inspect/media_type_text.h"

#include <array>
#include <cstdio>
#include <cstring>
#include <nlohmann/json.hpp>

#include "filters/source/mp4/interfaces/zdr_guids.h"
#include "host/aac_format.h"
#include "host/decoded_text.h"
#include "host/inspect/aac_description.h"
#include "host/wide_text.h"

namespace zdr::host {
namespace {

struct NamedGuid {
  GUID guid;
  const char* name;
};

const NamedGuid kCodecs[] = {
    {mp4source::kSubtypeAvc, "AVC"},
    {mp4source::kSubtypeMpeg4Visual, "MPEG-4 visual"},
    {mp4source::kSubtypeH263, "H.263"},
    {mp4source::kSubtypeAmrNarrowBand, "AMR"},
    {mp4source::kSubtypeAmrWideBand, "AMR-WB"},
    {mp4source::kSubtypeQcelp, "QCELP"},
    {mp4source::kSubtypeEvrc, "EVRC"},
    {mp4source::kSubtypeDolbyAc3, "AC-3"},
    {MEDIASUBTYPE_PCM, "PCM"},
};

std::string guid_text(const GUID& guid) {
  std::array<WCHAR, CHARS_IN_GUID> text{};
  StringFromGUID2(guid, text.data(), CHARS_IN_GUID);
  return to_utf8(text.data());
}

// Copies the fixed part of a format block; false if the block is shorter.
template <class Record>
bool read_format(const AM_MEDIA_TYPE& type, Record& record) {
  if (type.pbFormat == nullptr || type.cbFormat < sizeof(Record)) return false;
  std::memcpy(&record, type.pbFormat, sizeof(Record));
  return true;
}

bool is_video(const AM_MEDIA_TYPE& type) {
  return type.majortype == MEDIATYPE_Video;
}

// The first character is in the lowest byte.
std::string fourcc_text(DWORD code) {
  std::string text;
  for (unsigned shift = 0; shift < 32; shift += 8) text += static_cast<char>(code >> shift & 0xFF);
  return type_text(text);
}

}  // namespace

std::string codec_name(const AM_MEDIA_TYPE& type) {
  if (is_aac_access_units(type)) return "AAC";
  for (const NamedGuid& codec : kCodecs) {
    if (codec.guid == type.subtype) return codec.name;
  }
  return guid_text(type.subtype);
}

std::string media_type_line(const AM_MEDIA_TYPE& type) {
  std::string line = codec_name(type);
  VIDEOINFOHEADER video{};
  WAVEFORMATEX audio{};
  if (is_video(type) && read_format(type, video)) {
    line += ", " + std::to_string(video.bmiHeader.biWidth) + "x" + std::to_string(video.bmiHeader.biHeight);
    if (video.AvgTimePerFrame > 0) {
      std::array<char, 32> rate{};
      std::snprintf(rate.data(), rate.size(), ", %.3f fps", 1e7 / static_cast<double>(video.AvgTimePerFrame));
      line += rate.data();
    }
    if (video.dwBitRate > 0) line += ", " + std::to_string(video.dwBitRate) + " bit/s";
  } else if (const auto aac = describe_aac(type)) {
    line += ", " + std::to_string(aac->channels) + " ch, core " + std::to_string(aac->core_rate) +
            " Hz, output " + std::to_string(aac->output_rate) + " Hz, extension " + aac->extension;
  } else if (read_format(type, audio)) {
    line += ", " + std::to_string(audio.nChannels) + " ch, " + std::to_string(audio.nSamplesPerSec) + " Hz";
  }
  return line + ", format block of " + std::to_string(type.cbFormat) + " bytes";
}

nlohmann::ordered_json media_type_json(const AM_MEDIA_TYPE& type) {
  nlohmann::ordered_json json{{"codec", codec_name(type)},
                              {"major_type", guid_text(type.majortype)},
                              {"subtype", guid_text(type.subtype)},
                              {"format_type", guid_text(type.formattype)},
                              {"temporal_compression", type.bTemporalCompression != FALSE},
                              {"fixed_size_samples", type.bFixedSizeSamples != FALSE}};
  VIDEOINFOHEADER video{};
  WAVEFORMATEX audio{};
  if (is_video(type) && read_format(type, video)) {
    json["video"] = {{"width", video.bmiHeader.biWidth},
                     {"height", video.bmiHeader.biHeight},
                     {"compression", fourcc_text(video.bmiHeader.biCompression)},
                     {"header_size", video.bmiHeader.biSize},
                     {"bit_rate", video.dwBitRate},
                     {"time_per_frame_100ns", video.AvgTimePerFrame}};
  } else if (read_format(type, audio)) {
    json["audio"] = {{"format_tag", audio.wFormatTag},      {"channels", audio.nChannels},
                     {"sample_rate", audio.nSamplesPerSec}, {"bytes_per_second", audio.nAvgBytesPerSec},
                     {"block_align", audio.nBlockAlign},    {"bits_per_sample", audio.wBitsPerSample},
                     {"extra_size", audio.cbSize}};
  }
  if (const auto aac = describe_aac(type)) {
    json["aac"] = {{"channels", aac->channels},
                   {"core_rate", aac->core_rate},
                   {"output_rate", aac->output_rate},
                   {"extension", aac->extension}};
  }
  json["format_block_size"] = type.cbFormat;
  json["format_block"] = hex_text({type.pbFormat, type.cbFormat});
  return json;
}

}  // namespace zdr::host
