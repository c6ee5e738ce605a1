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

// The texts that are there, as "title=Song year=1999"; what is not ASCII as \XXXX.
inline std::string texts(const ID3P_Text& text) {
  const std::pair<const char*, const char16_t*> fields[] = {
      {"title", text.title},       {"artist", text.artist},
      {"album", text.album},       {"year", text.year},
      {"comment", text.comment},   {"genre", text.genre},
      {"track", text.track},       {"length", text.length},
      {"composer", text.composer}, {"original", text.original_artist},
      {"url", text.user_url}};
  std::string all;
  for (const auto& [name, units] : fields) {
    if (units == nullptr) continue;
    all += (all.empty() ? "" : " ") + std::string(name) + "=";
    for (const char16_t unit : std::u16string_view(units)) {
      char shown[8];
      std::snprintf(shown, sizeof shown, unit >= 0x20 && unit < 0x7F ? "%c" : "\\%04X", unsigned{unit});
      all += shown;
    }
  }
  return all;
}

}  // namespace zdr::test
