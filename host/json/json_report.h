// The parts that all `--json` output has: "schema", "exit_code", "errors" and "warnings". Several files are
// an array "files" with one object each; `samples` spreads the parts over its first and its last line.
#pragma once

#include <iosfwd>
#include <string>
#include <string_view>

#include "host/exit_code.h"
#include "host/json/json_writer.h"
#include "host/messages.h"
#include "host/options.h"

namespace zdr::host {

inline constexpr int kJsonSchema = 2;

// The document of a command that takes several files. Each file is written as soon as it is reported, and the
// document is complete when the report is destroyed.
class JsonReport {
 public:
  // Several files on the command line are an array "files", unless each is a line of its own.
  JsonReport(std::ostream& out, const Options& options)
      : JsonReport(out, options, options.files.size() != 1) {}
  JsonReport(std::ostream& out, const Options& options, bool is_list)
      : json_(out, options.json_lines ? JsonWriter::Layout::kOneLine : JsonWriter::Layout::kIndented),
        is_list_(is_list && !options.json_lines) {}

  // Begins the object of a file. The caller adds its members and then calls end_json().
  JsonWriter& begin_file(const std::string& file, ExitCode code);

 private:
  JsonWriter json_;
  bool is_list_;
  bool has_files_ = false;
};

// Calls `show` for each file, which adds the file to the report, or prints it as text if the report is null.
// Returns the worst exit code.
using ShowFile = ExitCode (*)(const std::string& file, const Options& options, Messages& messages,
                              JsonReport* report, std::ostream& out);
ExitCode show_each_file(const Options& options, std::ostream& out, ShowFile show);

// Begin an object with schema and exit code; the second adds the name of the file between the two.
void begin_json(JsonWriter& json, ExitCode code);
void begin_file_json(JsonWriter& json, const std::string& file, ExitCode code);
// Prints the object that begins a list of lines: the schema and the name of the file.
void print_file_line(const std::string& file, std::ostream& out);
// Adds "errors" and "warnings", clears the messages, and ends the object.
void end_json(JsonWriter& json, Messages& messages);

// Adds the name of a file: `key` with its text, and `key`_hex with its bytes if it is not UTF-8.
void add_name(JsonWriter& json, std::string_view key, std::string_view file);
void add_messages(JsonWriter& json, std::string_view key, const std::vector<Message>& messages);

}  // namespace zdr::host
