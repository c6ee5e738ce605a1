// Renders values as JSON.
#include "host/inspect/field.h"

#include <algorithm>

#include "host/formats/byte_order.h"
#include "host/text/time_text.h"

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
  void operator()(const ArrayView& array) const {
    json.begin_row(name);
    for (size_t i = 0; i < array.size(); ++i) {
      const std::optional<ArrayView::Item> item = array.at(i);
      if (item) std::visit([this](const auto& value) { json.value(value); }, *item);
    }
    json.end_array();
  }
  void operator()(const FileDate& date) const {
    DateDigits digits;
    json.member(name, format_date(date.seconds, digits));
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
  std::string operator()(const FileDate& date) const {
    DateDigits digits;
    return std::string(format_date(date.seconds, digits));
  }
};

}  // namespace

TextView text_view(Bytes bytes, TextEncoding encoding) {
  return {bytes, bytes.size(), SIZE_MAX, encoding};
}

std::optional<ArrayView::Item> ArrayView::at(size_t index) const {
  if (kind == Kind::kBits) {
    const uint8_t byte = bytes[bytes.size() - 1 - index / 8];
    return (byte >> index % 8 & 1) != 0 ? std::optional<Item>(uint64_t{index}) : std::nullopt;
  }
  const Bytes item = bytes.subspan(4 * index, 4);
  if (kind == Kind::kTypes) return type_text({reinterpret_cast<const char*>(item.data()), item.size()});
  const auto number = static_cast<uint32_t>(read_be(item.data(), 4));
  if (kind == Kind::kNumbers) return uint64_t{number};
  constexpr double kTwoTo14 = 16384;
  return index % 3 == 2 ? from_fixed(number) / kTwoTo14 : from_fixed(number);
}

std::string number_text(const FieldValue& value) {
  return std::visit(NumberText(), value);
}

void add_field(JsonWriter& json, const Field& field) {
  std::visit(AddValue{json, field.name}, field.value);
}

}  // namespace zdr::host
