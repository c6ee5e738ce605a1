// A file in memory that the parser holds open for the lifetime of the object.
#pragma once

#include <gtest/gtest.h>

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
  explicit OpenedMovie(const Bytes& bytes, const P3gppBoxVisitor* visitor = nullptr)
      : source(FMGR_DEV_CALLBACK, as_text(bytes)), context_(make_context(0, 0)) {
    status = P3GPP_OpenTraced(&file, &source.descriptor(), context_.get(), &error, visitor);
  }
  ~OpenedMovie() {
    if (file != nullptr) P3GPP_Close(file);
  }

  Source source;
  P3gppFile* file = nullptr;  // null when the open failed
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

}  // namespace zdr::test
