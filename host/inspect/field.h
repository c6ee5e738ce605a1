// Named values of boxes and tags, from which both text and JSON are rendered.
#pragma once

#include <cstdint>
#include <string>
#include <variant>
#include <vector>

#include "host/bytes.h"
#include "host/json_writer.h"

namespace zdr::host {

// A text of a file in UTF-8, or the beginning of a text longer than the limit.
struct TextValue {
  std::string utf8;
  size_t bytes = 0;  // length in the file
  bool is_cut = false;
  std::string hex;  // bytes of the file, only if the text is not valid
};

// Decodes at most `limit` bytes from the beginning; of an invalid text `hex` has at most `hex_limit` bytes.
TextValue text_value(Bytes bytes, size_t limit = SIZE_MAX, size_t hex_limit = SIZE_MAX);

struct BytesValue {
  size_t length;    // in the file
  std::string hex;  // of the beginning
};

using FieldValue =
    std::variant<uint64_t, int64_t, double, std::string, TextValue, BytesValue, std::vector<TextValue>>;

struct Field {
  std::string name;
  FieldValue value;
};
using Fields = std::vector<Field>;

// Digits of the three kinds of numbers; empty for other values.
std::string number_text(const FieldValue& value);

// Adds the field under its name. Text adds `name`_bytes if it is cut and `name`_hex if it is not valid; bytes
// are an object with "length" and "hex"; a list is an array of objects with "text".
void add_field(JsonWriter& json, const Field& field);

}  // namespace zdr::host
