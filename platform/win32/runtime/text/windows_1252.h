// Code page windows-1252: Latin-1 except for the range 0x80 to 0x9F. Its five unassigned bytes are the
// control characters of the same number, as in the platform's converter.
#pragma once

#include <array>

namespace zdr::platform {

constexpr std::array<char16_t, 32> kWindows1252High = {
    0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021,  // 80
    0x02C6, 0x2030, 0x0160, 0x2039, 0x0152, 0x008D, 0x017D, 0x008F,  // 88
    0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022, 0x2013, 0x2014,  // 90
    0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178,  // 98
};

constexpr char16_t windows_1252_to_unicode(unsigned char byte) noexcept {
  return byte >= 0x80 && byte < 0xA0 ? kWindows1252High[byte - 0x80u] : char16_t{byte};
}

}  // namespace zdr::platform
