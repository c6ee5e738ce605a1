// The kinds of stream that a pin carries.
#pragma once

#include <cstdint>

namespace zdr::mp4source {

enum class StreamKind : uint32_t { kVideo = 0, kAudio = 1 };

}  // namespace zdr::mp4source
