// Decodes text values and renders values as JSON.
#include "host/inspect/field.h"

#include <nlohmann/json.hpp>

#include "host/decoded_text.h"

namespace zdr::host {
namespace {

using Json = nlohmann::ordered_json;

struct AddValue {
  Json& object;
  const std::string& name;

  template <class Plain>
  void operator()(const Plain& value) const {
    object[name] = value;
  }
  void operator()(const TextValue& text) const {
    object[name] = text.utf8;
    if (text.is_cut) object[name + "_bytes"] = text.bytes;
    if (!text.hex.empty()) object[name + "_hex"] = text.hex;
  }
  void operator()(const BytesValue& bytes) const {
    object[name] = {{"length", bytes.length}, {"hex", bytes.hex}};
  }
  void operator()(const std::vector<TextValue>& list) const {
    object[name] = Json::array();
    for (const TextValue& text : list) {
      Json item;
      AddValue{item, "text"}(text);
      object[name].push_back(item);
    }
  }
};

struct NumberText {
  template <class Other>
  std::string operator()(const Other& /*value*/) const {
    return {};
  }
  std::string operator()(uint64_t value) const { return std::to_string(value); }
  std::string operator()(int64_t value) const { return std::to_string(value); }
  std::string operator()(double value) const { return Json(value).dump(); }  // the shortest exact digits
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

void add_field(Json& object, const Field& field) {
  std::visit(AddValue{object, field.name}, field.value);
}

}  // namespace zdr::host
