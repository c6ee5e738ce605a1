// Four-character codes of biCompression, which differ from those of the subtypes.
#pragma once

#include <dshow.h>

namespace zdr::mp4source {

inline constexpr DWORD kCompressionM4s2 = dshow::fourcc('M', '4', 'S', '2');
inline constexpr DWORD kCompressionH263 = dshow::fourcc('H', '2', '6', '3');
inline constexpr DWORD kCompressionH264 = dshow::fourcc('H', '2', '6', '4');
static_assert(kCompressionM4s2 == 0x3253344D && kCompressionH263 == 0x33363248 &&
              kCompressionH264 == 0x34363248);

}  // namespace zdr::mp4source
