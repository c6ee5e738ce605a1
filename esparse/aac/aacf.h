/*
 * AACF: reads AAC files (".aac") and decodes them frame by frame into 16-bit PCM.
 *
 * Three kinds of streams (ISO/IEC 13818-7 and ISO/IEC 14496-3, annex 1.A):
 *   ADTS   frames, each with a header
 *   ADIF   one header, then raw data blocks
 *   raw    a byte with the length of an AudioSpecificConfig, this configuration, then raw data blocks
 * An ID3v2 tag may precede the stream, an ID3v1 tag may follow it.
 *
 * Opening reads a bounded part of the file and estimates bitrate and number of frames from it. Any frame can
 * then be read by its number, counted from 1.
 *
 * The file is accessed only through the caller's callbacks. Functions return AACF_OK or a negative status; a
 * null argument is AACF_ERR_FAILED. One thread at a time uses a reader; different readers are independent.
 *
 * Valid as C11 and C++20.
 */
#ifndef ZDR_ESPARSE_AAC_AACF_H
#define ZDR_ESPARSE_AAC_AACF_H

#include <stdint.h>

#include "aacdec/zd_aac_dec.h"
#include "id3p/id3p.h"

#ifdef __cplusplus
#define AACF_NOEXCEPT noexcept
extern "C" {
#else
#define AACF_NOEXCEPT
#endif

enum {
  AACF_OK = 0,
  AACF_ERR_FAILED = -1, /* null argument, not an AAC file, not decodable, a callback failed, no such frame */
  AACF_ERR_NO_MEMORY = -2,
  AACF_ERR_OPEN = -1006,            /* the open callback failed */
  AACF_ERR_SHORT_READ = -1007,      /* the ID3v2 tag is truncated */
  AACF_ERR_NEED_MORE_DATA = -10101, /* no frame found at the place of the seek */
  AACF_ERR_END_OF_STREAM = -10102   /* the frame begins after the last audio byte */
};

/* Kinds of streams, with the values of ZD_AAC_DEC_STREAM_. */
enum { AACF_KIND_RAW = 0, AACF_KIND_ADIF = 1, AACF_KIND_ADTS = 2 };

/* Bitrate modes. */
enum {
  AACF_BITRATE_UNKNOWN = 0,
  AACF_BITRATE_VARIABLE = 1, /* from the ADIF header */
  AACF_BITRATE_CONSTANT = 2, /* from the ADIF header */
  AACF_BITRATE_ESTIMATED = 3
};

typedef struct AACF_File AACF_File;

typedef struct AACF_OpenParams {
  const AACF_FileIo* io; /* copied; the callbacks must work until AACF_Close */
  uint32_t scan_limit;   /* in bytes: opening scans frames until it has passed more bytes than this */
} AACF_OpenParams;

typedef struct AACF_StreamInfo {
  uint32_t bitrate_mode;   /* an AACF_BITRATE_ mode */
  uint32_t bitrate;        /* bits per second; a multiple of 8000 when estimated */
  uint32_t total_frames;   /* estimated */
  uint32_t audio_bytes;    /* of the file, without its tags and its ADIF or raw header */
  uint32_t frames_scanned; /* at open */
  uint32_t bytes_scanned;  /* at open */
} AACF_StreamInfo;

typedef struct AACF_Duration {
  uint32_t duration_ms;
  uint32_t frame_count; /* estimated */
} AACF_Duration;

typedef struct AACF_FrameRequest {
  uint32_t number; /* in: the frame, from 1; out: where frames are counted and the file ends before it, the
                      frame after the last */
  uint32_t size;   /* in: capacity of `pcm` in bytes; out: bytes written, on success. The decoder delivers a
                      frame late: the first read after opening or AACF_RefreshConfig yields 0 bytes */
  int16_t* pcm;    /* interleaved channels, at any address; `outputBytes` of the configuration suffice */
} AACF_FrameRequest;

/*
 * Opens a file: passes `path` to the open callback with the mode "rb", reads the tags and scans the first
 * frames. On failure `*reader` is untouched and the file is closed.
 */
int32_t AACF_Open(AACF_File** reader, const char16_t* path, const AACF_OpenParams* params) AACF_NOEXCEPT;
/* Closes the file and releases the reader. */
int32_t AACF_Close(AACF_File* reader) AACF_NOEXCEPT;

/* Copy what opening found. The duration is that of the estimated number of frames. */
int32_t AACF_GetConfig(const AACF_File* reader, Zd_AAC_Dec_Config* config) AACF_NOEXCEPT;
int32_t AACF_GetStreamInfo(const AACF_File* reader, AACF_StreamInfo* info) AACF_NOEXCEPT;
int32_t AACF_GetDuration(const AACF_File* reader, AACF_Duration* duration) AACF_NOEXCEPT;

/* Restarts the decoder, as after a seek, and updates the derived fields of the configuration. Returns the
 * status of the decoder. */
int32_t AACF_RefreshConfig(AACF_File* reader) AACF_NOEXCEPT;

/* Stores the number of the frame that is played at a time. Time 0 is AACF_ERR_FAILED. */
int32_t AACF_TimeToFrame(const AACF_File* reader, uint32_t time_ms, uint32_t* number) AACF_NOEXCEPT;
/* Stores the time at which a frame begins. Number 0 is AACF_ERR_FAILED; times wrap after 2^32 samples. */
int32_t AACF_FrameToTime(const AACF_File* reader, uint32_t number, uint64_t* time_ms) AACF_NOEXCEPT;

/*
 * Decodes one frame. The frame after the previous one is read without a seek. Any other is found in an ADTS
 * stream by a seek to its estimated place and a search for the next header, in the other kinds by walking
 * over frames. After a failure the reader can still be used: the next read finds its place again.
 */
int32_t AACF_ReadFrame(AACF_File* reader, AACF_FrameRequest* request) AACF_NOEXCEPT;

/* Copies the texts of the ID3v2.3 tag, else of the ID3v2.2 tag, else stores an empty record. The caller
 * releases the copies with `text->release(text)`, unless `release` is null. */
int32_t AACF_GetTagText(const AACF_File* reader, ID3P_Text* text) AACF_NOEXCEPT;

#ifdef __cplusplus
}
#endif

#endif
