// Maps the reader's status to a reason. If the status is not specific, examines the tag and the first header.
#include "host/inspect/aac_diagnosis.h"

#include <array>

#include "host/inspect/aac_stream_view.h"
#include "host/inspect/adts_frames.h"
#include "host/inspect/id3_tags.h"
#include "host/inspect/os_file.h"
#include "host/messages.h"

namespace zdr::host {
namespace {

// Reads the first bytes after the tag, where a stream that follows the tag directly begins.
std::array<uint8_t, 4> stream_start(const std::string& file, uint32_t offset) {
  std::array<uint8_t, 4> bytes{};
  const OwnedFile handle = open_file(file);
  if (handle && OS_fseek(handle.get(), static_cast<int32_t>(offset), OS_SEEK_BEGIN) == 0) {
    OS_fread(bytes.data(), 1, static_cast<uint32_t>(bytes.size()), handle.get());
  }
  return bytes;
}

// Why the decoder does not support the stream of an ADTS header; empty if it does.
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

Diagnosis diagnose_stream(const std::string& file, uint32_t tag_bytes, const std::string& status) {
  const auto start = stream_start(file, tag_bytes);
  if (is_adts_header(start)) {
    const std::string reason = unsupported_adts(start);
    if (!reason.empty()) return {ExitCode::kNotSupported, MessageCode::kFileTypeUnknown, {}, reason, status};
    return {ExitCode::kCannotOpen,
            MessageCode::kFileDamaged,
            {},
            "damaged: the first frame of its ADTS stream is not decodable",
            status};
  }
  if (tag_bytes != 0) {
    return {ExitCode::kNotSupported,
            MessageCode::kFileTypeUnknown,
            {},
            "after an ID3v2 tag only ADTS streams are recognised",
            status};
  }
  return {ExitCode::kCannotOpen,
          MessageCode::kFileTypeUnknown,
          {},
          "does not begin with ADTS, ADIF or an AAC configuration",
          status};
}

}  // namespace

Diagnosis diagnose_aac_file(const std::string& file, int32_t load_result) {
  const AacStreamView view(file);
  const std::string status = std::to_string(view.status);
  switch (view.status) {
    case AACF_ERR_OPEN:
      return {ExitCode::kCannotOpen,
              MessageCode::kFileNotReadable,
              {},
              "cannot be opened",
              hresult_text(load_result)};
    case AACF_ERR_SHORT_READ:
      return {ExitCode::kCannotOpen,
              MessageCode::kFileDamaged,
              {},
              "damaged: the file ends inside its ID3v2 tag",
              status};
    default:
      break;
  }
  const Id3Tags tags(file);
  if (tags.status() != ID3P_OK) {
    return {ExitCode::kCannotOpen,
            MessageCode::kFileDamaged,
            {},
            "damaged: its ID3v2.3 tag has flags that are not defined",
            status};
  }
  return diagnose_stream(file, tags.v2_bytes(), status);
}

}  // namespace zdr::host
