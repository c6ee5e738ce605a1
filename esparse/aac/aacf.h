/*
 * AACF: reader of AAC files (".aac"), which decodes them frame by frame into 16-bit PCM.
 *
 * A file holds ADTS frames, an ADIF header with raw data blocks behind it (ISO/IEC 13818-7, ISO/IEC 14496-3
 * 1.A), or a byte with the length of an AudioSpecificConfig, that configuration, and raw data blocks. ID3
 * tags may stand in front of it and behind it. Opening reads a bounded part of the file, from which bitrate
 * and number of frames are estimated; any frame can then be read by its number, counted from 1.
 *
 * All access to the file goes through the caller's six callbacks. Functions return AACF_OK or a negative
 * status. A reader is used by one thread at a time; different readers are independent.
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
  AACF_ERR_SHORT_READ = -1007,      /* the ID3v2 tag is cut off */
  AACF_ERR_NEED_MORE_DATA = -10101, /* no frame found where it was looked for */
  AACF_ERR_END_OF_STREAM = -10102
};

/* Stream kinds, the same as ZD_AAC_DEC_STREAM_. */
enum { AACF_KIND_RAW = 0, AACF_KIND_ADIF = 1, AACF_KIND_ADTS = 2 };

/* Bitrate modes. */
enum {
  AACF_BITRATE_UNKNOWN = 0,
  AACF_BITRATE_VARIABLE = 1, /* as the ADIF header is read */
  AACF_BITRATE_CONSTANT = 2, /* likewise */
  AACF_BITRATE_ESTIMATED = 3
};

typedef struct AACF_File AACF_File;

typedef struct AACF_OpenParams {
  const AACF_FileIo* io; /* copied */
  uint32_t scan_limit;   /* opening walks over frames until it has passed more bytes than this */
} AACF_OpenParams;

typedef struct AACF_StreamInfo {
  uint32_t bitrate_mode;   /* AACF_BITRATE_ */
  uint32_t bitrate;        /* bits per second; a multiple of 8000 when estimated */
  uint32_t total_frames;   /* estimated */
  uint32_t audio_bytes;    /* the file without its tags and its ADIF or raw header */
  uint32_t frames_scanned; /* at open */
  uint32_t bytes_scanned;  /* at open */
} AACF_StreamInfo;

typedef struct AACF_Duration {
  uint32_t duration_ms;
  uint32_t frame_count; /* estimated */
} AACF_Duration;

typedef struct AACF_FrameRequest {
  uint32_t number; /* from 1. Where frames are counted, out: the one reached, when the file ends before */
  uint32_t size;   /* in: capacity of `pcm` in bytes; out: bytes written. The decoder runs one frame behind:
                      the first read after opening or AACF_RefreshConfig gives 0 bytes */
  int16_t* pcm;    /* interleaved channels; room for `outputBytes` of the configuration suffices */
} AACF_FrameRequest;

/*
 * Opens a file. `path` is handed to the open callback, with the mode "rb". On failure *reader is untouched
 * and everything is released.
 */
int32_t AACF_Open(AACF_File** reader, const char16_t* path, const AACF_OpenParams* params) AACF_NOEXCEPT;
int32_t AACF_Close(AACF_File* reader) AACF_NOEXCEPT;

int32_t AACF_GetConfig(const AACF_File* reader, Zd_AAC_Dec_Config* config) AACF_NOEXCEPT;
int32_t AACF_GetStreamInfo(const AACF_File* reader, AACF_StreamInfo* info) AACF_NOEXCEPT;
int32_t AACF_GetDuration(const AACF_File* reader, AACF_Duration* duration) AACF_NOEXCEPT;

/* Restarts the decoder, and updates the derived fields of the reader's configuration. */
int32_t AACF_RefreshConfig(AACF_File* reader) AACF_NOEXCEPT;

/* The frame that is heard at a time. Time 0 is refused. */
int32_t AACF_TimeToFrame(const AACF_File* reader, uint32_t time_ms, uint32_t* number) AACF_NOEXCEPT;
/* The time at which a frame begins. Number 0 is refused; times wrap after 2^32 samples. */
int32_t AACF_FrameToTime(const AACF_File* reader, uint32_t number, uint64_t* time_ms) AACF_NOEXCEPT;

/*
 * Decodes one frame. The one after the last is where the reader stands. Any other is found in an ADTS file by
 * a jump to where it is expected and a search for the next header, in the other kinds by walking over frames.
 * A reader that failed is still good: the next read finds its place again.
 */
int32_t AACF_ReadFrame(AACF_File* reader, AACF_FrameRequest* request) AACF_NOEXCEPT;

/* Copies the texts of the ID3v2.3 tag, else of the ID3v2.2 tag, else leaves an empty record. What is copied
 * is the caller's: `text->release(text)` unless `release` is null. */
int32_t AACF_GetTagText(const AACF_File* reader, ID3P_Text* text) AACF_NOEXCEPT;

#ifdef __cplusplus
}
#endif

#endif
