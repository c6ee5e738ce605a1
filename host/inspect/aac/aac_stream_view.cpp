// Opens AAC files as the filter does.
#include "host/inspect/aac/aac_stream_view.h"

#include <algorithm>

#include "host/inspect/aac_description.h"
#include "host/inspect/files/os_file.h"
#include "host/memory.h"
#include "host/messages.h"

namespace zdr::host {
namespace {

constexpr uint32_t kScanLimit = 0x80000;  // the filter's value

const char* bitrate_kind(uint32_t mode) {
  switch (mode) {
    case AACF_BITRATE_VARIABLE:
      return "variable";
    case AACF_BITRATE_CONSTANT:
      return "constant";
    case AACF_BITRATE_ESTIMATED:
      return "estimated";
    default:
      return "unknown";
  }
}

// The reader accepts these two audio object types only.
const char* profile_name(const Zd_AAC_Dec_Config& config) {
  constexpr int32_t kLtp = 3;
  return config.profile == kLtp ? "LTP" : "LC";
}

// In the configuration of the reader's decoder, a single rate means only that the PCM has the rate of the
// core.
const char* stream_extension(Zd_AAC_Dec_Config config) {
  config.singleRate = 0;
  return extension_name(config);
}

}  // namespace

AacReader::AacReader(const std::string& file) {
  const AACF_OpenParams params{&kFileIo, kScanLimit};
  AACF_File* opened = nullptr;
  status_ = AACF_Open(&opened, wide_file_name(file).c_str(), &params);
  reader_.reset(opened);
  with_memory(status_, AACF_ERR_NO_MEMORY);
}

Zd_AAC_Dec_Config AacReader::config() const {
  Zd_AAC_Dec_Config config{};
  AACF_GetConfig(get(), &config);
  return config;
}

AACF_StreamInfo AacReader::stream() const {
  AACF_StreamInfo stream{};
  AACF_GetStreamInfo(get(), &stream);
  return stream;
}

AacStreamView::AacStreamView(const AacReader& reader) {
  status = reader.status();
  if (status != AACF_OK) return;
  stream = reader.stream();
  config = reader.config();
}

std::string format_line(const AacStreamView& view) {
  const Zd_AAC_Dec_Config& config = view.config;
  return std::string("AAC ") + profile_name(config) + ", " + std::to_string(config.channels) + " ch, core " +
         std::to_string(config.sampleRate) + " Hz, output " + std::to_string(config.outputRate) +
         " Hz, extension " + stream_extension(config);
}

std::string stream_line(const AacStreamView& view) {
  const uint32_t frames = view.stream.total_frames;
  const std::string bytes = counted(view.stream.audio_bytes, "byte") + " of audio data";
  if (frames == 0) return bytes;  // too few for an estimate
  const double seconds =
      static_cast<double>(frames) * view.config.frameLength / std::max(1, view.config.sampleRate);
  const double average = seconds > 0 ? view.stream.audio_bytes * 8 / seconds : 0;
  // The reader takes the rate of an ADIF header from fixed bytes, which may hold something else.
  const bool is_estimate = view.stream.bitrate_mode == AACF_BITRATE_ESTIMATED && view.stream.bitrate != 0;
  const std::string rate = is_estimate ? std::to_string(view.stream.bitrate) + " bit/s (estimated)"
                                       : std::to_string(static_cast<uint64_t>(average)) + " bit/s (average)";
  return "about " + counted(frames, "frame") + ", " + rate + ", " + bytes;
}

void write_stream(JsonWriter& json, const AacStreamView& view) {
  json.begin_object();
  json.member("profile", profile_name(view.config));
  json.member("channels", view.config.channels);
  json.member("core_rate", view.config.sampleRate);
  json.member("output_rate", view.config.outputRate);
  json.member("extension", stream_extension(view.config));
  json.member("estimated_frames", view.stream.total_frames);
  json.member("bit_rate_mode", bitrate_kind(view.stream.bitrate_mode));
  json.member("bit_rate", view.stream.bitrate);
  json.member("audio_bytes", view.stream.audio_bytes);
  json.member("frames_scanned", view.stream.frames_scanned);
  json.member("bytes_scanned", view.stream.bytes_scanned);
  json.end_object();
}

}  // namespace zdr::host
