// Renders tags as lines and as JSON.
#include "host/inspect/tag_record.h"

#include "host/decoded_text.h"

namespace zdr::host {
namespace {

std::string value_text(const FieldValue& value) {
  const auto* plain = std::get_if<std::string>(&value);
  if (plain != nullptr) return printable(*plain);
  const auto* text = std::get_if<TextValue>(&value);
  if (text != nullptr) return printable(text->utf8);
  const auto* list = std::get_if<std::vector<TextValue>>(&value);
  if (list == nullptr) return number_text(value);
  std::string joined;
  for (const TextValue& item : *list) joined.append(joined.empty() ? "" : ", ").append(printable(item.utf8));
  return joined;
}

}  // namespace

std::string tag_line(const TagRecord& tag) {
  std::string text;
  for (const Field& field : tag.fields) {
    const bool has_name =
        field.name != "text" && !std::holds_alternative<std::vector<TextValue>>(field.value);
    if (!text.empty()) text += ", ";
    text += (has_name ? field.name + " " : "") + value_text(field.value);
  }
  const std::string language = tag.language.empty() ? "" : ", " + printable(tag.language);
  return printable(tag.tag) + " (" + printable(tag.type) + language + "): " + text;
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
