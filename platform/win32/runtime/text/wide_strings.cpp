// lstrlenW, lstrcpynW and _wtoi.
#include <algorithm>
#include <limits>
#include <string>

#include "platform/win32/win32_text.h"

int lstrlenW(LPCWSTR text) noexcept {
  if (text == nullptr) return 0;
  return static_cast<int>(
      std::min<size_t>(std::char_traits<WCHAR>::length(text), std::numeric_limits<int>::max()));
}

LPWSTR lstrcpynW(LPWSTR target, LPCWSTR source, int size) noexcept {
  if (target == nullptr || source == nullptr || size <= 0) return nullptr;
  LPWSTR end = target;
  for (int left = size - 1; left > 0 && *source != 0; --left) *end++ = *source++;
  *end = 0;
  return target;
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
