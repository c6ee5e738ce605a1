// Copies of wide strings, as names and identifiers are handed out: in task memory, or in a fixed field of a
// record.
#pragma once

#include <objbase.h>

#include <cstddef>

// A copy in task memory of the caller. E_POINTER without a place for it, E_INVALIDARG (and NULL) for a NULL
// text, E_OUTOFMEMORY (and NULL).
HRESULT AMGetWideString(LPCWSTR text, LPWSTR* copy) noexcept;

namespace zdr::dshow {

// Fills a record's name: cut to what fits with its NUL, empty for a NULL text.
template <std::size_t Size>
void copy_name(WCHAR (&field)[Size], LPCWSTR text) noexcept {
  lstrcpynW(field, text == nullptr ? u"" : text, static_cast<int>(Size));
}

}  // namespace zdr::dshow
