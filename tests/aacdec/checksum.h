// A checksum for results that are pinned byte for byte.
#pragma once

#include <cstdint>
#include <span>

namespace zdr::test {

inline constexpr uint64_t kFnv1aStart = 0xCBF29CE484222325;

// FNV-1a of the values as little-endian bytes, continued from `hash`.
template <typename T>
uint64_t fnv1a(std::span<const T> values, uint64_t hash = kFnv1aStart) {
  for (const T value : values) {
    for (size_t shift = 0; shift < 8 * sizeof(T); shift += 8) {
      hash ^= static_cast<uint64_t>(value) >> shift & 0xFF;
      hash *= 0x100000001B3;
    }
  }
  return hash;
}

}  // namespace zdr::test
