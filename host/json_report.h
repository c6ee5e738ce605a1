// The common form of all `--json` output: one object that begins with "schema" and "exit_code" and ends with
// "errors" and "warnings". For several files it has an array "files" with one object each.
#pragma once

#include <iosfwd>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

#include "host/exit_code.h"
#include "host/messages.h"

namespace zdr::host {

inline constexpr int kJsonSchema = 1;

class JsonReport {
 public:
  // `named_files` is the number of files on the command line. Only one file is reported without the array
  // "files".
  explicit JsonReport(size_t named_files) : one_file_(named_files == 1) {}

  void add(nlohmann::ordered_json file) { files_.push_back(std::move(file)); }
  void print(std::ostream& out) const;

 private:
  bool one_file_;
  nlohmann::ordered_json files_ = nlohmann::ordered_json::array();
};

// Begin an object with schema and exit code; the second adds the name of the file between the two.
nlohmann::ordered_json begin_json(ExitCode code);
nlohmann::ordered_json begin_file_json(const std::string& file, ExitCode code);
// Adds "errors" and "warnings" and clears the messages.
void end_json(nlohmann::ordered_json& json, Messages& messages);

// Adds the name of a file: `key` with its text, and `key`_hex with its bytes if it is not UTF-8.
void add_name(nlohmann::ordered_json& object, const std::string& key, std::string_view file);

// Serialises with indentation. Bytes that are not UTF-8 become U+FFFD, control characters \u00XX.
std::string json_text(const nlohmann::ordered_json& json);

}  // namespace zdr::host
