// What `--json` prints for a command that takes files: one file's object as it is, several in one object.
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
  // Bytes that are not UTF-8 come out as U+FFFD.
  void print(std::ostream& out) const;

 private:
  bool one_file_;
  nlohmann::ordered_json files_ = nlohmann::ordered_json::array();
};

// How an object of a file begins: schema, file, exit code.
nlohmann::ordered_json begin_file_json(const std::string& file, ExitCode code);
// How it ends: what was said of the file. Takes the messages away.
void end_file_json(nlohmann::ordered_json& json, Messages& messages);

}  // namespace zdr::host
