// Renders tags as lines and as JSON.
#include "host/inspect/tags/tag_record.h"

#include <ostream>
#include <utility>

#include "host/text/decoded_text.h"

namespace zdr::host {
namespace {

void print_text(const TextView& text, std::ostream& out) {
  decode_text(text.front, text.encoding, [&out](std::string_view piece) { out << printable(piece); });
}

void print_value(const FieldValue& value, std::ostream& out) {
  const auto* plain = std::get_if<std::string>(&value);
  if (plain != nullptr) out << printable(*plain);
  const auto* text = std::get_if<TextView>(&value);
  if (text != nullptr) print_text(*text, out);
  const auto* list = std::get_if<std::vector<TextView>>(&value);
  if (list == nullptr) {
    out << number_text(value);
    return;
  }
  const char* separator = "";
  for (const TextView& item : *list) {
    out << std::exchange(separator, ", ");
    print_text(item, out);
  }
}

}  // namespace

void print_tag(const TagRecord& tag, std::ostream& out) {
  const std::string language = tag.language.empty() ? "" : ", " + printable(tag.language);
  out << printable(tag.tag) << " (" << printable(tag.type) << language << "): ";
  const char* separator = "";
  for (const Field& field : tag.fields) {
    const bool has_name =
        std::string_view(field.name) != "text" && !std::holds_alternative<std::vector<TextView>>(field.value);
    out << std::exchange(separator, ", ") << (has_name ? field.name + std::string(" ") : "");
    print_value(field.value, out);
  }
}

void add_tags(JsonWriter& json, const std::vector<TagRecord>& tags) {
  json.begin_array("tags");
  for (const TagRecord& tag : tags) {
    json.begin_object();
    json.member("tag", tag.tag);
    json.member("type", tag.type);
    if (!tag.language.empty()) json.member("language", tag.language);
    for (const Field& field : tag.fields) add_field(json, field);
    json.end_object();
  }
  json.end_array();
}

}  // namespace zdr::host
