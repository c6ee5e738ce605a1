// Names subtypes and reads the fields of format blocks.
#include "host/inspect/media_type_text.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <utility>
#include <variant>

#include "host/formats/aac_format.h"
#include "host/formats/codec_names.h"
#include "host/formats/digest.h"
#include "host/inspect/aac_description.h"
#include "host/text/decoded_text.h"

namespace zdr::host {
namespace {

using GuidText = std::array<char, CHARS_IN_GUID>;

// The text is in `storage`.
std::string_view guid_text(const GUID& guid, GuidText&& storage = {}) {
  std::array<WCHAR, CHARS_IN_GUID> wide{};
  StringFromGUID2(guid, wide.data(), CHARS_IN_GUID);
  std::ranges::transform(wide, storage.begin(), [](WCHAR unit) { return static_cast<char>(unit); });
  return storage.data();
}

std::string_view codec_text(const AM_MEDIA_TYPE& type, GuidText&& storage = {}) {
  if (is_aac_access_units(type)) return "AAC";
  const std::string_view name = codec_of_subtype(type.subtype);
  return name.empty() ? guid_text(type.subtype, std::move(storage)) : name;
}

// The fixed part of a format block; nothing if the block is shorter.
using FormatRecord = std::variant<std::monostate, VIDEOINFOHEADER, WAVEFORMATEX>;

template <class Record>
FormatRecord copy_record(const AM_MEDIA_TYPE& type) {
  if (type.pbFormat == nullptr || type.cbFormat < sizeof(Record)) return {};
  Record record;
  std::memcpy(&record, type.pbFormat, sizeof record);
  return record;
}

FormatRecord read_format(const AM_MEDIA_TYPE& type) {
  return type.majortype == MEDIATYPE_Video ? copy_record<VIDEOINFOHEADER>(type)
                                           : copy_record<WAVEFORMATEX>(type);
}

// The first character is in the lowest byte.
std::string fourcc_text(DWORD code) {
  std::string text;
  for (unsigned shift = 0; shift < 32; shift += 8) text += static_cast<char>(code >> shift & 0xFF);
  return type_text(text);
}

void add_video(JsonWriter& json, const VIDEOINFOHEADER& video) {
  json.begin_object("video");
  json.member("width", video.bmiHeader.biWidth);
  json.member("height", video.bmiHeader.biHeight);
  json.member("compression", fourcc_text(video.bmiHeader.biCompression));
  json.member("header_size", video.bmiHeader.biSize);
  json.member("bit_rate", video.dwBitRate);
  json.member("time_per_frame_100ns", video.AvgTimePerFrame);
  json.end_object();
}

void add_audio(JsonWriter& json, const WAVEFORMATEX& audio) {
  json.begin_object("audio");
  json.member("format_tag", audio.wFormatTag);
  json.member("channels", audio.nChannels);
  json.member("sample_rate", audio.nSamplesPerSec);
  json.member("bytes_per_second", audio.nAvgBytesPerSec);
  json.member("block_align", audio.nBlockAlign);
  json.member("bits_per_sample", audio.wBitsPerSample);
  json.member("extra_size", audio.cbSize);
  json.end_object();
}

void add_aac(JsonWriter& json, const AacDescription& aac) {
  json.begin_object("aac");
  json.member("channels", aac.channels);
  json.member("core_rate", aac.core_rate);
  json.member("output_rate", aac.output_rate);
  json.member("extension", aac.extension);
  json.end_object();
}

}  // namespace

std::string codec_name(const AM_MEDIA_TYPE& type) {
  return std::string(codec_text(type));
}

Bytes format_block(const AM_MEDIA_TYPE& type) {
  return type.pbFormat == nullptr ? Bytes() : Bytes(type.pbFormat, type.cbFormat);
}

std::string media_type_line(const AM_MEDIA_TYPE& type) {
  std::string line = codec_name(type);
  const FormatRecord format = read_format(type);
  const auto aac = describe_aac(type);
  if (const auto* video = std::get_if<VIDEOINFOHEADER>(&format)) {
    line += ", " + std::to_string(video->bmiHeader.biWidth) + "x" + std::to_string(video->bmiHeader.biHeight);
    if (video->AvgTimePerFrame > 0) {
      std::array<char, 32> rate{};
      std::snprintf(rate.data(), rate.size(), ", %.3f fps",
                    1e7 / static_cast<double>(video->AvgTimePerFrame));
      line += rate.data();
    }
    if (video->dwBitRate > 0) line += ", " + std::to_string(video->dwBitRate) + " bit/s";
  } else if (aac) {
    line += ", " + std::to_string(aac->channels) + " ch, core " + std::to_string(aac->core_rate) +
            " Hz, output " + std::to_string(aac->output_rate) + " Hz, extension " + aac->extension;
  } else if (const auto* audio = std::get_if<WAVEFORMATEX>(&format)) {
    line += ", " + std::to_string(audio->nChannels) + " ch, " + std::to_string(audio->nSamplesPerSec) + " Hz";
  }
  return line;
}

void write_media_type(JsonWriter& json, const AM_MEDIA_TYPE& type, bool is_full) {
  json.begin_object();
  json.member("codec", codec_text(type));
  json.member("major_type", guid_text(type.majortype));
  json.member("subtype", guid_text(type.subtype));
  json.member("format_type", guid_text(type.formattype));
  json.member("temporal_compression", type.bTemporalCompression != FALSE);
  json.member("fixed_size_samples", type.bFixedSizeSamples != FALSE);
  const FormatRecord format = read_format(type);
  if (const auto* video = std::get_if<VIDEOINFOHEADER>(&format)) add_video(json, *video);
  if (const auto* audio = std::get_if<WAVEFORMATEX>(&format)) add_audio(json, *audio);
  if (const auto aac = describe_aac(type)) add_aac(json, *aac);
  json.member("format_block_size", type.cbFormat);
  std::array<char, 9> digits{};
  std::snprintf(digits.data(), digits.size(), "%08x", crc32_of(format_block(type)));
  json.member("format_block_crc32", digits.data());
  if (is_full) {
    json.key("format_block");
    json.hex_value(format_block(type));
  }
  json.end_object();
}

}  // namespace zdr::host
