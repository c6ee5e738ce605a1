// A reader on a file in memory, closed at the end of the test.
#pragma once

#include "esparse/aac/aacf.h"
#include "tests/esparse/aac/stream_builder.h"
#include "tests/support/memory_file.h"

namespace zdr::aacf::test {

inline constexpr uint32_t kScanLimit = 0x80000;

inline Bytes concat(std::initializer_list<Bytes> parts) {
  Bytes all;
  for (const Bytes& part : parts) all.insert(all.end(), part.begin(), part.end());
  return all;
}

class OpenedFile {
 public:
  // The content must live as long.
  explicit OpenedFile(const Bytes& content, uint32_t scan_limit = kScanLimit, uint64_t repetitions = 1)
      : file_(content, repetitions) {
    const AACF_OpenParams params{&file_.io(), scan_limit};
    status_ = AACF_Open(&reader_, u"file.aac", &params);
    AACF_GetStreamInfo(reader_, &info_);
    AACF_GetDuration(reader_, &duration_);
  }
  ~OpenedFile() { AACF_Close(reader_); }
  OpenedFile(const OpenedFile&) = delete;
  OpenedFile& operator=(const OpenedFile&) = delete;

  int32_t status() const { return status_; }
  AACF_File* reader() { return reader_; }
  const AACF_StreamInfo& info() const { return info_; }
  const AACF_Duration& duration() const { return duration_; }
  zdr::test::MemoryFile& file() { return file_; }

  struct Read {
    int32_t status;
    uint32_t number;
    std::vector<int16_t> pcm;
  };
  Read read(uint32_t number) {
    Read result{0, number, std::vector<int16_t>(8192)};
    AACF_FrameRequest request{number, 16384, result.pcm.data()};
    result.status = AACF_ReadFrame(reader_, &request);
    result.number = request.number;
    result.pcm.resize(result.status == AACF_OK ? request.size / 2 : 0);
    return result;
  }

 private:
  zdr::test::MemoryFile file_;
  AACF_File* reader_ = nullptr;
  AACF_StreamInfo info_{};
  AACF_Duration duration_{};
  int32_t status_;
};

}  // namespace zdr::aacf::test
