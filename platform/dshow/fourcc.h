// GUIDs that are built around a four-character code or a wave format tag.
#pragma once

#include <windows.h>

namespace zdr::dshow {

// The code as it lies in a file, read as a little-endian number.
constexpr DWORD fourcc(char a, char b, char c, char d) noexcept {
  return static_cast<DWORD>(static_cast<BYTE>(a)) | static_cast<DWORD>(static_cast<BYTE>(b)) << 8 |
         static_cast<DWORD>(static_cast<BYTE>(c)) << 16 | static_cast<DWORD>(static_cast<BYTE>(d)) << 24;
}

// XXXXXXXX-0000-0010-8000-00AA00389B71 with the code in the place of the X.
constexpr GUID fourcc_guid(DWORD code) noexcept {
  return GUID{code, 0x0000, 0x0010, {0x80, 0x00, 0x00, 0xAA, 0x00, 0x38, 0x9B, 0x71}};
}

}  // namespace zdr::dshow

class FOURCCMap : public GUID {
 public:
  constexpr FOURCCMap() noexcept : FOURCCMap(DWORD{0}) {}
  constexpr explicit FOURCCMap(DWORD code) noexcept : GUID(zdr::dshow::fourcc_guid(code)) {}
  constexpr explicit FOURCCMap(const GUID& guid) noexcept : GUID(guid) {}

  constexpr DWORD GetFOURCC() const noexcept { return Data1; }
  constexpr void SetFOURCC(DWORD code) noexcept { Data1 = code; }
};
