// Writes the parts that the documents of all commands have.
#include "host/json_report.h"

#include <ostream>

#include "host/decoded_text.h"

namespace zdr::host {

JsonWriter& JsonReport::begin_file(const std::string& file, ExitCode code) {
  if (is_list_ && !has_files_) {
    json_.begin_object();
    json_.member("schema", kJsonSchema);
    json_.begin_array("files");
  }
  has_files_ = true;
  begin_file_json(json_, file, code);
  return json_;
}

void begin_json(JsonWriter& json, ExitCode code) {
  json.begin_object();
  json.member("schema", kJsonSchema);
  json.member("exit_code", static_cast<int>(code));
}

void begin_file_json(JsonWriter& json, const std::string& file, ExitCode code) {
  json.begin_object();
  json.member("schema", kJsonSchema);
  add_name(json, "file", file);
  json.member("exit_code", static_cast<int>(code));
}

void end_json(JsonWriter& json, Messages& messages) {
  add_texts(json, "errors", messages.take_errors());
  add_texts(json, "warnings", messages.take_notes());
  json.end_object();
}

void add_name(JsonWriter& json, std::string_view key, std::string_view file) {
  json.member(key, file);
  if (is_utf8(as_bytes(file))) return;
  json.key(key, "_hex");
  json.hex_value(as_bytes(file));
}

void add_texts(JsonWriter& json, std::string_view key, const std::vector<std::string>& texts) {
  json.begin_array(key);
  for (const std::string& text : texts) json.value(text);
  json.end_array();
}

}  // namespace zdr::host
