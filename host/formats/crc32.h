// CRC-32 of ISO/IEC 3309 (reflected polynomial 0xEDB88320), as zip and PNG use it.
#pragma once

#include <cstdint>
#include <span>

namespace zdr::host {

uint32_t crc32(std::span<const uint8_t> bytes);

}  // namespace zdr::host
