// Copies names and identifiers for callers: into task memory, or into a fixed field of a record.
#pragma once

#include <objbase.h>

#include <cstddef>

// Copies the text to task memory that the caller frees. E_POINTER for a null `copy`, E_INVALIDARG for a null
// text, E_OUTOFMEMORY; *copy is null after a failure.
HRESULT AMGetWideString(LPCWSTR text, LPWSTR* copy) noexcept;

namespace zdr::dshow {

// Fills the name of a record, truncated to fit with its NUL; empty for a null text.
template <std::size_t Size>
void copy_name(WCHAR (&field)[Size], LPCWSTR text) noexcept {
  lstrcpynW(field, text == nullptr ? u"" : text, static_cast<int>(Size));
}

}  // namespace zdr::dshow
