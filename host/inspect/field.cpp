// Decodes text values and renders values as JSON.
#include "host/inspect/field.h"

#include "host/decoded_text.h"

namespace zdr::host {
namespace {

struct AddValue {
  JsonWriter& json;
  std::string_view name;

  template <class Plain>
  void operator()(const Plain& value) const {
    json.member(name, value);
  }
  void operator()(const TextValue& text) const {
    json.member(name, text.utf8);
    if (text.is_cut) add("_bytes", text.bytes);
    if (!text.hex.empty()) add("_hex", text.hex);
  }
  void operator()(const BytesValue& bytes) const {
    json.begin_object(name);
    json.member("length", bytes.length);
    json.member("hex", bytes.hex);
    json.end_object();
  }
  void operator()(const std::vector<TextValue>& list) const {
    json.begin_array(name);
    for (const TextValue& text : list) {
      json.begin_object();
      AddValue{json, "text"}(text);
      json.end_object();
    }
    json.end_array();
  }

  template <class Value>
  void add(std::string_view suffix, const Value& value) const {
    json.key(name, suffix);
    json.value(value);
  }
};

struct NumberText {
  template <class Other>
  std::string operator()(const Other& /*value*/) const {
    return {};
  }
  std::string operator()(uint64_t value) const { return std::to_string(value); }
  std::string operator()(int64_t value) const { return std::to_string(value); }
  std::string operator()(double value) const {
    NumberDigits digits;
    return std::string(format_number(value, digits));
  }
};

}  // namespace

TextValue text_value(Bytes bytes, size_t limit, size_t hex_limit) {
  DecodedText text = decode_text(bytes.first(front_length(bytes, limit)));
  return {std::move(text.utf8), bytes.size(), bytes.size() > limit,
          text.is_valid ? std::string() : hex_text(bytes, hex_limit)};
}

std::string number_text(const FieldValue& value) {
  return std::visit(NumberText(), value);
}

void add_field(JsonWriter& json, const Field& field) {
  std::visit(AddValue{json, field.name}, field.value);
}

}  // namespace zdr::host
