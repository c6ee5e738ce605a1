// Walks over the frames of one file.
#pragma once

#include <cstdint>
#include <memory>

#include "esparse/amr/amrf.h"
#include "esparse/amr/block_reader.h"
#include "esparse/amr/frame_sizes.h"

namespace zdr::amrf {

class FrameReader {
 public:
  // bad_alloc when memory runs out.
  explicit FrameReader(std::unique_ptr<ByteSource> source) : bytes_(std::move(source)) {}

  // Once, before all else. False when the file has no end of line within 2 GiB.
  bool skip_header();

  // False when the beginning of the frames cannot be sought.
  bool scan(AMRF_Info& info);
  int32_t read(AMRF_FrameRequest& request);

 private:
  uint32_t size_of(uint8_t toc) const { return (*sizes_)[frame_type(toc)]; }
  void pass_whole_frames();
  bool walk_to(uint32_t number);
  int32_t read_here(AMRF_FrameRequest& request);

  BlockReader bytes_;
  uint32_t data_start_ = 0;
  uint32_t codec_ = AMRF_CODEC_NB;
  const std::array<uint8_t, 16>* sizes_ = &kNarrowBandFrameSizes;
  // Where the reader stands; 0: unknown, or at no frame yet.
  uint32_t last_frame_ = 0;
};

}  // namespace zdr::amrf

// What the C interface hands out.
struct AMRF_File {
  zdr::amrf::FrameReader frames;
};
