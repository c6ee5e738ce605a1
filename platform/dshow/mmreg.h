// Description of wave audio: the format block of FORMAT_WaveFormatEx.
#pragma once

#include <windows.h>

inline constexpr WORD WAVE_FORMAT_PCM = 1;

#pragma pack(push, 1)
// The first 18 bytes of the block. Any format but PCM has cbSize more bytes after them.
struct WAVEFORMATEX {
  WORD wFormatTag;
  WORD nChannels;
  DWORD nSamplesPerSec;
  DWORD nAvgBytesPerSec;
  WORD nBlockAlign;
  WORD wBitsPerSample;
  WORD cbSize;
};
#pragma pack(pop)
static_assert(sizeof(WAVEFORMATEX) == 18);
