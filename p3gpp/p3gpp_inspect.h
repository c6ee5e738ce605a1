/*
 * The part of P3GPP that playback does not need: queries for the tags of an open file (3GPP TS 26.244 asset
 * boxes, iTunes-style items, ID3v2), for its hint tracks (ISO/IEC 14496-12, 9.1), and for its boxes in
 * general. Included by p3gpp.h, which opens files; statuses are in p3gpp_common.h.
 *
 * All operations except P3GPP_OpenTraced only read memory and use no stream, so several threads may call them
 * at once. Records are filled in place; pointers in them point into the parser and are valid until
 * P3GPP_Close. Texts are the bytes of the file: UTF-8, or UTF-16 with a byte order mark.
 *
 * Valid as C11 and C++20.
 */
#ifndef ZDR_P3GPP_P3GPP_INSPECT_H
#define ZDR_P3GPP_P3GPP_INSPECT_H

#include <stdint.h>

#include "fmgr/fmgr.h"
#include "p3gpp/p3gpp_common.h"

#ifdef __cplusplus
extern "C" {
#endif

/* A byte string, followed by a NUL that `length` does not count, unless stated otherwise. `bytes` is null
 * when there is none. */
typedef struct P3gppBytes {
  const uint8_t* bytes;
  uint32_t length;
} P3gppBytes;

/* --- Tags of the movie --- */

/* One record per code: if the file has several boxes of a kind, the last one is used. */
enum {
  /* Asset boxes, directly in moov/udta */
  P3GPP_TAG_TITLE = 1,
  P3GPP_TAG_DESCRIPTION = 2,
  P3GPP_TAG_COPYRIGHT = 3,
  P3GPP_TAG_PERFORMER = 4,
  P3GPP_TAG_AUTHOR = 5,
  P3GPP_TAG_GENRE = 6,
  P3GPP_TAG_RATING = 7,         /* u.rating, text: the rating itself */
  P3GPP_TAG_CLASSIFICATION = 8, /* u.classification, text: the class */
  P3GPP_TAG_KEYWORDS = 9,       /* u.keywords, no text */
  P3GPP_TAG_LOCATION = 10,      /* u.location, text: the name of the place; its texts without their NULs */
  P3GPP_TAG_ALBUM = 11,         /* u.album_track; 0 also if the box has none */
  P3GPP_TAG_YEAR = 12,          /* u.year, no text */
  /* Items of moov/udta/meta/ilst */
  P3GPP_TAG_ITEM_NAME = 13,
  P3GPP_TAG_ITEM_COMPILATION = 14, /* raw bytes; one byte 1 means yes */
  P3GPP_TAG_ITEM_ALBUM = 15,
  P3GPP_TAG_ITEM_ARTIST = 16,
  P3GPP_TAG_ITEM_COPYRIGHT = 17,
  P3GPP_TAG_ITEM_WRITER = 18,
  P3GPP_TAG_ITEM_DESCRIPTION = 19,
  P3GPP_TAG_ITEM_ALBUM_ARTIST = 20,
  P3GPP_TAG_ITEM_GENRE = 21,     /* the text of the file, or the name of its numeric genre */
  P3GPP_TAG_ITEM_TRACK = 22,     /* u.position, no text */
  P3GPP_TAG_ITEM_DISC = 23,      /* u.position, no text */
  P3GPP_TAG_ITEM_COVER = 24,     /* text: the bytes of an image, usually JPEG or PNG */
  P3GPP_TAG_ITEM_GRACENOTE = 25, /* free-form item "gnid" */
  P3GPP_TAG_ITEM_DATE = 26,
  P3GPP_TAG_COUNT = 26
};

/* Owned by the caller. Members of `u` that the tag does not have are 0. */
typedef struct P3gppTag {
  uint32_t tag;      /* P3GPP_TAG_ */
  char type[5];      /* of the box or item, NUL-terminated; "gnid" for the free-form item */
  uint32_t size;     /* of the box or item, its header included */
  uint64_t offset;   /* of its first byte in the file */
  uint16_t language; /* asset boxes: ISO 639-2/T, three letters of 5 bits, each minus 0x60; items: 0 */
  P3gppBytes text;
  union {
    struct {
      char entity[5];
      char criteria[5];
    } rating;
    struct {
      uint32_t entity;
      uint16_t table_index;
    } classification;
    struct {
      uint8_t claimed_count;  /* as stored in the box */
      uint32_t count;         /* keywords that the box actually holds */
      const P3gppBytes* list; /* not followed by NULs */
    } keywords;
    struct {
      uint8_t role;
      uint32_t longitude; /* this and the next two: signed 16.16 as stored, degrees and metres */
      uint32_t latitude;
      uint32_t altitude;
      P3gppBytes astronomical_body;
      P3gppBytes notes;
    } location;
    uint8_t album_track;
    uint16_t year;
    struct {
      uint16_t number;
      uint16_t total;
    } position;
  } u;
} P3gppTag;

/* Fills *tag. P3GPP_ERR_NO_TAG if the file has no such tag, P3GPP_ERR_BAD_ARGUMENT for an unknown code. The
 * record is cleared first, here and by the next two queries, even if another argument is invalid. */
int32_t P3GPP_GetTag(P3gppFile* file, uint32_t tag_code, P3gppTag* tag) P3GPP_NOEXCEPT;

/* Location of the ID3v2 tag of a file (moov/meta/ID32). The parser does not read the tag. Owned by the
 * caller. */
typedef struct P3gppId3Location {
  uint8_t language[2]; /* raw */
  uint64_t offset;
  uint64_t size; /* bytes to the end of the box */
} P3gppId3Location;
/* Fills *location. P3GPP_ERR_NO_TAG if there is none. */
int32_t P3GPP_GetId3Location(P3gppFile* file, P3gppId3Location* location) P3GPP_NOEXCEPT;

/* --- Hint tracks --- */

/* Indices into P3gppHintInfo::value. */
enum {
  P3GPP_HINT_TRPY = 0,  /* bytes sent, RTP headers included (64 bits) */
  P3GPP_HINT_TOTL = 1,  /* the same (32 bits) */
  P3GPP_HINT_NUMP = 2,  /* packets sent (64 bits) */
  P3GPP_HINT_NPCK = 3,  /* the same (32 bits) */
  P3GPP_HINT_TPYL = 4,  /* bytes sent, payload only (64 bits) */
  P3GPP_HINT_TPAY = 5,  /* the same (32 bits) */
  P3GPP_HINT_MAXR = 6,  /* length of a period, ms; max_rate_bytes: the most bytes sent in one */
  P3GPP_HINT_DMED = 7,  /* bytes from the media track */
  P3GPP_HINT_DIMM = 8,  /* bytes of immediate data */
  P3GPP_HINT_DREP = 9,  /* bytes of repeated data */
  P3GPP_HINT_TMIN = 10, /* smallest relative transmission time, ms */
  P3GPP_HINT_TMAX = 11, /* largest relative transmission time, ms */
  P3GPP_HINT_PMAX = 12, /* largest packet, bytes, RTP header included */
  P3GPP_HINT_DMAX = 13, /* longest packet, ms */
  P3GPP_HINT_PAYT = 14, /* not a number: payload_type */
  P3GPP_HINT_COUNT = 15
};

/* Owned by the caller. */
typedef struct P3gppHintInfo {
  P3gppBytes sdp;                   /* SDP fragment of the track, null if it has none */
  uint32_t present;                 /* bit 1 << P3GPP_HINT_: the box exists */
  uint64_t value[P3GPP_HINT_COUNT]; /* 0 if the box is missing */
  uint32_t max_rate_bytes;          /* of maxr */
  P3gppBytes payload_type;          /* body of payt: payload number, count, rtpmap string */
} P3gppHintInfo;
/* Fills *info from the user data of a track of any type. P3GPP_ERR_NO_TRACK for an unknown ID,
 * P3GPP_ERR_NO_TAG if the track has neither SDP nor statistics. */
int32_t P3GPP_GetHintInfo(P3gppFile* file, uint32_t track_id, P3gppHintInfo* info) P3GPP_NOEXCEPT;

/* --- Boxes --- */

enum {
  P3GPP_FIELD_NUMBER = 0,
  P3GPP_FIELD_TYPE = 1,     /* four characters in `bytes` */
  P3GPP_FIELD_TEXT = 2,     /* in `bytes`, not necessarily valid in any encoding */
  P3GPP_FIELD_BYTES = 3,    /* in `bytes` */
  P3GPP_FIELD_FIXED = 4,    /* signed 16.16 in the low 32 bits of `number` */
  P3GPP_FIELD_LANGUAGE = 5, /* packed in `number`, as in P3gppTag */
  P3GPP_FIELD_SIGNED = 6    /* two's complement in `number` */
};

typedef struct P3gppBoxField {
  const char* name; /* lower case with underscores; valid as long as the program */
  uint32_t entry;   /* 1-based number of the list entry that has the field; 0: a field of the box itself */
  int32_t kind;     /* P3GPP_FIELD_ */
  uint64_t number;  /* 0 for texts and bytes */
  P3gppBytes bytes; /* not followed by a NUL */
} P3gppBoxField;

/* What the parser did with a box. */
enum {
  P3GPP_BOX_READ = 0,    /* parsed; the parser may have failed */
  P3GPP_BOX_SKIPPED = 1, /* unknown in its container, or not needed */
  P3GPP_BOX_REFUSED = 2  /* its header is invalid */
};

typedef struct P3gppBox {
  const char* path; /* as in P3gppOpenError */
  char type[5];
  uint8_t version; /* of a full box that was read, else 0; the same for flags */
  uint32_t flags;
  uint64_t size; /* as in its header; 1 for a box in the 64-bit form that was read */
  uint64_t offset;
  int32_t disposition; /* P3GPP_BOX_; in P3GPP_WalkBoxes always P3GPP_BOX_READ with status 0 */
  int32_t status;
} P3gppBox;

/* The arguments of both functions, other than names, are valid during the call only. `field` may be null.
 * Neither may throw, or call P3GPP on the file being shown. */
typedef struct P3gppBoxVisitor {
  void* caller;
  void (*box)(void* caller, const P3gppBox* box);
  void (*field)(void* caller, const P3gppBoxField* field); /* after the box it belongs to */
} P3gppBoxVisitor;

/* Shows every stored box, parents first: ftyp, moof and moov, and the children of each in slot order. */
int32_t P3GPP_WalkBoxes(P3gppFile* file, const P3gppBoxVisitor* visitor) P3GPP_NOEXCEPT;

/*
 * Does what P3GPP_OpenExplained does, and shows every box as soon as it has been read, skipped or refused,
 * whether the open fails or not. Children are shown before their parents, including those inside a failed
 * box. Only boxes that were read successfully have fields. A box that was read is not necessarily stored: a
 * later one may replace it, and values of an unexpected shape are dropped. P3GPP_WalkBoxes shows what was
 * stored.
 */
int32_t P3GPP_OpenTraced(P3gppFile** file, const FMGR_Descriptor* descriptor, FMGR_Context* context,
                         P3gppOpenError* error, const P3gppBoxVisitor* visitor) P3GPP_NOEXCEPT;

#ifdef __cplusplus
}
#endif

#endif
