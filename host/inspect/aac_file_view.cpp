// Opens AAC files with the filter's parameters, so that what is told is what the filter has met.
#include "host/inspect/aac_file_view.h"

#include <array>
#include <memory>
#include <nlohmann/json.hpp>

#include "host/inspect/id3_tags.h"
#include "host/inspect/os_file.h"
#include "host/messages.h"

namespace zdr::host {
namespace {

// What the filter passes.
constexpr uint32_t kScanLimit = 0x80000;

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

// What stands where the reader looks for the stream, but for bytes between a tag and it.
std::array<uint8_t, 4> stream_start(const std::string& file, uint32_t offset) {
  std::array<uint8_t, 4> bytes{};
  const OwnedFile handle = open_file(file);
  if (handle && OS_fseek(handle.get(), static_cast<int32_t>(offset), OS_SEEK_BEGIN) == 0) {
    OS_fread(bytes.data(), 1, static_cast<uint32_t>(bytes.size()), handle.get());
  }
  return bytes;
}

bool is_adts(const std::array<uint8_t, 4>& start) {
  return start[0] == 0xFF && (start[1] & 0xF6) == 0xF0;
}

// Empty for a header that the decoder takes.
std::string unsupported_adts(const std::array<uint8_t, 4>& start) {
  constexpr const char* kProfiles[] = {"Main", "LC", "SSR", "LTP"};
  const int profile = start[2] >> 6;
  const int channels = (start[2] & 1) << 2 | start[3] >> 6;
  if (profile != 1 && profile != 3) {
    return std::string("its ADTS stream has the ") + kProfiles[profile] + " profile, which is not supported";
  }
  if (channels > 2) {
    return "its ADTS stream has channel configuration " + std::to_string(channels) +
           "; at most two channels are supported";
  }
  return {};
}

OpenDiagnosis diagnose_stream(const std::string& file, uint32_t tag_bytes, const std::string& status) {
  const auto start = stream_start(file, tag_bytes);
  if (is_adts(start)) {
    const std::string reason = unsupported_adts(start);
    if (!reason.empty()) return {ExitCode::kNotSupported, "", reason, status};
    return {ExitCode::kCannotOpen, "", "damaged: the first frame of its ADTS stream is not decodable",
            status};
  }
  if (tag_bytes != 0) {
    return {ExitCode::kNotSupported, "", "behind an ID3v2 tag only ADTS streams are recognised", status};
  }
  return {ExitCode::kCannotOpen, "", "it begins with none of ADTS, ADIF and an AAC configuration", status};
}

}  // namespace

AacFileView::AacFileView(const std::string& file) {
  const AACF_OpenParams params{&kFileIo, kScanLimit};
  AACF_File* opened = nullptr;
  status = AACF_Open(&opened, to_wide(file).c_str(), &params);
  const std::unique_ptr<AACF_File, CloseReader> reader(opened);
  AACF_GetStreamInfo(reader.get(), &stream);
}

std::string stream_line(const AacFileView& view) {
  return "about " + std::to_string(view.stream.total_frames) + " frames, " +
         std::to_string(view.stream.bitrate) + " bit/s (" + bitrate_kind(view.stream.bitrate_mode) + "), " +
         std::to_string(view.stream.audio_bytes) + " bytes of audio";
}

nlohmann::ordered_json stream_json(const AacFileView& view) {
  return {{"estimated_frames", view.stream.total_frames},
          {"bitrate_mode", bitrate_kind(view.stream.bitrate_mode)},
          {"bitrate", view.stream.bitrate},
          {"audio_bytes", view.stream.audio_bytes},
          {"frames_scanned", view.stream.frames_scanned},
          {"bytes_scanned", view.stream.bytes_scanned}};
}

OpenDiagnosis diagnose_aac_file(const std::string& file, int32_t load_result) {
  const AacFileView view(file);
  const std::string status = std::to_string(view.status);
  switch (view.status) {
    case AACF_ERR_OPEN:
      return {ExitCode::kCannotOpen, "", "the file cannot be opened", hresult_text(load_result)};
    case AACF_ERR_SHORT_READ:
      return {ExitCode::kCannotOpen, "", "damaged: the file ends inside its ID3v2 tag", status};
    case AACF_ERR_NO_MEMORY:
      return {ExitCode::kCannotOpen, "", "out of memory", status};
    default:
      break;
  }
  const Id3Tags tags(file);
  if (tags.status() != ID3P_OK) {
    return {ExitCode::kCannotOpen, "", "damaged: its ID3v2.3 tag has flags that are not defined", status};
  }
  return diagnose_stream(file, tags.v2_bytes(), status);
}

}  // namespace zdr::host
