// Named values of boxes and tags, from which both text and JSON are rendered. Long values are views of the
// record that holds them, and are decoded only while they are written.
#pragma once

#include <cstdint>
#include <string>
#include <variant>
#include <vector>

#include "host/bytes.h"
#include "host/decoded_text.h"
#include "host/json_writer.h"

namespace zdr::host {

// A text of a file, or the beginning of one that is longer than a limit.
struct TextView {
  Bytes front;
  size_t length = 0;           // in the file
  size_t most_hex = SIZE_MAX;  // limit of the bytes that are shown in hex if the text is not valid
  TextEncoding encoding = TextEncoding::kUnknown;

  bool is_cut() const { return front.size() < length; }
};

// The whole text.
TextView text_view(Bytes bytes, TextEncoding encoding = TextEncoding::kUnknown);
// The complete characters within the first `limit` bytes.
TextView text_front(Bytes bytes, size_t limit, size_t most_hex);

struct BytesView {
  Bytes front;
  size_t length;  // in the file
};

using FieldValue =
    std::variant<uint64_t, int64_t, double, std::string, TextView, BytesView, std::vector<TextView>>;

struct Field {
  const char* name;
  FieldValue value;
};
using Fields = std::vector<Field>;

// Digits of the three kinds of numbers; empty for other values.
std::string number_text(const FieldValue& value);

// Adds the field under its name. Text adds `name`_bytes if it is cut and `name`_hex if it is not valid; bytes
// are an object with "length" and "hex"; a list is an array of objects with "text".
void add_field(JsonWriter& json, const Field& field);

}  // namespace zdr::host
