// Joins the tags of the movie with those of an ID3 tag inside of it, or reads those of an AAC file.
#include "host/inspect/file_tags.h"

#include <iterator>
#include <utility>

#include "host/decoded_text.h"
#include "host/inspect/file_kind.h"
#include "host/inspect/movie_tags.h"

namespace zdr::host {
namespace {

TagRecord id3_location_record(const P3gppId3Location& location) {
  const uint32_t language = (location.language[0] & 0x7FU) << 8 | location.language[1];
  return {
      "ID3v2 tag", "ID32", language_text(language), {{"offset", location.offset}, {"bytes", location.size}}};
}

}  // namespace

FileTags::FileTags(const std::string& file, const ParsedMovie* movie)
    : file_(file), movie_(movie != nullptr && movie->is_open() ? movie : nullptr) {
  if (file_kind(file) == FileKind::kAac) id3_ = std::make_unique<const Id3Tags>(file);
}

std::vector<TagRecord> FileTags::records() const {
  if (id3_) return id3_->records();
  if (movie_ == nullptr) return {};
  std::vector<TagRecord> records = movie_tags(*movie_);
  P3gppId3Location location{};
  if (P3GPP_GetId3Location(movie_->file(), &location) != P3GPP_OK) return records;
  records.push_back(id3_location_record(location));
  std::vector<TagRecord> inside = Id3Tags(file_, location.offset, location.size).v2_records();
  std::move(inside.begin(), inside.end(), std::back_inserter(records));
  return records;
}

std::vector<uint8_t> FileTags::cover() const {
  if (id3_) return id3_->picture();
  return movie_ != nullptr ? movie_cover(*movie_) : std::vector<uint8_t>();
}

}  // namespace zdr::host
