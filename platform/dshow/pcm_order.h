// The byte order of 16-bit PCM in media samples: little-endian on every machine, as in a WAVE file.
#pragma once

#include <bit>
#include <cstdint>
#include <span>

namespace zdr::dshow {

// Converts samples from the order of the machine.
inline void to_pcm_order(std::span<int16_t> samples) noexcept {
  if constexpr (std::endian::native == std::endian::big) {
    for (int16_t& sample : samples) {
      const auto bits = static_cast<uint16_t>(sample);
      sample = static_cast<int16_t>(static_cast<uint16_t>(bits << 8 | bits >> 8));
    }
  }
}

}  // namespace zdr::dshow
