// Maps the reader's status to a reason. If the status is not specific, examines the tag and the first header.
#include "host/inspect/diagnosis/aac_diagnosis.h"

#include <array>

#include "host/formats/adts_header.h"
#include "host/inspect/aac/aac_stream_view.h"
#include "host/inspect/files/file_stream.h"
#include "host/inspect/tags/id3_tags.h"
#include "host/messages.h"

namespace zdr::host {
namespace {

// Why the decoder does not support the stream of an ADTS header; empty if it does.
std::string unsupported_adts(const AdtsHeader& header) {
  constexpr const char* kProfiles[] = {"Main", "LC", "SSR", "LTP"};
  if (header.profile != 1 && header.profile != 3) {
    return std::string("its ADTS stream has the ") + kProfiles[header.profile] +
           " profile, which is not supported";
  }
  if (header.channel_configuration > 2) {
    return "its ADTS stream has channel configuration " + std::to_string(header.channel_configuration) +
           "; at most two channels are supported";
  }
  return {};
}

Diagnosis diagnose_stream(const std::string& file, uint32_t tag_bytes, const std::string& status) {
  std::array<uint8_t, AdtsHeader::kBytes> start{};
  const size_t count = FileStream(file).read_at(tag_bytes, start);
  if (const auto header = read_adts_header(Bytes(start).first(count))) {
    const std::string reason = unsupported_adts(*header);
    if (!reason.empty()) return {ExitCode::kNotSupported, MessageCode::kNoPlayableTrack, {}, reason, status};
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
            "its ID3v2 tag is not followed by an ADTS stream, the only kind that is recognised there",
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
