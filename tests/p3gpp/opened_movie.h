// A file in memory that the parser holds open for the lifetime of the object. Its device counts the reads and
// can fail one of them.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "mediakit/boxes/box_builder.h"
#include "p3gpp/p3gpp.h"

namespace zdr::test {

// Serves bytes in memory through a callback descriptor.
class MemorySource {
 public:
  struct Read {
    uint64_t position;
    uint32_t count;
  };

  explicit MemorySource(Bytes content) : bytes(std::move(content)) {
    descriptor.type = FMGR_DEV_CALLBACK;
    descriptor.source.callback = {this, read, size};
  }
  MemorySource(const MemorySource&) = delete;
  MemorySource& operator=(const MemorySource&) = delete;

  FMGR_Descriptor descriptor{};
  const Bytes bytes;
  uint64_t failing_read = 0;  // counted from 1; 0: none
  uint64_t read_count = 0;
  uint64_t bytes_read = 0;
  std::vector<Read>* log = nullptr;  // receives every read

 private:
  static int32_t read(void* caller, void* buffer, uint32_t count, uint32_t low, uint32_t high,
                      uint32_t* done) {
    auto& self = *static_cast<MemorySource*>(caller);
    if (++self.read_count == self.failing_read) {
      std::memset(buffer, 0xEE, count);  // a failing read may leave anything in the buffer
      return -1;
    }
    const uint64_t position = uint64_t{high} << 32 | low;
    if (self.log != nullptr) self.log->push_back({position, count});
    const uint64_t left = position < self.bytes.size() ? self.bytes.size() - position : 0;
    *done = static_cast<uint32_t>(std::min<uint64_t>(count, left));
    if (*done != 0) std::memcpy(buffer, self.bytes.data() + position, *done);
    self.bytes_read += *done;
    return 0;
  }
  static int32_t size(void* caller, uint64_t* size) {
    *size = static_cast<MemorySource*>(caller)->bytes.size();
    return 0;
  }
};

class OpenedMovie {
 public:
  explicit OpenedMovie(Bytes bytes, const P3gppBoxVisitor* visitor = nullptr) : source(std::move(bytes)) {
    const FMGR_Config config{0, 0};
    if (FMGR_Init(&context_, &config) == FMGR_OK) {
      status = P3GPP_OpenTraced(&file, &source.descriptor, context_, &error, visitor);
    }
  }
  ~OpenedMovie() {
    if (file != nullptr) P3GPP_Close(file);
    if (context_ != nullptr) FMGR_Deinit(context_);
  }
  OpenedMovie(const OpenedMovie&) = delete;
  OpenedMovie& operator=(const OpenedMovie&) = delete;

  MemorySource source;
  P3gppFile* file = nullptr;  // null when the open failed
  int32_t status = P3GPP_ERR_NO_MEMORY;
  P3gppOpenError error{};

 private:
  FMGR_Context* context_ = nullptr;
};

struct OpenCase {
  const char* name;
  Bytes file;
  int32_t status;
};

inline void expect_statuses(const std::vector<OpenCase>& cases) {
  for (const OpenCase& each : cases) {
    SCOPED_TRACE(each.name);
    const OpenedMovie movie(each.file);
    EXPECT_EQ(movie.status, each.status);
    EXPECT_EQ(movie.file == nullptr, each.status != P3GPP_OK);
    EXPECT_EQ(movie.error.status, each.status);
  }
}

// A decoder description, released by the destructor.
class DecoderInfo {
 public:
  DecoderInfo(P3gppFile* file, uint32_t track_id, uint32_t description_index = 1)
      : status(P3GPP_GetDecoderInfo(file, track_id, &info_, description_index)) {}
  ~DecoderInfo() {
    if (info_ != nullptr) info_->release(info_);
  }
  DecoderInfo(const DecoderInfo&) = delete;
  DecoderInfo& operator=(const DecoderInfo&) = delete;

  const P3gppDecoderInfo* get() const { return info_; }

 private:
  P3gppDecoderInfo* info_ = nullptr;

 public:
  const int32_t status;
};

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
