// Builds and serialises the objects of `--json`.
#include "host/json_report.h"

#include <array>
#include <cstdio>
#include <ostream>

#include "host/decoded_text.h"

namespace zdr::host {
namespace {

constexpr int kIndent = 2;

// Escapes DEL and U+0080 to U+009F, which the library does not escape. They occur only inside strings.
std::string escape_controls(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (size_t at = 0; at < text.size(); ++at) {
    const auto byte = static_cast<uint8_t>(text[at]);
    const auto next = static_cast<uint8_t>(at + 1 < text.size() ? text[at + 1] : 0);
    const bool is_c1 = byte == 0xC2 && next < 0xA0;
    if (byte != 0x7F && !is_c1) {
      out += text[at];
      continue;
    }
    std::array<char, 8> escaped{};
    std::snprintf(escaped.data(), escaped.size(), "\\u%04x", is_c1 ? next : byte);
    out += escaped.data();
    if (is_c1) ++at;
  }
  return out;
}

}  // namespace

void JsonReport::print(std::ostream& out) const {
  if (one_file_ && files_.empty()) return;
  const nlohmann::ordered_json whole =
      one_file_ ? files_.front() : nlohmann::ordered_json{{"schema", kJsonSchema}, {"files", files_}};
  out << json_text(whole) << "\n";
}

nlohmann::ordered_json begin_json(ExitCode code) {
  return {{"schema", kJsonSchema}, {"exit_code", static_cast<int>(code)}};
}

nlohmann::ordered_json begin_file_json(const std::string& file, ExitCode code) {
  nlohmann::ordered_json json{{"schema", kJsonSchema}};
  add_name(json, "file", file);
  json["exit_code"] = static_cast<int>(code);
  return json;
}

void end_json(nlohmann::ordered_json& json, Messages& messages) {
  json["errors"] = messages.take_errors();
  json["warnings"] = messages.take_notes();
}

void add_name(nlohmann::ordered_json& object, const std::string& key, std::string_view file) {
  const DecodedText text = decode_utf8(as_bytes(file));
  object[key] = text.utf8;
  if (!text.is_valid) object[key + "_hex"] = hex_text(as_bytes(file));
}

std::string json_text(const nlohmann::ordered_json& json) {
  return escape_controls(json.dump(kIndent, ' ', false, nlohmann::json::error_handler_t::replace));
}

}  // namespace zdr::host
