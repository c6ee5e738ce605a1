// The tags of a file in memory, released at the end of the test.
#pragma once

#include <string>

#include "id3p/id3p.h"
#include "tests/support/id3_builder.h"
#include "tests/support/memory_file.h"

namespace zdr::test {

class ParsedTags {
 public:
  explicit ParsedTags(const Bytes& content) : file_(content) {
    status_ = ID3P_Parse(file_.handle(), &file_.io(), &set_);
  }
  ~ParsedTags() { ID3P_FreeTags(&set_); }
  ParsedTags(const ParsedTags&) = delete;
  ParsedTags& operator=(const ParsedTags&) = delete;

  int32_t status() const { return status_; }
  uint64_t position() const { return file_.position(); }
  const ID3P_TagSet& set() const { return set_; }

 private:
  MemoryFile file_;
  ID3P_TagSet set_{};
  int32_t status_;
};

// "<null>" without a text.
inline std::u16string shown(const char16_t* text) {
  return text == nullptr ? u"<null>" : text;
}

}  // namespace zdr::test
