// The tags and the cover of an ISO media or AAC file, as `zdr info` shows them.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "host/inspect/id3_tags.h"
#include "host/inspect/parsed_movie.h"
#include "host/inspect/tag_record.h"

namespace zdr::host {

class FileTags {
 public:
  // `movie` is the opened ISO media file and must outlive the object; null for other files.
  FileTags(const std::string& file, const ParsedMovie* movie);

  std::vector<TagRecord> records() const;
  // The bytes of the cover image; empty if there is none.
  std::vector<uint8_t> cover() const;

 private:
  std::string file_;
  const ParsedMovie* movie_;
  std::unique_ptr<const Id3Tags> id3_;  // of an AAC file
};

}  // namespace zdr::host
