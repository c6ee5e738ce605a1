// A file in memory, opened by the parser for the life of a test.
#ifndef ZDR_TESTS_P3GPP_OPENED_MOVIE_H
#define ZDR_TESTS_P3GPP_OPENED_MOVIE_H

#include <utility>

#include "p3gpp/box_tree.h"
#include "p3gpp/p3gpp.h"
#include "tests/support/box_builder.h"

namespace zdr::test {

class OpenedMovie {
 public:
  explicit OpenedMovie(Bytes bytes) : bytes_(std::move(bytes)) {
    descriptor_.type = FMGR_DEV_MEMORY;
    descriptor_.source.memory = {bytes_.data(), static_cast<uint32_t>(bytes_.size())};
    FMGR_Config config{0, 0};
    FMGR_Init(&context_, &config);
    status = P3GPP_OpenExplained(&file, &descriptor_, context_, &error);
  }
  ~OpenedMovie() {
    if (file != nullptr) P3GPP_Close(file);
    FMGR_Deinit(context_);
  }
  OpenedMovie(const OpenedMovie&) = delete;
  OpenedMovie& operator=(const OpenedMovie&) = delete;

  P3gppFile* file = nullptr;  // null when the open failed
  int32_t status = 0;
  P3gppOpenError error{};

 private:
  Bytes bytes_;
  FMGR_Descriptor descriptor_{};
  FMGR_Context* context_ = nullptr;
};

// A decoder description, released with its scope.
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
  const P3gppDecoderInfo* operator->() const { return info_; }

 private:
  P3gppDecoderInfo* info_ = nullptr;

 public:
  const int32_t status;
};

}  // namespace zdr::test

#endif
