/*
 * AMRF: reader of speech files in the AMR and AMR-WB storage format (RFC 4867, section 5; ".amr", ".awb").
 *
 * A file is one line of text followed by frames of 20 ms. A frame is a table-of-contents (TOC) byte, whose
 * type tells the size, and the speech bits. Frames are counted from 1 and delivered whole, TOC byte included.
 * The content of the line is not looked at; its length tells the two bands apart.
 *
 * Every function answers AMRF_OK or one of the failures below. A reader is used by one thread at a time;
 * different readers are independent. The file is read in blocks, so a frame costs no call of the system.
 *
 * Valid as C11 and C++20.
 */
#ifndef ZDR_ESPARSE_AMR_AMRF_H
#define ZDR_ESPARSE_AMR_AMRF_H

#include <stdint.h>
#ifndef __cplusplus
#include <uchar.h>
#define AMRF_NOEXCEPT
#else
#define AMRF_NOEXCEPT noexcept
extern "C" {
#endif

typedef struct AMRF_File AMRF_File;

enum {
  AMRF_OK = 0,
  AMRF_ERR_FAILED =
      -1, /* null argument, no such file or frame, file cut off, read or seek failed, no memory */
  AMRF_ERR_FRAME_SIZE = -2147467259 /* 0x80004005, E_FAIL: the frame is larger than the caller's buffer */
};

/* Codec codes. */
enum {
  AMRF_CODEC_NB = 64, /* narrow-band AMR, 8000 Hz */
  AMRF_CODEC_WB = 80  /* AMR-WB, 16000 Hz */
};

typedef struct AMRF_Info {
  uint32_t duration_ms; /* 20 a frame, modulo 2^32 */
  uint32_t frame_count; /* whole frames */
  uint32_t codec;       /* AMRF_CODEC_ */
} AMRF_Info;

typedef struct AMRF_FrameRequest {
  uint32_t number; /* in: from 1 */
  uint32_t size;   /* in: capacity of `buffer` in bytes, 0 for no limit (AMRF_MaxFrameSize() always suffices);
                      out: size of the frame, or 0 when the way to it could not be read */
  uint8_t* buffer; /* the caller's. A failed read may have written a part of the frame */
} AMRF_FrameRequest;

/* Opens the file and finds the end of its line. `path` is UTF-16. On failure `*reader` is null. */
int32_t AMRF_Open(AMRF_File** reader, const char16_t* path) AMRF_NOEXCEPT;
/* AMRF_ERR_FAILED for null. */
int32_t AMRF_Close(AMRF_File* reader) AMRF_NOEXCEPT;

/* Counts the whole frames of the file by reading it, and leaves the reader behind the last. What cannot be
 * read counts as the end. */
int32_t AMRF_Scan(AMRF_File* reader, AMRF_Info* info) AMRF_NOEXCEPT;

/* Reads one frame. The one after the last is where the reader stands; any other is walked to from the first.
 * A reader that failed is still good: the next read walks. */
int32_t AMRF_ReadFrame(AMRF_File* reader, AMRF_FrameRequest* request) AMRF_NOEXCEPT;

/* The frame that is heard at the end of `time_ms`: frame N covers the times above 20 (N - 1) up to 20 N, and
 * time 0 is in frame 1. Whether the file has that frame is not asked. */
int32_t AMRF_TimeToFrame(const AMRF_File* reader, uint32_t time_ms, uint32_t* number) AMRF_NOEXCEPT;

/* Bytes, TOC byte included, of the frame that begins with `toc`. A wide-band frame of the types 11 to 13 has
 * size 0, and still takes its one byte in the file. */
uint32_t AMRF_FrameSizeNB(uint8_t toc) AMRF_NOEXCEPT;
uint32_t AMRF_FrameSizeWB(uint8_t toc) AMRF_NOEXCEPT;

/* A buffer of this many bytes holds any frame: 100. */
uint32_t AMRF_MaxFrameSize(void) AMRF_NOEXCEPT;

#ifdef __cplusplus
}
#endif

#endif
