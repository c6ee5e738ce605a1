// MultiByteToWideChar and WideCharToMultiByte for CP_ACP (windows-1252) and CP_UTF8.
#include <cstring>
#include <limits>

#include "platform/win32/runtime/text/utf.h"
#include "platform/win32/runtime/text/windows_1252.h"
#include "platform/win32/win32_error.h"
#include "platform/win32/win32_text.h"

namespace zdr::platform {

namespace {

constexpr UINT kWindows1252Page = 1252;

bool is_ansi(UINT page) noexcept {
  return page == CP_ACP || page == CP_OEMCP || page == kWindows1252Page;
}

// Receives the converted units: counts when there is no room to write to, else writes what fits and remembers
// that something did not.
template <class Unit>
class ConversionTarget {
 public:
  ConversionTarget(Unit* out, int size) noexcept
      : out_(out), size_(static_cast<size_t>(size)), counting_(size == 0) {}

  void append(const Unit* units, size_t count) noexcept {
    if (!counting_ && !overflowed_ && count <= size_ - used_) {
      std::memcpy(out_ + used_, units, count * sizeof(Unit));
    } else if (!counting_) {
      overflowed_ = true;
    }
    used_ += count;
  }

  // The function's result: the count, or 0 with the last error set.
  int result() const noexcept {
    if (overflowed_) return fail(ERROR_INSUFFICIENT_BUFFER);
    if (used_ > static_cast<size_t>(std::numeric_limits<int>::max())) return fail(ERROR_INVALID_PARAMETER);
    return static_cast<int>(used_);
  }

  static int fail(DWORD error) noexcept {
    SetLastError(error);
    return 0;
  }

 private:
  Unit* out_;
  size_t size_;
  size_t used_ = 0;
  bool counting_;
  bool overflowed_ = false;
};

// The checks that both directions share. `source_count` -1 counts up to and including the NUL.
template <class In, class Out>
bool arguments_are_valid(const In* source, int source_count, const Out* target, int target_size) noexcept {
  if (source == nullptr || source_count == 0 || source_count < -1 || target_size < 0) return false;
  return target_size == 0 ||
         (target != nullptr && static_cast<const void*>(source) != static_cast<const void*>(target));
}

template <class Unit>
std::basic_string_view<Unit> source_text(const Unit* source, int count) noexcept {
  if (count >= 0) return {source, static_cast<size_t>(count)};
  return {source, std::char_traits<Unit>::length(source) + 1};
}

bool widen_utf8(std::string_view bytes, bool strict, ConversionTarget<WCHAR>& target) noexcept {
  while (!bytes.empty()) {
    const DecodedPoint decoded = decode_utf8(bytes, false);
    if (!decoded.well_formed && strict) return false;
    WCHAR encoded[2];
    target.append(encoded, encode_utf16(decoded.point, encoded));
    bytes.remove_prefix(decoded.units);
  }
  return true;
}

void widen_ansi(std::string_view bytes, ConversionTarget<WCHAR>& target) noexcept {
  for (const char byte : bytes) {
    const WCHAR unit = windows_1252_to_unicode(static_cast<unsigned char>(byte));
    target.append(&unit, 1);
  }
}

bool narrow_utf8(std::u16string_view wide, bool strict, ConversionTarget<char>& target) noexcept {
  while (!wide.empty()) {
    const DecodedPoint decoded = decode_utf16(wide);
    if (!decoded.well_formed && strict) return false;
    char encoded[4];
    target.append(encoded, encode_utf8(decoded.well_formed ? decoded.point : kReplacementCharacter, encoded));
    wide.remove_prefix(decoded.units);
  }
  return true;
}

// True when a character had to be replaced.
bool narrow_ansi(std::u16string_view wide, char replacement, ConversionTarget<char>& target) noexcept {
  bool replaced = false;
  while (!wide.empty()) {
    const DecodedPoint decoded = decode_utf16(wide);
    const int byte = unicode_to_windows_1252(decoded.point);
    const char unit = byte < 0 ? replacement : static_cast<char>(byte);
    replaced = replaced || byte < 0;
    target.append(&unit, 1);
    wide.remove_prefix(decoded.units);
  }
  return replaced;
}

}  // namespace

}  // namespace zdr::platform

using namespace zdr::platform;

int MultiByteToWideChar(UINT code_page, DWORD flags, LPCSTR bytes, int byte_count, LPWSTR wide,
                        int wide_size) noexcept {
  using Target = ConversionTarget<WCHAR>;
  if (!arguments_are_valid(bytes, byte_count, wide, wide_size)) return Target::fail(ERROR_INVALID_PARAMETER);
  const DWORD known_flags = MB_ERR_INVALID_CHARS | (is_ansi(code_page) ? MB_PRECOMPOSED : 0);
  if (!is_ansi(code_page) && code_page != CP_UTF8) return Target::fail(ERROR_INVALID_PARAMETER);
  if ((flags & ~known_flags) != 0) return Target::fail(ERROR_INVALID_FLAGS);

  const std::string_view source = source_text(bytes, byte_count);
  Target target(wide, wide_size);
  if (code_page == CP_UTF8) {
    if (!widen_utf8(source, flags != 0, target)) return Target::fail(ERROR_NO_UNICODE_TRANSLATION);
  } else {
    widen_ansi(source, target);
  }
  return target.result();
}

int WideCharToMultiByte(UINT code_page, DWORD flags, LPCWSTR wide, int wide_count, LPSTR bytes, int byte_size,
                        LPCSTR default_char, LPBOOL used_default) noexcept {
  using Target = ConversionTarget<char>;
  const bool utf8 = code_page == CP_UTF8;
  if (!arguments_are_valid(wide, wide_count, bytes, byte_size)) return Target::fail(ERROR_INVALID_PARAMETER);
  if (!utf8 && !is_ansi(code_page)) return Target::fail(ERROR_INVALID_PARAMETER);
  if (utf8 && (default_char != nullptr || used_default != nullptr)) {
    return Target::fail(ERROR_INVALID_PARAMETER);
  }
  const DWORD known_flags = utf8 ? WC_ERR_INVALID_CHARS : WC_NO_BEST_FIT_CHARS;
  if ((flags & ~known_flags) != 0) return Target::fail(ERROR_INVALID_FLAGS);

  const std::u16string_view source = source_text(wide, wide_count);
  Target target(bytes, byte_size);
  if (utf8) {
    if (!narrow_utf8(source, flags != 0, target)) return Target::fail(ERROR_NO_UNICODE_TRANSLATION);
  } else {
    const bool replaced = narrow_ansi(source, default_char != nullptr ? *default_char : '?', target);
    if (used_default != nullptr) *used_default = replaced ? TRUE : FALSE;
  }
  return target.result();
}
