// Description of video: the format block of FORMAT_VideoInfo.
#pragma once

#include <windows.h>

#include <cstddef>

inline constexpr DWORD BI_RGB = 0;
inline constexpr DWORD BI_RLE8 = 1;
inline constexpr DWORD BI_RLE4 = 2;
inline constexpr DWORD BI_BITFIELDS = 3;

struct BITMAPINFOHEADER {
  DWORD biSize;  // of this record, 40
  LONG biWidth;
  LONG biHeight;  // positive for RGB images that are stored bottom line first
  WORD biPlanes;
  WORD biBitCount;
  DWORD biCompression;  // BI_* or a four-character code
  DWORD biSizeImage;
  LONG biXPelsPerMeter;
  LONG biYPelsPerMeter;
  DWORD biClrUsed;
  DWORD biClrImportant;
};
static_assert(sizeof(BITMAPINFOHEADER) == 40 && offsetof(BITMAPINFOHEADER, biCompression) == 16);

struct VIDEOINFOHEADER {
  RECT rcSource;
  RECT rcTarget;
  DWORD dwBitRate;
  DWORD dwBitErrorRate;
  REFERENCE_TIME AvgTimePerFrame;
  BITMAPINFOHEADER bmiHeader;
};
static_assert(sizeof(VIDEOINFOHEADER) == 88 && offsetof(VIDEOINFOHEADER, AvgTimePerFrame) == 40);
static_assert(offsetof(VIDEOINFOHEADER, rcTarget) == 16 && offsetof(VIDEOINFOHEADER, bmiHeader) == 48);
