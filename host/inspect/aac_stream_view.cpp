// Opens AAC files with the same parameters as the filter, so that the estimates are the same.
#include "host/inspect/aac_stream_view.h"

#include <memory>
#include <nlohmann/json.hpp>

#include "host/inspect/os_file.h"

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
  AACF_GetStreamInfo(reader.get(), &stream);
}

std::string stream_line(const AacStreamView& view) {
  return "about " + std::to_string(view.stream.total_frames) + " frames, " +
         std::to_string(view.stream.bitrate) + " bit/s (" + bitrate_kind(view.stream.bitrate_mode) + "), " +
         std::to_string(view.stream.audio_bytes) + " bytes of audio";
}

nlohmann::ordered_json stream_json(const AacStreamView& view) {
  return {{"estimated_frames", view.stream.total_frames},
          {"bitrate_mode", bitrate_kind(view.stream.bitrate_mode)},
          {"bitrate", view.stream.bitrate},
          {"audio_bytes", view.stream.audio_bytes},
          {"frames_scanned", view.stream.frames_scanned},
          {"bytes_scanned", view.stream.bytes_scanned}};
}

}  // namespace zdr::host
