// AMGetWideString, which copies text to task memory.
#include "wide_text.h"

#include <algorithm>
#include <string_view>

#include "wxdebug.h"

HRESULT AMGetWideString(LPCWSTR text, LPWSTR* copy) noexcept {
  CheckPointer(copy, E_POINTER);
  *copy = nullptr;
  CheckPointer(text, E_INVALIDARG);
  const std::u16string_view source(text);
  auto* target = static_cast<LPWSTR>(CoTaskMemAlloc((source.size() + 1) * sizeof(WCHAR)));
  CheckPointer(target, E_OUTOFMEMORY);
  std::copy(source.begin(), source.end(), target);
  target[source.size()] = u'\0';
  *copy = target;
  return S_OK;
}
