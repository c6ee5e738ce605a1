// Finds, counts and reads the frames of a speech file (RFC 4867, section 5).
#pragma once

#include <cstdint>

#include "esparse/amr/amrf.h"
#include "esparse/amr/block_reader.h"
#include "esparse/amr/frame_sizes.h"

namespace zdr::amrf {

inline constexpr uint32_t kFrameMs = 20;  // duration of a frame

class FrameReader {
 public:
  // Throws bad_alloc if out of memory.
  explicit FrameReader(FileHandle file) : bytes_(std::move(file)) {}

  // Must be called once, before the other functions. False if the file has no end of line within 2 GiB.
  bool skip_header();

  // Counts the whole frames. False if the seek to the first one fails.
  bool scan(AMRF_Info& info);
  int32_t read(AMRF_FrameRequest& request);

 private:
  uint32_t size_of(uint8_t toc) const { return (*sizes_)[frame_type(toc)]; }
  void count_whole_frames();
  bool walk_to(uint32_t number);
  int32_t read_here(AMRF_FrameRequest& request);

  BlockReader bytes_;
  uint32_t data_start_ = 0;
  uint32_t codec_ = AMRF_CODEC_NB;
  const std::array<uint8_t, 16>* sizes_ = &kNarrowBandFrameSizes;
  // The number of the frame before the position; 0 if unknown or before the first frame.
  uint32_t last_frame_ = 0;
};

}  // namespace zdr::amrf
