// MultiByteToWideChar for CP_ACP (windows-1252) and CP_UTF8, WideCharToMultiByte for CP_UTF8.
#include <cstring>
#include <limits>

#include "platform/win32/runtime/text/windows_1252.h"
#include "platform/win32/utf.h"
#include "platform/win32/win32_error.h"
#include "platform/win32/win32_text.h"

namespace zdr::platform {

namespace {

// Receives the converted units: only counts them when its size is 0, else writes what fits and remembers
// whether something did not.
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

void widen_utf8(std::string_view bytes, ConversionTarget<WCHAR>& target) noexcept {
  while (!bytes.empty()) {
    const DecodedPoint decoded = decode_utf8(bytes, false);
    WCHAR encoded[2];
    target.append(encoded, encode_utf16(decoded.point, encoded));
    bytes.remove_prefix(decoded.units);
  }
}

void widen_ansi(std::string_view bytes, ConversionTarget<WCHAR>& target) noexcept {
  for (const char byte : bytes) {
    const WCHAR unit = windows_1252_to_unicode(static_cast<unsigned char>(byte));
    target.append(&unit, 1);
  }
}

void narrow_utf8(std::u16string_view wide, ConversionTarget<char>& target) noexcept {
  while (!wide.empty()) {
    const DecodedPoint decoded = decode_utf16(wide);
    char encoded[4];
    target.append(encoded, encode_utf8(decoded.well_formed ? decoded.point : kReplacementCharacter, encoded));
    wide.remove_prefix(decoded.units);
  }
}

}  // namespace

}  // namespace zdr::platform

using namespace zdr::platform;

int MultiByteToWideChar(UINT code_page, DWORD flags, LPCSTR bytes, int byte_count, LPWSTR wide,
                        int wide_size) noexcept {
  using Target = ConversionTarget<WCHAR>;
  if (!arguments_are_valid(bytes, byte_count, wide, wide_size)) return Target::fail(ERROR_INVALID_PARAMETER);
  if (code_page != CP_ACP && code_page != CP_UTF8) return Target::fail(ERROR_INVALID_PARAMETER);
  if (flags != 0) return Target::fail(ERROR_INVALID_FLAGS);
  const std::string_view source = source_text(bytes, byte_count);
  Target target(wide, wide_size);
  code_page == CP_UTF8 ? widen_utf8(source, target) : widen_ansi(source, target);
  return target.result();
}

int WideCharToMultiByte(UINT code_page, DWORD flags, LPCWSTR wide, int wide_count, LPSTR bytes, int byte_size,
                        LPCSTR default_char, LPBOOL used_default) noexcept {
  using Target = ConversionTarget<char>;
  const bool valid = arguments_are_valid(wide, wide_count, bytes, byte_size) && code_page == CP_UTF8 &&
                     default_char == nullptr && used_default == nullptr;
  if (!valid) return Target::fail(ERROR_INVALID_PARAMETER);
  if (flags != 0) return Target::fail(ERROR_INVALID_FLAGS);
  Target target(bytes, byte_size);
  narrow_utf8(source_text(wide, wide_count), target);
  return target.result();
}
