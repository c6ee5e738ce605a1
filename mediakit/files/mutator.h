// Damages files: flips bits, truncates, and changes sizes, counts and box types. A seed produces the same
// damage on every platform.
#pragma once

#include <random>

#include "mediakit/boxes/box_builder.h"

namespace zdr::test {

class Mutator {
 public:
  explicit Mutator(uint32_t seed) : random_(seed) {}

  // Returns a copy with one to four damages.
  Bytes damaged(const Bytes& original);

  // Returns a number below `limit`.
  uint32_t below(size_t limit) { return limit == 0 ? 0 : static_cast<uint32_t>(random_() % limit); }

 private:
  void damage_once(Bytes& bytes);

  std::mt19937 random_;
};

}  // namespace zdr::test
