// A file in memory that the parser holds open for the lifetime of the object, and the boxes that the parser
// shows, with their fields as text.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <tuple>
#include <vector>

#include "mediakit/boxes/box_builder.h"
#include "mediakit/files/sources.h"
#include "p3gpp/p3gpp.h"

namespace zdr::test {

inline std::string as_text(const Bytes& bytes) {
  return {bytes.begin(), bytes.end()};
}

inline std::string hex(const uint8_t* bytes, size_t length) {
  std::string digits;
  for (size_t i = 0; i < length; ++i)
    digits.append({"0123456789abcdef"[bytes[i] >> 4], "0123456789abcdef"[bytes[i] & 15]});
  return digits;
}

class OpenedMovie {
 public:
  explicit OpenedMovie(const Bytes& bytes)
      : source(FMGR_DEV_CALLBACK, as_text(bytes)), context_(make_context(0, 0)) {
    status = P3GPP_OpenExplained(&file, &source.descriptor(), context_.get(), &error);
  }
  ~OpenedMovie() {
    if (file != nullptr) P3GPP_Close(file);
  }

  Source source;
  P3gppFile* file = nullptr;  // null if the open failed
  P3gppOpenError error{};
  int32_t status = 0;

 private:
  Context context_;
};

using OpenCase = std::tuple<const char*, Bytes, int32_t>;  // name, file, status

inline void expect_statuses(const std::vector<OpenCase>& cases) {
  for (const auto& [name, file, status] : cases) {
    SCOPED_TRACE(name);
    const OpenedMovie movie(file);
    EXPECT_EQ(movie.status, status);
    EXPECT_EQ(movie.file == nullptr, status != P3GPP_OK);
    EXPECT_EQ(movie.error.status, status);
  }
}

inline int32_t decoder_status(P3gppFile* file, uint32_t track_id, uint32_t description_index = 1) {
  P3gppDecoderInfo* info = nullptr;
  const int32_t status = P3GPP_GetDecoderInfo(file, track_id, &info, description_index);
  if (info != nullptr) info->release(info);
  return status;
}

// "offset:size:description:decoding time:composition time".
inline std::string sample_text(const P3gppSample& sample) {
  std::string text = std::to_string(sample.file_offset);
  for (const uint32_t field :
       {sample.size, sample.description_index, sample.decoding_time, sample.composition_time}) {
    text += ':' + std::to_string(field);
  }
  return text;
}

// --- Boxes ---

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
    const std::string text(reinterpret_cast<const char*>(field.bytes.bytes), field.bytes.length);
    return field.number == 0 ? text : text + " with a number";
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
