// StringFromGUID2 and CLSIDFromString.
#include "guid_text.h"

#include <objbase.h>

#include <string_view>

namespace {

// The 16 bytes in printing order; the inverse of guid_from_printed_bytes.
void printed_bytes_of(const GUID& guid, uint8_t (&bytes)[16]) noexcept {
  for (unsigned i = 0; i < 4; ++i) bytes[i] = static_cast<uint8_t>(guid.Data1 >> (24 - 8 * i));
  bytes[4] = static_cast<uint8_t>(guid.Data2 >> 8);
  bytes[5] = static_cast<uint8_t>(guid.Data2);
  bytes[6] = static_cast<uint8_t>(guid.Data3 >> 8);
  bytes[7] = static_cast<uint8_t>(guid.Data3);
  for (unsigned i = 0; i < 8; ++i) bytes[8 + i] = guid.Data4[i];
}

}  // namespace

int StringFromGUID2(REFGUID guid, WCHAR* buffer, int characters) noexcept {
  if (buffer == nullptr || characters < CHARS_IN_GUID) return 0;
  uint8_t bytes[16];
  printed_bytes_of(guid, bytes);
  WCHAR* out = buffer;
  *out++ = u'{';
  std::size_t digits = 0;
  for (std::size_t i = 0; i < zdr::com::kGuidTextLength; ++i) {
    if (zdr::com::is_guid_dash(i)) {
      *out++ = u'-';
      continue;
    }
    const unsigned value = digits % 2 == 0 ? bytes[digits / 2] >> 4 : bytes[digits / 2] & 0x0FU;
    *out++ = u"0123456789ABCDEF"[value];
    ++digits;
  }
  *out++ = u'}';
  *out = u'\0';
  return CHARS_IN_GUID;
}

HRESULT CLSIDFromString(const WCHAR* text, CLSID* clsid) noexcept {
  if (clsid == nullptr) return E_INVALIDARG;
  *clsid = GUID_NULL;
  if (text == nullptr) return S_OK;
  const std::u16string_view view(text);
  if (view.size() != CHARS_IN_GUID - 1 || view.front() != u'{' || view.back() != u'}')
    return CO_E_CLASSSTRING;
  const auto parsed = zdr::com::parse_guid(view.substr(1, zdr::com::kGuidTextLength));
  if (!parsed) return CO_E_CLASSSTRING;
  *clsid = *parsed;
  return S_OK;
}
