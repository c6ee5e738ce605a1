// ID3 tags, read directly with the tag parser: those of an AAC file, which the filter does not publish, and
// those inside a box of an ISO media file.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "host/inspect/tags/tag_record.h"
#include "id3p/id3p.h"

namespace zdr::host {

class Id3Tags {
 public:
  explicit Id3Tags(const std::string& file);
  // Reads the tags in a part of a file. There are none beyond 2 GiB, which the file layer cannot reach.
  Id3Tags(const std::string& file, uint64_t offset, uint64_t size);
  Id3Tags(const Id3Tags&) = delete;
  Id3Tags& operator=(const Id3Tags&) = delete;

  int32_t status() const { return status_; }  // of the parse
  uint32_t v2_bytes() const;                  // of the tag at the beginning; 0 if there is none
  // The records and the picture are valid as long as the object.
  std::vector<TagRecord> records() const;
  // The texts and the picture of the version 2 tag only.
  std::vector<TagRecord> v2_records() const;
  // The bytes of the attached picture; empty if there is none.
  Bytes picture() const;

 private:
  struct OwnedTags : ID3P_TagSet {
    OwnedTags() : ID3P_TagSet{} {}
    ~OwnedTags() { ID3P_FreeTags(this); }
    OwnedTags(const OwnedTags&) = delete;
    OwnedTags& operator=(const OwnedTags&) = delete;
  };

  // Throws std::bad_alloc.
  void parse(void* handle, const AACF_FileIo& io);

  OwnedTags tags_;
  int32_t status_ = ID3P_ERR_FAILED;
};

}  // namespace zdr::host
