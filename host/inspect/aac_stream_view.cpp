// Opens AAC files with the same parameters as the filter, so that the estimates are the same.
#include "host/inspect/aac_stream_view.h"

#include <memory>

#include "host/inspect/os_file.h"
#include "host/memory.h"

namespace zdr::host {
namespace {

constexpr uint32_t kScanLimit = 0x80000;  // the filter's value

struct CloseReader {
  void operator()(AACF_File* reader) const { AACF_Close(reader); }
};

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

}  // namespace

AacStreamView::AacStreamView(const std::string& file) {
  const AACF_OpenParams params{&kFileIo, kScanLimit};
  AACF_File* opened = nullptr;
  status = AACF_Open(&opened, wide_file_name(file).c_str(), &params);
  const std::unique_ptr<AACF_File, CloseReader> reader(opened);
  with_memory(status, AACF_ERR_NO_MEMORY);
  AACF_GetStreamInfo(reader.get(), &stream);
}

std::string stream_line(const AacStreamView& view) {
  return "about " + std::to_string(view.stream.total_frames) + " frames, " +
         std::to_string(view.stream.bitrate) + " bit/s (" + bitrate_kind(view.stream.bitrate_mode) + "), " +
         std::to_string(view.stream.audio_bytes) + " bytes of audio";
}

void write_stream(JsonWriter& json, const AacStreamView& view) {
  json.begin_object();
  json.member("estimated_frames", view.stream.total_frames);
  json.member("bitrate_mode", bitrate_kind(view.stream.bitrate_mode));
  json.member("bitrate", view.stream.bitrate);
  json.member("audio_bytes", view.stream.audio_bytes);
  json.member("frames_scanned", view.stream.frames_scanned);
  json.member("bytes_scanned", view.stream.bytes_scanned);
  json.end_object();
}

}  // namespace zdr::host
