// Named values of boxes and tags, from which both text and JSON are rendered. Long values are views of the
// record that holds them, and are decoded only while they are written.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "host/json/json_writer.h"
#include "host/text/bytes.h"
#include "host/text/decoded_text.h"

namespace zdr::host {

// A text of a file, or the beginning of one that is longer than a limit.
struct TextView {
  Bytes front;
  uint64_t length = 0;         // in the file
  size_t most_hex = SIZE_MAX;  // limit of the bytes that are shown in hex if the text is not valid
  TextEncoding encoding = TextEncoding::kUnknown;

  bool is_cut() const { return front.size() < length; }
};

// The whole text.
TextView text_view(Bytes bytes, TextEncoding encoding = TextEncoding::kUnknown);

struct BytesView {
  Bytes front;
  uint64_t length;  // in the file
};

// An array as it is in the file.
struct ArrayView {
  enum class Kind : uint8_t {
    kTypes,    // of four characters
    kNumbers,  // of 32 bits
    kBits,     // numbers of the bits that are set; bits 0 to 7 are in the last byte
    kMatrix,   // signed, 16.16 in the first two of three columns, and 2.30 in the last
  };
  Bytes bytes;
  Kind kind;

  using Item = std::variant<uint64_t, double, std::string>;
  // Number of groups of 4 bytes, or of bits.
  size_t size() const { return kind == Kind::kBits ? bytes.size() * 8 : bytes.size() / 4; }
  // Nothing for a bit that is not set.
  std::optional<Item> at(size_t index) const;
};

// Seconds since the start of 1904.
struct FileDate {
  uint64_t seconds;
};

// None of these allocates memory in an amount that the file decides, so that writing a document cannot run
// out of it.
using FieldValue = std::variant<uint64_t, int64_t, double, std::string, std::string_view, TextView, BytesView,
                                std::vector<TextView>, ArrayView, FileDate>;

struct Field {
  const char* name;
  FieldValue value;
};
using Fields = std::vector<Field>;

// Digits of the three kinds of numbers, and dates; empty for other values.
std::string number_text(const FieldValue& value);

// Adds the field under its name. Text adds `name`_bytes if it is cut and `name`_hex if it is not valid; bytes
// are an object with "length" and "hex"; a list of texts is an array of objects with "text".
void add_field(JsonWriter& json, const Field& field);

}  // namespace zdr::host
