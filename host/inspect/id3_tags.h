// ID3 tags, seen through the tag parser alone: those of an AAC file, which the filter keeps to itself, and
// those that an ISO media file has inside a box.
#pragma once

#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

#include "id3p/id3p.h"

namespace zdr::host {

class Id3Tags {
 public:
  explicit Id3Tags(const std::string& file);
  // Those of a part of a file. Beyond 2 GiB, where the file layer does not reach, there are none.
  Id3Tags(const std::string& file, uint64_t offset, uint64_t size);
  ~Id3Tags() { ID3P_FreeTags(&tags_); }
  Id3Tags(const Id3Tags&) = delete;
  Id3Tags& operator=(const Id3Tags&) = delete;

  int32_t status() const { return status_; }  // of the parse
  uint32_t v2_bytes() const;                  // of the tag in front, 0 without one
  // As tags_json() tells those of ISO media files.
  nlohmann::ordered_json json() const;
  // The texts and the picture of the version 2 tag alone.
  nlohmann::ordered_json v2_json() const;
  // The bytes of the attached picture; empty without one.
  std::vector<uint8_t> picture() const;

 private:
  ID3P_TagSet tags_{};
  int32_t status_;
};

}  // namespace zdr::host
