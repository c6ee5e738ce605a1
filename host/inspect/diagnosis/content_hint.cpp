// Recognises the types that the filter plays.
#include "host/inspect/diagnosis/content_hint.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <span>
#include <string_view>

#include "filters/source/mp4/interfaces/source_kind.h"
#include "host/formats/adts_header.h"
#include "host/inspect/files/file_stream.h"

namespace zdr::host {
namespace {

using mp4source::SourceKind;

struct KindName {
  SourceKind kind;
  const char* name;
  const char* extension;
};
constexpr KindName kKindNames[] = {{mp4source::SOURCE_KIND_MP4, "an MP4 file", ".mp4"},
                                   {mp4source::SOURCE_KIND_AMR, "an AMR file", ".amr"},
                                   {mp4source::SOURCE_KIND_AAC, "an AAC file", ".aac"}};

SourceKind kind_of_content(std::span<const uint8_t> bytes) {
  const std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  constexpr std::string_view kFirstBoxes[] = {"ftyp", "moov", "mdat", "free", "skip", "wide"};
  if (text.size() >= 8 && std::ranges::find(kFirstBoxes, text.substr(4, 4)) != std::end(kFirstBoxes))
    return mp4source::SOURCE_KIND_MP4;
  if (text.starts_with("#!AMR")) return mp4source::SOURCE_KIND_AMR;
  if (text.starts_with("ADIF") || is_adts_header(bytes)) return mp4source::SOURCE_KIND_AAC;
  return mp4source::SOURCE_KIND_NONE;
}

bool is_known_speech(std::string_view text) {
  return text.starts_with("#!AMR\n") || text.starts_with("#!AMR-WB\n");
}

}  // namespace

bool looks_like_mpeg(const std::string& file) {
  FileStream stream(file);
  std::array<uint8_t, 4> bytes{};
  constexpr std::array<uint8_t, 3> kStartCode = {0, 0, 1};
  constexpr uint8_t kPackHeader = 0xBA;  // ISO/IEC 11172-1, 2.4.3
  constexpr uint8_t kSequenceHeader = 0xB3;
  return stream.read_at(0, bytes) == bytes.size() &&
         std::ranges::equal(std::span(bytes).first(3), kStartCode) &&
         (bytes[3] == kPackHeader || bytes[3] == kSequenceHeader);
}

void report_content_hint(const std::string& file, Messages& messages) {
  FileStream stream(file);
  std::array<uint8_t, 16> bytes{};
  const size_t count = stream.read_at(0, bytes);
  const std::string_view text(reinterpret_cast<const char*>(bytes.data()), count);
  const SourceKind named = mp4source::source_kind_of(file);
  const SourceKind found = kind_of_content(std::span(bytes).first(count));
  const auto* const known = std::ranges::find(kKindNames, found, &KindName::kind);
  if (known != std::end(kKindNames) && found != named) {
    messages.note({MessageCode::kFileTypeUnknown,
                   file,
                   {},
                   std::string("looks like ") + known->name + "; rename it to " + known->extension +
                       " to play it as one",
                   ""});
  } else if (named == mp4source::SOURCE_KIND_AMR && found == named && !is_known_speech(text)) {
    messages.note({MessageCode::kFileTypeUnknown,
                   file,
                   {},
                   "its first line is neither #!AMR nor #!AMR-WB; multichannel files are not supported",
                   ""});
  } else if (named == mp4source::SOURCE_KIND_AMR && found != named && count != 0) {
    messages.note(
        {MessageCode::kFileTypeUnknown, file, {}, "does not begin with #!AMR, so it may not be speech", ""});
  }
}

}  // namespace zdr::host
