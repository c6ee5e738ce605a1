// Comparison without regard to case.
#pragma once

#include <string_view>

#include "platform/win32/win32_types.h"

namespace zdr::platform {

// ASCII and Latin-1 only: enough for the names and extensions that are compared without case here.
constexpr WCHAR fold_case(WCHAR unit) noexcept {
  const bool ascii_upper = unit >= u'A' && unit <= u'Z';
  const bool latin_upper = unit >= 0xC0 && unit <= 0xDE && unit != 0xD7;
  return ascii_upper || latin_upper ? static_cast<WCHAR>(unit + 0x20) : unit;
}

// An order of names in which names that differ only in case are equal.
struct LessWithoutCase {
  using is_transparent = void;
  constexpr bool operator()(std::u16string_view a, std::u16string_view b) const noexcept {
    const size_t common = a.size() < b.size() ? a.size() : b.size();
    for (size_t i = 0; i < common; ++i) {
      if (fold_case(a[i]) != fold_case(b[i])) return fold_case(a[i]) < fold_case(b[i]);
    }
    return a.size() < b.size();
  }
};

}  // namespace zdr::platform
