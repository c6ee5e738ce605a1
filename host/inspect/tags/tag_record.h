// One tag of a file, independent of its format in the file. Its texts are those of the parser that read it.
#pragma once

#include <iosfwd>
#include <string>
#include <vector>

#include "host/inspect/field.h"

namespace zdr::host {

struct TagRecord {
  std::string tag;       // "title"
  std::string type;      // of the box or item, or "ID3v2.3"
  std::string language;  // empty if the format has none
  Fields fields;         // a main text, named "text", comes first
};

// Prints "title (titl, eng): ...", with control characters made visible.
void print_tag(const TagRecord& tag, std::ostream& out);

// Adds an array "tags" with one object per tag: "tag", "type", "language" if the tag has one, then the
// fields.
void add_tags(JsonWriter& json, const std::vector<TagRecord>& tags);

}  // namespace zdr::host
