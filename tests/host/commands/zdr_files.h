// Files for the tests of the program: samples of the tree, files that a test builds, and JSON that the
// program prints.
#pragma once

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "mediakit/files/temp_folder.h"
#include "tests/host/commands/zdr_process.h"

namespace zdr::test {

inline ZdrResult zdr(const std::string& line, const TempFolder& folder) {
  return zdr(line, folder.path());
}

inline std::string sample_path(const std::string& name) {
  return ZDR_SAMPLES_DIR "/" + name;
}

inline void write_bytes(const TempFolder& folder, const std::string& name,
                        const std::vector<uint8_t>& bytes) {
  write_file(folder / name, {reinterpret_cast<const char*>(bytes.data()), bytes.size()});
}

// Parses a JSON object of the program, which must begin with its schema.
inline nlohmann::ordered_json parsed(const std::string& text) {
  auto json = nlohmann::ordered_json::parse(text, nullptr, false);
  EXPECT_FALSE(json.is_discarded()) << text;
  EXPECT_TRUE(json.is_object() && json.begin().key() == "schema" && json.begin().value() == 1) << text;
  return json;
}

}  // namespace zdr::test
