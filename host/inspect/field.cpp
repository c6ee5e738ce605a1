// Renders values as JSON.
#include "host/inspect/field.h"

#include <algorithm>

namespace zdr::host {
namespace {

constexpr std::u16string_view kWideMark = u"\uFEFF";

struct AddValue {
  JsonWriter& json;
  std::string_view name;

  template <class Plain>
  void operator()(const Plain& value) const {
    json.member(name, value);
  }
  void operator()(const TextView& text) const {
    json.key(name);
    json.begin_text();
    const bool is_valid =
        decode_text(text.front, text.encoding, [this](std::string_view piece) { json.put_text(piece); });
    json.end_text();
    if (text.is_cut()) {
      json.key(name, "_bytes");
      json.value(text.length);
    }
    if (is_valid) return;
    json.key(name, "_hex");
    json.begin_text();
    if (text.encoding == TextEncoding::kWide) json.put_hex(as_bytes(kWideMark));
    json.put_hex(text.front.first(std::min(text.front.size(), text.most_hex)));
    json.end_text();
  }
  void operator()(const BytesView& bytes) const {
    json.begin_object(name);
    json.member("length", bytes.length);
    json.key("hex");
    json.hex_value(bytes.front);
    json.end_object();
  }
  void operator()(const std::vector<TextView>& list) const {
    json.begin_array(name);
    for (const TextView& text : list) {
      json.begin_object();
      AddValue{json, "text"}(text);
      json.end_object();
    }
    json.end_array();
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

TextView text_view(Bytes bytes, TextEncoding encoding) {
  return {bytes, bytes.size(), SIZE_MAX, encoding};
}

TextView text_front(Bytes bytes, size_t limit, size_t most_hex) {
  return {bytes.first(front_length(bytes, limit)), bytes.size(), most_hex};
}

std::string number_text(const FieldValue& value) {
  return std::visit(NumberText(), value);
}

void add_field(JsonWriter& json, const Field& field) {
  std::visit(AddValue{json, field.name}, field.value);
}

}  // namespace zdr::host
