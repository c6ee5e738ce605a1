// `zdr boxes`: the boxes that the parser keeps of a file; of one that does not open, those that it read
// before it gave up, and why.
#include <algorithm>
#include <iostream>
#include <nlohmann/json.hpp>
#include <vector>

#include "host/commands.h"
#include "host/decoded_text.h"
#include "host/json_report.h"
#include "host/open_diagnosis.h"
#include "host/parsed_file.h"

namespace zdr::host {
namespace {

using Json = nlohmann::ordered_json;

constexpr size_t kShownBytes = 256;       // of a field, in JSON
constexpr size_t kShownBytesInText = 16;  // on a line

// Collects what the parser shows, as one object a box.
class BoxList {
 public:
  BoxList() : visitor_{this, add_box, add_field} {}
  const P3gppBoxVisitor& visitor() const { return visitor_; }

  // In the order of the file, parents first: the tree has the order of its slots, and while a file is parsed
  // children are shown before their parents.
  void sort_by_place() {
    std::stable_sort(boxes_.begin(), boxes_.end(), [](const Json& a, const Json& b) {
      return a["offset"].get<uint64_t>() < b["offset"].get<uint64_t>();
    });
  }
  std::vector<Json>& boxes() { return boxes_; }

 private:
  static void add_box(void* caller, const P3gppBox* box) {
    Json json{{"path", box->path},       {"type", type_text({box->type, 4})}, {"offset", box->offset},
              {"size", box->size},       {"version", box->version},           {"flags", box->flags},
              {"fields", Json::object()}};
    if (box->status != P3GPP_OK) json["status"] = box->status;
    static_cast<BoxList*>(caller)->boxes_.push_back(std::move(json));
  }

  static void add_field(void* caller, const P3gppBoxField* field) {
    Json& box = static_cast<BoxList*>(caller)->boxes_.back();
    if (field->entry == 0) return set_field(box["fields"], *field);
    Json& entries = box["entries"];
    while (entries.size() < field->entry) entries.push_back(Json::object());
    set_field(entries[field->entry - 1], *field);
  }

  static void set_field(Json& object, const P3gppBoxField& field) {
    const std::span<const uint8_t> bytes(field.bytes.bytes, field.bytes.length);
    switch (field.kind) {
      case P3GPP_FIELD_TYPE:
        object[field.name] = type_text({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
        return;
      case P3GPP_FIELD_TEXT:
        return add_text(object, field.name, bytes);
      case P3GPP_FIELD_BYTES:
        object[field.name] = {{"length", bytes.size()}, {"hex", hex_text(bytes, kShownBytes)}};
        return;
      case P3GPP_FIELD_FIXED:
        object[field.name] = from_fixed(static_cast<uint32_t>(field.number));
        return;
      case P3GPP_FIELD_LANGUAGE:
        object[field.name] = language_text(static_cast<uint32_t>(field.number));
        return;
      default:
        object[field.name] = field.number;
    }
  }

  P3gppBoxVisitor visitor_;
  std::vector<Json> boxes_;
};

// ---- As text ----------------------------------------------------------------------------------------------

std::string value_text(const Json& value) {
  if (value.is_string()) return "\"" + printable(value.get<std::string>()) + "\"";
  if (!value.is_object()) return value.dump();
  const std::string hex = value["hex"].get<std::string>();
  const auto length = value["length"].get<size_t>();
  const bool is_whole = length <= kShownBytesInText;
  return hex.substr(0, 2 * kShownBytesInText) + (is_whole ? "" : "...") + " (" + std::to_string(length) +
         " bytes)";
}

std::string fields_text(const Json& fields) {
  std::string text;
  for (const auto& [name, value] : fields.items()) text += "  " + name + "=" + value_text(value);
  return text;
}

size_t depth_of(const std::string& path) {
  return static_cast<size_t>(std::count(path.begin(), path.end(), '/'));
}

void print_box(const Json& box, std::ostream& out) {
  const auto path = box["path"].get<std::string>();
  const std::string indent(2 * depth_of(path) + 2, ' ');
  out << indent << path.substr(path.rfind('/') + 1) << "  @" << box["offset"] << " size " << box["size"];
  if (box["version"] != 0 || box["flags"] != 0)
    out << " version " << box["version"] << " flags " << box["flags"];
  if (box.contains("status")) out << "  FAILED [" << box["status"] << "]";
  out << fields_text(box["fields"]) << "\n";
  if (!box.contains("entries")) return;
  size_t number = 0;
  for (const Json& entry : box["entries"]) {
    out << indent << "  [" << ++number << "]" << fields_text(entry) << "\n";
  }
}

// Containers that have no record of their own still get a line, so that the tree has no holes.
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

Json error_json(const ParsedFile& parsed, const OpenDiagnosis& diagnosis) {
  const P3gppOpenError& error = parsed.error();
  Json json{{"status", parsed.status()}, {"reason", diagnosis.reason}};
  if (error.path[0] == '\0') return json;
  json["box_status"] = error.status;
  json["path"] = error.path;
  json["offset"] = error.offset;
  json["size"] = error.size;
  return json;
}

}  // namespace

ExitCode run_boxes(const Options& options, std::ostream& out) {
  const std::string& file = options.files.front();
  BoxList list;
  const ParsedFile parsed(file, &list.visitor());
  const bool opened = parsed.status() == P3GPP_OK;
  if (opened) {
    list.boxes().clear();
    P3GPP_WalkBoxes(parsed.file(), &list.visitor());
  }
  list.sort_by_place();
  const OpenDiagnosis diagnosis =
      opened ? OpenDiagnosis{ExitCode::kDone, "", "", ""} : diagnose_parse(file, parsed);
  const std::vector<std::string> notes = opened ? left_out_notes(file) : std::vector<std::string>();
  if (options.json) {
    Json json = begin_file_json(file, diagnosis.exit_code);
    json["boxes"] = list.boxes();
    if (!opened) json["error"] = error_json(parsed, diagnosis);
    json["warnings"] = notes;
    out << json.dump(2, ' ', false, Json::error_handler_t::replace) << "\n";
  } else {
    print_text(file, list.boxes(), out);
    for (const std::string& note : notes) out << "  note: " << note << "\n";
  }
  out.flush();
  if (!opened) Messages(options.quiet).error({file, diagnosis.place, diagnosis.reason, diagnosis.status});
  return diagnosis.exit_code;
}

}  // namespace zdr::host
