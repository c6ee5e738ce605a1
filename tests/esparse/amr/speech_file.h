// Speech files that tests make up, and readers on them.
#pragma once

#include <gtest/gtest.h>

#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "esparse/amr/amrf.h"
#include "tests/support/temp_folder.h"

namespace zdr::tests {

using Bytes = std::vector<uint8_t>;
inline const std::string kNarrowLine = "#!AMR\n";
inline const std::string kWideLine = "#!AMR-WB\n";

inline Bytes with_line(const std::string& line, const Bytes& frames) {
  Bytes bytes(line.begin(), line.end());
  bytes.insert(bytes.end(), frames.begin(), frames.end());
  return bytes;
}

struct CloseReader {
  void operator()(AMRF_File* reader) const { EXPECT_EQ(AMRF_Close(reader), 0); }
};
using Reader = std::unique_ptr<AMRF_File, CloseReader>;

// A file in a folder of its own.
struct OnDisk {
  TempFolder folder;
  std::filesystem::path path;
  std::u16string wide_path;

  explicit OnDisk(const Bytes& bytes) : path(folder / "speech.amr"), wide_path(path.u16string()) {
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  }
  Reader open() const {
    AMRF_File* reader = nullptr;
    EXPECT_EQ(AMRF_Open(&reader, wide_path.c_str()), 0);
    return Reader(reader);
  }
};

}  // namespace zdr::tests
