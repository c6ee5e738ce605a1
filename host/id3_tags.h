// The ID3 tags of an AAC file, seen through the tag parser alone: the filter keeps them to itself.
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
  ~Id3Tags() { ID3P_FreeTags(&tags_); }
  Id3Tags(const Id3Tags&) = delete;
  Id3Tags& operator=(const Id3Tags&) = delete;

  int32_t status() const { return status_; }  // of the parse
  uint32_t v2_bytes() const;                  // of the tag in front, 0 without one
  // As tags_json() tells those of ISO media files.
  nlohmann::ordered_json json() const;
  // The bytes of the attached picture; empty without one.
  std::vector<uint8_t> picture() const;

 private:
  ID3P_TagSet tags_{};
  int32_t status_;
};

}  // namespace zdr::host
