// Scale factor band offsets for windows of 1024 and 128 lines, in lines, by sampling_frequency_index 0 to 11.
// Every list ends with the window length. From ISO/IEC 14496-3, 4.5.4 (tables of swb_offset_long_window and
// swb_offset_short_window).
//
// Lists are named after the lowest of the rates that share them.
#pragma once

#include <cstdint>

namespace zdr::aacdec {

inline constexpr uint16_t kLongOffsets88200[] = {
    0,   4,   8,   12,  16,  20,  24,  28,  32,  36,  40,  44,  48,  52,  56,  64,  72,  80,  88,  96,  108,
    120, 132, 144, 156, 172, 188, 212, 240, 276, 320, 384, 448, 512, 576, 640, 704, 768, 832, 896, 960, 1024};

inline constexpr uint16_t kLongOffsets64000[] = {0,   4,   8,   12,  16,  20,  24,  28,  32,  36,  40,  44,
                                                 48,  52,  56,  64,  72,  80,  88,  100, 112, 124, 140, 156,
                                                 172, 192, 216, 240, 268, 304, 344, 384, 424, 464, 504, 544,
                                                 584, 624, 664, 704, 744, 784, 824, 864, 904, 944, 984, 1024};

inline constexpr uint16_t kLongOffsets44100[] = {
    0,   4,   8,   12,  16,  20,  24,  28,  32,  36,  40,  48,  56,  64,  72,  80,  88,
    96,  108, 120, 132, 144, 160, 176, 196, 216, 240, 264, 292, 320, 352, 384, 416, 448,
    480, 512, 544, 576, 608, 640, 672, 704, 736, 768, 800, 832, 864, 896, 928, 1024};

inline constexpr uint16_t kLongOffsets32000[] = {
    0,   4,   8,   12,  16,  20,  24,  28,  32,  36,  40,  48,  56,  64,  72,  80,  88,  96,
    108, 120, 132, 144, 160, 176, 196, 216, 240, 264, 292, 320, 352, 384, 416, 448, 480, 512,
    544, 576, 608, 640, 672, 704, 736, 768, 800, 832, 864, 896, 928, 960, 992, 1024};

inline constexpr uint16_t kLongOffsets22050[] = {0,   4,   8,   12,  16,  20,  24,  28,  32,  36,  40,  44,
                                                 52,  60,  68,  76,  84,  92,  100, 108, 116, 124, 136, 148,
                                                 160, 172, 188, 204, 220, 240, 260, 284, 308, 336, 364, 396,
                                                 432, 468, 508, 552, 600, 652, 704, 768, 832, 896, 960, 1024};

inline constexpr uint16_t kLongOffsets11025[] = {0,   8,   16,  24,  32,  40,  48,  56,  64,  72,  80,
                                                 88,  100, 112, 124, 136, 148, 160, 172, 184, 196, 212,
                                                 228, 244, 260, 280, 300, 320, 344, 368, 396, 424, 456,
                                                 492, 532, 572, 616, 664, 716, 772, 832, 896, 960, 1024};

inline constexpr uint16_t kLongOffsets8000[] = {
    0,   12,  24,  36,  48,  60,  72,  84,  96,  108, 120, 132, 144, 156, 172, 188, 204, 220, 236, 252, 268,
    288, 308, 328, 348, 372, 396, 420, 448, 476, 508, 544, 580, 620, 664, 712, 764, 820, 880, 944, 1024};

inline constexpr const uint16_t* kLongOffsets[12] = {kLongOffsets88200, kLongOffsets88200, kLongOffsets64000,
                                                     kLongOffsets44100, kLongOffsets44100, kLongOffsets32000,
                                                     kLongOffsets22050, kLongOffsets22050, kLongOffsets11025,
                                                     kLongOffsets11025, kLongOffsets11025, kLongOffsets8000};
inline constexpr uint8_t kLongBandCounts[12] = {41, 41, 47, 49, 49, 51, 47, 47, 43, 43, 43, 40};

inline constexpr uint16_t kShortOffsets64000[] = {0, 4, 8, 12, 16, 20, 24, 32, 40, 48, 64, 92, 128};

inline constexpr uint16_t kShortOffsets32000[] = {0, 4, 8, 12, 16, 20, 28, 36, 44, 56, 68, 80, 96, 112, 128};

inline constexpr uint16_t kShortOffsets22050[] = {0,  4,  8,  12, 16, 20, 24,  28,
                                                  36, 44, 52, 64, 76, 92, 108, 128};

inline constexpr uint16_t kShortOffsets11025[] = {0,  4,  8,  12, 16, 20, 24,  28,
                                                  32, 40, 48, 60, 72, 88, 108, 128};

inline constexpr uint16_t kShortOffsets8000[] = {0,  4,  8,  12, 16, 20, 24,  28,
                                                 36, 44, 52, 60, 72, 88, 108, 128};

inline constexpr const uint16_t* kShortOffsets[12] = {
    kShortOffsets64000, kShortOffsets64000, kShortOffsets64000, kShortOffsets32000,
    kShortOffsets32000, kShortOffsets32000, kShortOffsets22050, kShortOffsets22050,
    kShortOffsets11025, kShortOffsets11025, kShortOffsets11025, kShortOffsets8000};
inline constexpr uint8_t kShortBandCounts[12] = {12, 12, 12, 14, 14, 14, 15, 15, 15, 15, 15, 15};

}  // namespace zdr::aacdec
