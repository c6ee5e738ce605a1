// A checksum for results that are pinned byte for byte.
#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>

namespace zdr::test {

// FNV-1a.
struct Checksum {
  uint64_t value = 0xCBF29CE484222325;

  // Adds numbers, or arrays of numbers of any depth, as little-endian bytes.
  template <typename... Parts>
  void add(const Parts&... parts) {
    (add_part(parts), ...);
  }

 private:
  template <typename Part>
  void add_part(const Part& part) {
    if constexpr (requires { std::begin(part); }) {
      for (const auto& element : part) add_part(element);
    } else {
      for (size_t shift = 0; shift < 8 * sizeof(Part); shift += 8) {
        value ^= static_cast<uint64_t>(part) >> shift & 0xFF;
        value *= 0x100000001B3;
      }
    }
  }
};

}  // namespace zdr::test
