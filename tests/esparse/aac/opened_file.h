// A reader of a file in memory.
#pragma once

#include <algorithm>

#include "esparse/aac/aacf.h"
#include "mediakit/aac/stream_builder.h"
#include "mediakit/boxes/box_builder.h"
#include "mediakit/files/memory_file.h"

namespace zdr::test {

inline constexpr uint32_t kScanLimit = 0x80000;

class OpenedFile {
 public:
  // Borrows the content. `seek` replaces the seek callback.
  explicit OpenedFile(const Bytes& content, uint64_t repetitions = 1,
                      decltype(AACF_FileIo::seek) seek = nullptr)
      : file_(content, repetitions) {
    if (seek != nullptr) file_.io().seek = seek;
    const AACF_OpenParams params{&file_.io(), kScanLimit};
    status_ = AACF_Open(&reader_, u"file.aac", &params);
    AACF_GetStreamInfo(reader_, &info_);
    AACF_GetConfig(reader_, &config_);
  }
  ~OpenedFile() { AACF_Close(reader_); }
  OpenedFile(const OpenedFile&) = delete;
  OpenedFile& operator=(const OpenedFile&) = delete;

  int32_t status() const { return status_; }
  AACF_File* reader() { return reader_; }
  const AACF_StreamInfo& info() const { return info_; }
  const Zd_AAC_Dec_Config& config() const { return config_; }
  MemoryFile& file() { return file_; }

  struct Read {
    int32_t status;
    uint32_t number;
    std::vector<int16_t> pcm;
  };
  // Reads to an odd address.
  Read read(uint32_t number, uint32_t capacity = 16384) {
    Bytes pcm(capacity + 1);
    AACF_FrameRequest request{number, capacity, reinterpret_cast<int16_t*>(pcm.data() + 1)};
    Read result{AACF_ReadFrame(reader_, &request), request.number, {}};
    result.pcm.resize(result.status == AACF_OK ? request.size / 2 : 0);
    std::copy_n(pcm.begin() + 1, 2 * result.pcm.size(), reinterpret_cast<uint8_t*>(result.pcm.data()));
    return result;
  }

 private:
  MemoryFile file_;
  AACF_File* reader_ = nullptr;
  AACF_StreamInfo info_{};
  Zd_AAC_Dec_Config config_{};
  int32_t status_;
};

}  // namespace zdr::test
