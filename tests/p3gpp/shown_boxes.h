// Collects the boxes that the parser shows, with their fields as text.
#pragma once

#include <algorithm>
#include <string>
#include <vector>

#include "tests/p3gpp/opened_movie.h"

namespace zdr::test {

struct ShownBoxes {
  struct Box {
    std::string path;
    P3gppBox header;
    std::string fields = "";  // "name=value [1] name=value": number of a list entry; bytes in hexadecimal
  };
  std::vector<Box> boxes;

  P3gppBoxVisitor visitor() { return {this, add_box, add_field}; }

  const Box* find(const std::string& path) const {
    const auto found = std::ranges::find(boxes, path, &Box::path);
    return found == boxes.end() ? nullptr : &*found;
  }
  // "-" for a box that was not shown.
  std::string fields(const std::string& path) const {
    return find(path) == nullptr ? "-" : find(path)->fields;
  }

  // The last steps of the paths, each followed by " ", "! " for a failed, "? " for a skipped, or "# " for a
  // refused box.
  std::string outcomes() const {
    std::string all;
    for (const Box& each : boxes) {
      const char* const outcome[] = {each.header.status == P3GPP_OK ? " " : "! ", "? ", "# "};
      all += each.path.substr(each.path.rfind('/') + 1) + outcome[each.header.disposition];
    }
    return all;
  }

 private:
  static void add_box(void* caller, const P3gppBox* box) {
    auto& self = *static_cast<ShownBoxes*>(caller);
    self.entry_ = 0;
    self.boxes.push_back({box->path, *box});
  }

  static std::string value_of(const P3gppBoxField& field) {
    if (field.kind == P3GPP_FIELD_BYTES) return hex(field.bytes.bytes, field.bytes.length);
    if (field.kind == P3GPP_FIELD_SIGNED) return std::to_string(static_cast<int64_t>(field.number));
    if (field.kind != P3GPP_FIELD_TYPE && field.kind != P3GPP_FIELD_TEXT) return std::to_string(field.number);
    return {reinterpret_cast<const char*>(field.bytes.bytes), field.bytes.length};
  }

  static void add_field(void* caller, const P3gppBoxField* field) {
    auto& self = *static_cast<ShownBoxes*>(caller);
    std::string& fields = self.boxes.back().fields;
    if (!fields.empty()) fields += " ";
    if (field->entry != self.entry_) fields += "[" + std::to_string(field->entry) + "] ";
    self.entry_ = field->entry;
    fields += field->name + std::string("=") + value_of(*field);
  }

  uint32_t entry_ = 0;
};

// The boxes that an open file stores.
inline ShownBoxes boxes_of(const OpenedMovie& movie) {
  ShownBoxes shown;
  const P3gppBoxVisitor visitor = shown.visitor();
  P3GPP_WalkBoxes(movie.file, &visitor);
  return shown;
}

}  // namespace zdr::test
