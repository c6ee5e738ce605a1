// Inputs that are a media file followed by a script of at most 31 bytes; the last byte is the length of the
// script. So every media file is a good seed, and a change of the script leaves the file as it is.
#pragma once

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <span>
#include <string_view>

#include "mediakit/files/temp_folder.h"

namespace zdr::fuzz {

using Bytes = std::span<const uint8_t>;

// Bytes that decide what a target does; 0 after the last one.
class Script {
 public:
  explicit Script(Bytes bytes) : rest_(bytes) {}
  bool has_more() const { return !rest_.empty(); }
  uint8_t next() {
    if (rest_.empty()) return 0;
    const uint8_t byte = rest_.front();
    rest_ = rest_.subspan(1);
    return byte;
  }

 private:
  Bytes rest_;
};

struct MediaInput {
  Bytes file;
  Script script;
};

inline MediaInput split_input(Bytes input) {
  if (input.empty()) return {{}, Script({})};
  const Bytes all = input.first(input.size() - 1);
  const Bytes script = all.last(std::min<size_t>(input.back() % 32, all.size()));
  return {all.first(all.size() - script.size()), Script(script)};
}

// The extension that makes the module read the file as the type of its first bytes.
inline const char* extension_of(Bytes file) {
  const auto begins_with = [&](std::string_view text) {
    return file.size() >= text.size() &&
           std::equal(text.begin(), text.end(), file.begin(),
                      [](char a, uint8_t b) { return static_cast<uint8_t>(a) == b; });
  };
  if (begins_with("#!AMR")) return ".amr";
  const bool is_adts = file.size() >= 2 && file[0] == 0xFF && file[1] >> 4 == 0xF;
  return is_adts || begins_with("ADIF") || begins_with("ID3") ? ".aac" : ".mp4";
}

// The folder of the files that the target writes.
inline const test::TempFolder& output_folder() {
  static const test::TempFolder folder;
  return folder;
}

// Writes the file under the extension of its kind.
inline std::filesystem::path write_media(Bytes file) {
  const std::filesystem::path path = output_folder() / (std::string("input") + extension_of(file));
  test::write_file(path, {reinterpret_cast<const char*>(file.data()), file.size()});
  return path;
}

}  // namespace zdr::fuzz
