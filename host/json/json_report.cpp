// Writes the parts that the documents of all commands have.
#include "host/json/json_report.h"

#include <ostream>

#include "host/text/decoded_text.h"

namespace zdr::host {
namespace {

void write_place(JsonWriter& json, const Place& place) {
  switch (place.kind) {
    case Place::Kind::kFile:
      return;
    case Place::Kind::kPin:
      return json.member("pin", place.name);
    case Place::Kind::kTrack:
      return json.member("track", place.number);
    case Place::Kind::kLine:
      return json.member("line", place.number);
    case Place::Kind::kBox:
      json.member("box", place.name);
      json.member("offset", place.number);
      json.member("size", place.size);
  }
}

void write_message(JsonWriter& json, const Message& message) {
  json.begin_object();
  json.member("code", word_of(message.code));
  json.member("text", message.reason);
  write_place(json, message.place);
  if (!message.status.empty()) json.member("status", message.status);
  json.end_object();
}

}  // namespace

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

ExitCode show_each_file(const Options& options, std::ostream& out, ShowFile show) {
  ExitCode worst = ExitCode::kDone;
  JsonReport report(out, options);
  for (const std::string& file : options.files) {
    Messages messages(options.quiet || options.json);
    worst = worse_of(worst, show(file, options, messages, options.json ? &report : nullptr, out));
  }
  return worst;
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

void print_file_line(const std::string& file, std::ostream& out) {
  JsonWriter json(out, JsonWriter::Layout::kOneLine);
  json.begin_object();
  json.member("schema", kJsonSchema);
  add_name(json, "file", file);
  json.end_object();
}

void add_messages(JsonWriter& json, std::string_view key, const std::vector<Message>& messages) {
  json.begin_array(key);
  for (const Message& message : messages) write_message(json, message);
  json.end_array();
}

void end_json(JsonWriter& json, Messages& messages) {
  add_messages(json, "errors", messages.take_errors());
  add_messages(json, "warnings", messages.take_notes());
  json.end_object();
}

void add_name(JsonWriter& json, std::string_view key, std::string_view file) {
  json.member(key, file);
  if (is_utf8(as_bytes(file))) return;
  json.key(key, "_hex");
  json.hex_value(as_bytes(file));
}

}  // namespace zdr::host
