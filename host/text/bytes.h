// A view of bytes owned elsewhere, and the bytes of a text.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

namespace zdr::host {

using Bytes = std::span<const uint8_t>;

inline Bytes as_bytes(std::string_view text) {
  return {reinterpret_cast<const uint8_t*>(text.data()), text.size()};
}
inline Bytes as_bytes(std::u16string_view text) {
  return {reinterpret_cast<const uint8_t*>(text.data()), text.size() * sizeof(char16_t)};
}

}  // namespace zdr::host
