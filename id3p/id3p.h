/*
 * ID3P: reads the ID3 tags of an AAC file (id3.org: "ID3v1", "ID3 tag version 2", "ID3 tag version 2.3.0",
 * "ID3 tag version 2.4.0"): an ID3v1 tag in the last 128 bytes, and an ID3v2 tag of version 2.2, 2.3 or 2.4
 * at the start. Versions 2.2 and 2.3 deliver their text frames, 2.3 also its attached picture. A 2.4 tag is
 * measured and skipped.
 *
 * Text is delivered as UTF-16; single-byte text is read as windows-1252, the ANSI code page. Deviations from
 * the format's documents are listed in docs/kept-behaviours.md.
 *
 * Threads: the library keeps no state except the writer of ID3P_SetConsole. One thread at a time uses a file
 * handle.
 * Valid as C11 and C++20.
 */
#ifndef ZDR_ID3P_ID3P_H
#define ZDR_ID3P_ID3P_H

#include <stdint.h>

#include "id3p/file_io.h"

#ifdef __cplusplus
#define ID3P_NOEXCEPT noexcept
extern "C" {
#else
#define ID3P_NOEXCEPT
#endif

enum {
  ID3P_OK = 0,
  ID3P_ERR_FAILED =
      -1, /* null argument, failed seek, flags that an ID3v2.3 tag must not have, no picture memory */
  ID3P_ERR_NO_MEMORY = -2,
  ID3P_ERR_SHORT_READ = -1007 /* the ID3v2 tag is truncated */
};

/* Picture formats. */
enum { ID3P_PICTURE_JPEG = 0, ID3P_PICTURE_GIF = 1, ID3P_PICTURE_PNG = 2 };

/* An attached picture of an ID3v2.3 tag. Its first fields repeat the start of the frame body. */
typedef struct ID3P_Picture {
  uint8_t* head;          /* the first four bytes of the frame body */
  uint8_t* text_encoding; /* one byte: the body's byte at offset 4 */
  char* mime_type;        /* "image/png", "image/jpeg", or seven bytes that are neither */
  uint8_t* picture_type;  /* one byte */
  uint8_t* description;   /* the bytes from the picture type to the image; null if empty */
  uint8_t* data;          /* the image */
  uint32_t format;        /* an ID3P_PICTURE_ format; 0 also without an image */
  uint32_t data_length;   /* bytes of the image, 0 if none was found */
} ID3P_Picture;

/* The texts of a tag: null if absent, else zero-terminated and owned by the record. */
typedef struct ID3P_Text {
  char16_t* title;
  char16_t* artist;
  char16_t* album;
  char16_t* year;
  char16_t* comment;
  char16_t* genre; /* as stored: numbers are not translated to names */
  char16_t* track;
  char16_t* length;
  char16_t* composer;
  char16_t* original_artist;
  char16_t* user_url; /* the description of a user URL frame */
  void* unused[3];    /* always null */
  ID3P_Picture* picture;
  /* ID3P_FreeTag: releases what the record holds, not the record. Null in an empty record. */
  void (*release)(struct ID3P_Text* text);
} ID3P_Text;

/* A tag of version 1, 2.2 or 2.3. */
typedef struct ID3P_Tag {
  ID3P_Text text;
  uint32_t size; /* bytes of the tag in the file: 128, or header plus body */
} ID3P_Tag;

/* A tag of version 2.4. */
typedef struct ID3P_V24Info {
  uint32_t size;  /* bytes of header and body; a footer is not counted */
  uint8_t footer; /* 0x10 when the header announces a footer, else 0 */
} ID3P_V24Info;

/* The tags of a file, null if absent. At most one of the ID3v2 tags is present. */
typedef struct ID3P_TagSet {
  ID3P_Tag* v1;
  ID3P_Tag* v22;
  ID3P_Tag* v23;
  ID3P_V24Info* v24;
} ID3P_TagSet;

/*
 * Reads the tags of an open file into `tags`, which is overwritten. Afterwards the file position is at the
 * end of the ID3v2 tag, or at offset 10 when there is none.
 *
 * The caller releases `tags` with ID3P_FreeTags, also after a failure: it holds what was read before.
 */
int32_t ID3P_Parse(void* handle, const AACF_FileIo* io, ID3P_TagSet* tags) ID3P_NOEXCEPT;

/* Releases the texts and the picture of a tag, and clears their fields. */
void ID3P_FreeTag(ID3P_Text* text) ID3P_NOEXCEPT;

/* Releases all tags of a set and clears it. */
void ID3P_FreeTags(ID3P_TagSet* tags) ID3P_NOEXCEPT;

/* Returns the bytes of all tags of a set in the file, modulo 2^32. */
uint32_t ID3P_TotalTagBytes(const ID3P_TagSet* tags) ID3P_NOEXCEPT;

/*
 * Copies the texts of a tag, not its picture, to `destination`, which the caller has zeroed: fields without a
 * text are not written. The caller releases the copies with `destination->release`, also after
 * ID3P_ERR_NO_MEMORY.
 */
int32_t ID3P_CopyText(ID3P_Text* destination, const ID3P_Tag* tag) ID3P_NOEXCEPT;

/*
 * Sets the function that receives the parser's few messages about pictures; null restores the default, the
 * standard error. The setting holds for all threads, and any of them may call the writer.
 */
typedef void (*ID3P_ConsoleWriter)(const char* text);
void ID3P_SetConsole(ID3P_ConsoleWriter writer) ID3P_NOEXCEPT;

#ifdef __cplusplus
}
#endif

#endif
