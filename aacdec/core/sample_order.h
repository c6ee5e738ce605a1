// The order in which the transform of a long block yields its samples. The overlap and the windows keep it,
// so that no lanes change places between the transform and the output.
#pragma once

#include <initializer_list>

#include "aacdec/syntax/stream_format.h"

namespace zdr::aacdec {

// Blocks of 16 samples from the centre outwards, the earlier one of each pair first; within a block the
// samples with even numbers, then those with odd numbers, last one first.
struct SampleOrder {
  static constexpr int kBlock = 16;
  static constexpr int kPairs = kFrameLength / (2 * kBlock);

  // The first sample of a block.
  [[gnu::always_inline]] static constexpr int early_block(int pair) {
    return kFrameLength / 2 - kBlock * (pair + 1);
  }
  [[gnu::always_inline]] static constexpr int late_block(int pair) {
    return kFrameLength / 2 + kBlock * pair;
  }

  // Calls visit(place, sample) for every sample of a frame.
  template <typename Visit>
  static constexpr void for_each(Visit visit) {
    for (int pair = 0; pair < kPairs; ++pair) {
      for (const int start : {early_block(pair), late_block(pair)}) {
        const int place = 2 * kBlock * pair + (start < kFrameLength / 2 ? 0 : kBlock);
        for (int i = 0; i < kBlock / 2; ++i) {
          visit(place + i, start + 2 * i);
          visit(place + kBlock / 2 + i, start + kBlock - 1 - 2 * i);
        }
      }
    }
  }
};

}  // namespace zdr::aacdec
