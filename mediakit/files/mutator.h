// Damages files: flips bits, truncates, and changes sizes, counts and box types. A seed produces the same
// damage on every platform.
#pragma once

#include <algorithm>
#include <random>
#include <string_view>

#include "mediakit/boxes/box_builder.h"

namespace zdr::test {

class Mutator {
 public:
  explicit Mutator(uint32_t seed) : random_(seed) {}

  // Returns a number below `limit`.
  uint32_t below(size_t limit) { return limit == 0 ? 0 : static_cast<uint32_t>(random_() % limit); }

  // Returns a copy with one to four damages.
  Bytes damaged(Bytes bytes) {
    for (uint32_t times = 1 + below(4); times > 0 && bytes.size() >= 16; --times) damage_once(bytes);
    return bytes;
  }

 private:
  // The containers twice, because most damage to what is in them is harmless.
  static constexpr std::string_view kTypes =
      "moovtrakmdiaminfstblmoovtrakmdiaminfstblstsdmdhdhdlrsttsstszstscstcoelstedtstkhdmvhdesdsavcCdinfdrefct"
      "tsstssstdpiods";
  // Numbers at which size arithmetic may fail.
  static constexpr uint32_t kOddNumbers[] = {
      0, 1, 7, 8, 9, 16, 20, 0xFF, 0xFFFF, 0x7FFFFFFF, 0x80000000, 0xFFFFFFF0, 0xFFFFFFFE, 0xFFFFFFFF};

  std::string_view any_type() { return kTypes.substr(4 * below(kTypes.size() / 4), 4); }

  void damage_once(Bytes& bytes) {
    const auto anywhere = bytes.begin() + below(bytes.size() - 8);
    const std::string_view type = any_type();
    const auto found =
        std::search(below(2) == 0 ? bytes.begin() : anywhere, bytes.end(), type.begin(), type.end());
    const bool is_header = found - bytes.begin() >= 4 && bytes.end() - found > 16;
    const auto size_at = static_cast<size_t>(found - bytes.begin()) - 4;  // of the box, if there is one
    const uint32_t odd = kOddNumbers[below(std::size(kOddNumbers))];
    switch (below(8)) {
      case 0:
        *anywhere ^= static_cast<uint8_t>(1u << below(8));
        break;
      case 1:
        store_be32(bytes, static_cast<size_t>(anywhere - bytes.begin()), odd);
        break;
      case 2:
        bytes.erase(anywhere, bytes.end());
        break;
      case 3: {  // a repeated piece
        const Bytes piece(anywhere, anywhere + std::min<std::ptrdiff_t>(below(64), bytes.end() - anywhere));
        bytes.insert(anywhere, piece.begin(), piece.end());
        break;
      }
      case 4:
        if (is_header) std::ranges::copy(any_type(), found);
        break;
      case 5:  // the size of a box: no contents, or by a few bytes, which may be those of the next header
        if (is_header)
          store_be32(bytes, size_at, below(2) == 0 ? 8 : load_be32(bytes, size_at) + below(17) - 8);
        break;
      default:  // the size or one of the first fields of a box
        if (is_header) store_be32(bytes, size_at + (below(2) == 0 ? 0 : 8 + below(8)), odd);
        break;
    }
  }

  std::mt19937 random_;
};

}  // namespace zdr::test
