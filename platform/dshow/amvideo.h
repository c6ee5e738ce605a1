// Description of video: the format block of FORMAT_VideoInfo.
#pragma once

#include <windows.h>

#include <cstddef>

struct BITMAPINFOHEADER {
  DWORD biSize;  // of this record, 40
  LONG biWidth;
  LONG biHeight;  // positive for RGB images that are stored bottom line first
  WORD biPlanes;
  WORD biBitCount;
  DWORD biCompression;  // 0 for plain RGB, else a four-character code
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
