// The small string helpers of the platform.
#include <algorithm>
#include <cstring>
#include <limits>
#include <string>

#include "platform/win32/runtime/text/fold_case.h"
#include "platform/win32/win32_text.h"

namespace {

template <class Fold>
int compare_units(LPCWSTR a, LPCWSTR b, Fold fold) {
  if (a == nullptr || b == nullptr) return static_cast<int>(a != nullptr) - static_cast<int>(b != nullptr);
  for (;; ++a, ++b) {
    const int difference = int{fold(*a)} - int{fold(*b)};
    if (difference != 0 || *a == 0) return difference;
  }
}

// Copies what fits into `size` (at least 1) units with the NUL; false when the text was cut.
bool copy_bounded(LPWSTR target, LPCWSTR source, size_t size) {
  size_t i = 0;
  while (i + 1 < size && source[i] != 0) {
    target[i] = source[i];
    ++i;
  }
  target[i] = 0;
  return source[i] == 0;
}

int clamp_length(size_t length) {
  return static_cast<int>(std::min<size_t>(length, std::numeric_limits<int>::max()));
}

}  // namespace

int lstrlenA(LPCSTR text) noexcept {
  return text == nullptr ? 0 : clamp_length(std::strlen(text));
}

int lstrlenW(LPCWSTR text) noexcept {
  return text == nullptr ? 0 : clamp_length(std::char_traits<WCHAR>::length(text));
}

int lstrcmpW(LPCWSTR a, LPCWSTR b) noexcept {
  return compare_units(a, b, [](WCHAR unit) { return unit; });
}

int lstrcmpiW(LPCWSTR a, LPCWSTR b) noexcept {
  return compare_units(a, b, zdr::platform::fold_case);
}

LPWSTR lstrcpynW(LPWSTR target, LPCWSTR source, int size) noexcept {
  if (target == nullptr || source == nullptr || size <= 0) return nullptr;
  copy_bounded(target, source, static_cast<size_t>(size));
  return target;
}

HRESULT StringCchCopyW(LPWSTR target, size_t size, LPCWSTR source) noexcept {
  if (target == nullptr || source == nullptr) return E_INVALIDARG;
  if (size == 0 || size > static_cast<size_t>(std::numeric_limits<int>::max())) return E_INVALIDARG;
  return copy_bounded(target, source, size) ? S_OK : STRSAFE_E_INSUFFICIENT_BUFFER;
}

int _wtoi(LPCWSTR text) noexcept {
  if (text == nullptr) return 0;
  while (*text == u' ' || (*text >= u'\t' && *text <= u'\r')) ++text;
  const bool negative = *text == u'-';
  if (*text == u'-' || *text == u'+') ++text;
  int64_t value = 0;
  for (; *text >= u'0' && *text <= u'9'; ++text) {
    value = std::min<int64_t>(value * 10 + (*text - u'0'), int64_t{1} << 31);
  }
  if (negative) value = -value;
  return static_cast<int>(std::min<int64_t>(value, std::numeric_limits<int>::max()));
}
