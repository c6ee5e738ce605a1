// What `--json` prints: an object that begins with schema and exit code and ends with errors and warnings; of
// several files one object that holds theirs.
#pragma once

#include <iosfwd>
#include <nlohmann/json.hpp>
#include <string>

#include "host/exit_code.h"
#include "host/messages.h"

namespace zdr::host {

inline constexpr int kJsonSchema = 1;

class JsonReport {
 public:
  // How many files were named, which alone decides the form.
  explicit JsonReport(size_t named_files) : one_file_(named_files == 1) {}

  void add(nlohmann::ordered_json file) { files_.push_back(std::move(file)); }
  void print(std::ostream& out) const;

 private:
  bool one_file_;
  nlohmann::ordered_json files_ = nlohmann::ordered_json::array();
};

// How an object begins: schema, exit code; for one of a file its name between them.
nlohmann::ordered_json begin_json(ExitCode code);
nlohmann::ordered_json begin_file_json(const std::string& file, ExitCode code);
// How it ends: what was said meanwhile. Takes the messages away.
void end_json(nlohmann::ordered_json& json, Messages& messages);

// The text of an object. Bytes that are not UTF-8 come out as U+FFFD, control characters as \u00XX.
std::string json_text(const nlohmann::ordered_json& json);

}  // namespace zdr::host
