// Converts file names between the platform's UTF-16 and the system's bytes, which are UTF-8 by custom only.
#pragma once

#include <string>
#include <string_view>

#include "win32_types.h"

namespace zdr::platform {

// A backslash that is part of a name of the system, and no separator. Only programs that have such a name
// write it; utf16_file_name() leaves a backslash as it is.
inline constexpr char16_t kLiteralBackslash = 0xDC00 + u'\\';

// Each byte that is not part of UTF-8 becomes a lone surrogate, U+DC80 to U+DCFF for 80 to FF, and the
// reverse, so that every name of the system survives the round trip. Other lone surrogates but
// kLiteralBackslash, which no name of the system has, become 3 bytes each. May throw bad_alloc.
ZDR_PLATFORM_API std::string native_file_name(std::u16string_view name);
ZDR_PLATFORM_API std::u16string utf16_file_name(std::string_view name);

}  // namespace zdr::platform
