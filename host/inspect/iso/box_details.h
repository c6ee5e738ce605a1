// Decodes the contents of known boxes for people: headers, sample tables, codec configurations. The layouts
// are tables, read from the bytes of the file, so that they also apply to boxes that the parser does not read
// and to fields that it reads differently.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "host/inspect/iso/field_sink.h"

namespace zdr::host {

// The table whose entries are shown, and how many of them. Edit lists are
// always shown, up to the same number of entries.
struct EntryChoice {
  std::string table;   // "stts"; empty: none
  uint64_t most = 10;  // of one table
};

// True if describe_body() knows the type, so that the fields of the parser are not needed.
bool has_layout(std::string_view type);

// The bytes of the body, after version and flags, that describe_body() needs. `container` is the type of the
// box around it.
uint64_t wanted_body_bytes(std::string_view type, std::string_view container, const EntryChoice& choice);

struct BodyView {
  std::string_view type;
  std::string_view container;
  uint8_t version;
  Bytes front;      // wanted_body_bytes(), or fewer if the box is shorter
  uint64_t length;  // of the whole body
};

// Passes the fields and entries of a known type, up to the end of the body. Allocates no memory: values
// point into the body.
void describe_body(const BodyView& body, const EntryChoice& choice, FieldSink& sink);

}  // namespace zdr::host
