// One tag of a file, whatever format it has there.
#pragma once

#include <nlohmann/json_fwd.hpp>
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

// "title (titl, eng): ...", with control characters made visible.
std::string tag_line(const TagRecord& tag);

// An array with one object a tag: "tag", "type", "language" where there is one, then the fields.
nlohmann::ordered_json tags_json(const std::vector<TagRecord>& tags);

}  // namespace zdr::host
