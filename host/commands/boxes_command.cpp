// `zdr boxes`: what the parser made of the boxes of a file: kept, dropped, skipped or refused; of one that
// does not open, what it read before it gave up, and why.
#include <algorithm>
#include <iostream>
#include <nlohmann/json.hpp>
#include <vector>

#include "host/commands/commands.h"
#include "host/decoded_text.h"
#include "host/inspect/box_list.h"
#include "host/inspect/left_out.h"
#include "host/inspect/open_diagnosis.h"
#include "host/inspect/parsed_file.h"
#include "host/json_report.h"
#include "host/messages.h"

namespace zdr::host {
namespace {

using Json = BoxList::Json;

// On a line.
constexpr size_t kShownBytes = 16;
constexpr size_t kShownTextBytes = 256;

// ---- As text ----------------------------------------------------------------------------------------------

std::string quoted(const std::string& text) {
  const size_t length =
      front_length({reinterpret_cast<const uint8_t*>(text.data()), text.size()}, kShownTextBytes);
  return "\"" + printable(text.substr(0, length)) + (length < text.size() ? "\"..." : "\"");
}

std::string value_text(const Json& value) {
  if (value.is_string()) return quoted(value.get<std::string>());
  if (!value.is_object()) return value.dump();
  const std::string hex = value["hex"].get<std::string>();
  const auto length = value["length"].get<size_t>();
  const bool is_whole = length <= kShownBytes;
  return hex.substr(0, 2 * kShownBytes) + (is_whole ? "" : "...") + " (" + std::to_string(length) + " bytes)";
}

std::string fields_text(const Json& fields) {
  std::string text;
  for (const auto& [name, value] : fields.items()) {
    if (!name.ends_with("_hex")) text += "  " + name + "=" + value_text(value);
  }
  return text;
}

size_t depth_of(const std::string& path) {
  return static_cast<size_t>(std::count(path.begin(), path.end(), '/'));
}

std::string state_text(const Json& box) {
  const auto state = box["state"].get<std::string>();
  if (state == "failed") return "  FAILED [" + box["status"].dump() + "]";
  if (state == "refused") return "  REFUSED [" + box["status"].dump() + "]";
  if (state == "skipped") return "  (skipped)";
  std::string text = "  version " + box["version"].dump();
  if (box["flags"] != 0) text += " flags " + box["flags"].dump();
  return state == "dropped" ? text + "  (not kept)" : text;
}

void print_box(const Json& box, std::ostream& out) {
  const auto path = box["path"].get<std::string>();
  const std::string indent(2 * depth_of(path) + 2, ' ');
  out << indent << path.substr(path.rfind('/') + 1) << "  @" << box["offset"] << " size " << box["size"];
  out << state_text(box) << fields_text(box["fields"]) << "\n";
  if (!box.contains("entries")) return;
  size_t number = 0;
  for (const Json& entry : box["entries"]) {
    out << indent << "  [" << ++number << "]" << fields_text(entry) << "\n";
  }
}

// Containers that were left out still get a line, so that the tree has no holes.
void print_missing_parents(const std::string& path, const std::string& before, std::ostream& out) {
  for (size_t end = path.find('/'); end != std::string::npos; end = path.find('/', end + 1)) {
    const std::string parent = path.substr(0, end);
    if (before == parent || before.starts_with(parent + "/")) continue;
    out << std::string(2 * depth_of(parent) + 2, ' ') << parent.substr(parent.rfind('/') + 1) << "\n";
  }
}

void print_text(const std::string& file, const std::vector<Json>& boxes, std::ostream& out) {
  out << file << "\n";
  std::string before;
  for (const Json& box : boxes) {
    const auto path = box["path"].get<std::string>();
    print_missing_parents(path, before, out);
    print_box(box, out);
    before = path;
  }
}

// ---- As JSON ----------------------------------------------------------------------------------------------

// The box that ended the open, where there is one.
Json failure_json(const ParsedFile& parsed) {
  const P3gppOpenError& error = parsed.error();
  Json json{{"status", parsed.status()}};
  if (error.path[0] == '\0') return json;
  json["box_status"] = error.status;
  json["path"] = error.path;
  json["offset"] = error.offset;
  json["size"] = error.size;
  return json;
}

Json boxes_json(const std::string& file, ExitCode code, const ParsedFile& parsed, BoxList& list,
                Messages& messages) {
  Json json = begin_file_json(file, code);
  list.add_time_scales();
  json["boxes"] = std::move(list.boxes());
  if (parsed.status() != P3GPP_OK) json["failure"] = failure_json(parsed);
  end_json(json, messages);
  return json;
}

ExitCode tell(const std::string& file, const ParsedFile& parsed, const BoxList& list, Messages& messages) {
  const auto note = [&](size_t count, const char* what) {
    if (count != 0) messages.note({file, "", std::to_string(count) + " more " + what + " are not shown", ""});
  };
  const bool opened = parsed.status() == P3GPP_OK;
  if (opened) tell_left_out(file, messages);
  note(list.boxes_left_out(), "boxes");
  note(list.entries_left_out(), "list entries");
  if (opened) return ExitCode::kDone;
  const OpenDiagnosis diagnosis = diagnose_parse(file, parsed);
  messages.error({file, diagnosis.place, diagnosis.reason, diagnosis.status});
  return diagnosis.exit_code;
}

}  // namespace

ExitCode run_boxes(const Options& options, std::ostream& out) {
  const std::string& file = options.files.front();
  Messages messages(options.quiet || options.json);
  BoxList list;
  const ParsedFile parsed(file, &list.visitor());
  list.sort_by_place();
  if (parsed.status() == P3GPP_OK) list.mark_kept(parsed.file());
  if (!options.json) print_text(file, list.boxes(), out);
  out.flush();
  const ExitCode code = tell(file, parsed, list, messages);
  if (options.json) out << json_text(boxes_json(file, code, parsed, list, messages)) << "\n";
  return code;
}

}  // namespace zdr::host
