// Damages files: flipped bits, cuts, lying sizes and counts, moved and repeated pieces. The same seed gives
// the same damage everywhere.
#ifndef ZDR_TESTS_SUPPORT_MUTATOR_H
#define ZDR_TESTS_SUPPORT_MUTATOR_H

#include <random>

#include "mediakit/boxes/box_builder.h"

namespace zdr::test {

class Mutator {
 public:
  explicit Mutator(uint32_t seed) : random_(seed) {}

  // A copy with one to four kinds of damage.
  Bytes damaged(const Bytes& original);

  // 0 to limit - 1, the same on every platform.
  uint32_t below(size_t limit) { return limit == 0 ? 0 : static_cast<uint32_t>(random_() % limit); }

 private:
  void damage_once(Bytes& bytes);

  std::mt19937 random_;
};

}  // namespace zdr::test

#endif
