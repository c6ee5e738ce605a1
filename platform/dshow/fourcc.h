// Four-character codes, and the GUIDs that are built around one or around a wave format tag.
#pragma once

#include <windows.h>

namespace zdr::dshow {

// The code in file order, read as a little-endian number.
constexpr DWORD fourcc(char a, char b, char c, char d) noexcept {
  return static_cast<DWORD>(static_cast<BYTE>(a)) | static_cast<DWORD>(static_cast<BYTE>(b)) << 8 |
         static_cast<DWORD>(static_cast<BYTE>(c)) << 16 | static_cast<DWORD>(static_cast<BYTE>(d)) << 24;
}

// XXXXXXXX-0000-0010-8000-00AA00389B71 with the code in place of the X.
constexpr GUID fourcc_guid(DWORD code) noexcept {
  return GUID{code, 0x0000, 0x0010, {0x80, 0x00, 0x00, 0xAA, 0x00, 0x38, 0x9B, 0x71}};
}

}  // namespace zdr::dshow
