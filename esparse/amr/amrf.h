/*
 * AMRF: reads speech files in the AMR and AMR-WB storage format (RFC 4867, section 5; ".amr", ".awb").
 *
 * A file is one line of text followed by frames of 20 ms. A frame is a table-of-contents (TOC) byte, whose
 * type determines the size, and the speech bits. Frames are numbered from 1 and delivered whole, with the TOC
 * byte. The length of the line, not its content, distinguishes the two bands.
 *
 * Functions return AMRF_OK or a failure. One thread at a time uses a reader; different readers are
 * independent. The file is read in blocks, so that reading a frame rarely calls the system.
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
      -1, /* null argument, no such file or frame, truncated frame, failed read or seek, no memory */
  AMRF_ERR_FRAME_SIZE = -2147467259 /* 0x80004005, E_FAIL: the frame is larger than the caller's buffer */
};

/* Codec codes. */
enum {
  AMRF_CODEC_NB = 64, /* narrow-band AMR, 8000 Hz */
  AMRF_CODEC_WB = 80  /* AMR-WB, 16000 Hz */
};

typedef struct AMRF_Info {
  uint32_t duration_ms; /* 20 ms per frame, modulo 2^32 */
  uint32_t frame_count; /* whole frames */
  uint32_t codec;       /* an AMRF_CODEC_ code */
} AMRF_Info;

typedef struct AMRF_FrameRequest {
  uint32_t number; /* in: from 1 */
  uint32_t size;   /* in: capacity of `buffer` in bytes, 0 for no limit (AMRF_MaxFrameSize() always suffices);
                      out: size of the frame, 0 when the frames before it could not be read */
  uint8_t* buffer; /* the caller's; a failed read may leave part of the frame here */
} AMRF_FrameRequest;

/* Opens a file and finds the end of its first line. `path` is UTF-16. On failure `*reader` is null. */
int32_t AMRF_Open(AMRF_File** reader, const char16_t* path) AMRF_NOEXCEPT;
/* Closes the file and releases the reader. AMRF_ERR_FAILED for null. */
int32_t AMRF_Close(AMRF_File* reader) AMRF_NOEXCEPT;

/* Counts the whole frames by reading the file, and moves the reader past the last one. A failed read counts
 * as the end of the file. */
int32_t AMRF_Scan(AMRF_File* reader, AMRF_Info* info) AMRF_NOEXCEPT;

/* Reads one frame. The frame after the previous one is read directly, any other by walking from the first.
 * After a failure the reader can still be used: the next read walks. */
int32_t AMRF_ReadFrame(AMRF_File* reader, AMRF_FrameRequest* request) AMRF_NOEXCEPT;

/* Stores the number of the frame that is played at `time_ms`: frame N covers the times above 20 (N - 1) up to
 * 20 N, and time 0 is in frame 1. The file may have fewer frames. */
int32_t AMRF_TimeToFrame(const AMRF_File* reader, uint32_t time_ms, uint32_t* number) AMRF_NOEXCEPT;

/* Return the bytes, with the TOC byte, of the frame that begins with `toc`. A wide-band frame of type 11 to
 * 13 has size 0, and still takes one byte in the file. */
uint32_t AMRF_FrameSizeNB(uint8_t toc) AMRF_NOEXCEPT;
uint32_t AMRF_FrameSizeWB(uint8_t toc) AMRF_NOEXCEPT;

/* Returns 100: a buffer of this size holds any frame. */
uint32_t AMRF_MaxFrameSize(void) AMRF_NOEXCEPT;

#ifdef __cplusplus
}
#endif

#endif
