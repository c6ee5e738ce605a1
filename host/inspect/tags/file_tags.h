// The tags and the cover of an ISO media or AAC file, as `zdr info` shows them.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "host/inspect/iso/parsed_movie.h"
#include "host/inspect/tags/id3_tags.h"
#include "host/inspect/tags/tag_record.h"

namespace zdr::host {

class FileTags {
 public:
  // `movie` is the opened ISO media file and must outlive the object; null for other files.
  FileTags(const std::string& file, const ParsedMovie* movie);

  // Both are valid as long as the object. The bytes of the cover image are empty if there is none.
  std::vector<TagRecord> records() const;
  Bytes cover() const;
  // For a file with the cover image, by its first bytes: ".jpg".
  const char* cover_extension() const;

 private:
  const ParsedMovie* movie_;
  std::unique_ptr<const Id3Tags> id3_;  // of an AAC file, or of the box for them in an ISO media file
  TagRecord id3_location_;              // of that box
};

}  // namespace zdr::host
