/*
 * The part of P3GPP that playing does not need: what an open file keeps of its tags (3GPP TS 26.244 asset
 * boxes, iTunes-style items, ID3v2), of its hint tracks (ISO/IEC 14496-12, 9.1), and of its boxes at large.
 * Included by p3gpp.h; statuses and rules are told there.
 *
 * All of it is read-only and touches no stream, so it may be asked from several threads at once. Pointers
 * handed out lead into the parser and are valid until P3GPP_Close. Texts are the bytes of the file: UTF-8, or
 * UTF-16 with a byte order mark. Valid as C11 and C++20.
 */
#ifndef ZDR_P3GPP_P3GPP_INSPECT_H
#define ZDR_P3GPP_P3GPP_INSPECT_H

#include <stdint.h>

#include "p3gpp/p3gpp.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Behind the last byte stands a NUL that does not count, except where told. Null when there are none. */
typedef struct P3gppBytes {
  const uint8_t* bytes;
  uint32_t length;
} P3gppBytes;

/* ---- Tags of the movie ------------------------------------------------------------------------------ */

/* One record a code: a later box of a kind has replaced the earlier. */
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
  P3GPP_TAG_ALBUM = 11,         /* u.album_track; 0 also where the box has none */
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

/* Caller-owned. Members of `u` that the tag does not have are 0. */
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
      uint8_t claimed_count;  /* as the box has it */
      uint32_t count;         /* keywords that the box really holds */
      const P3gppBytes* list; /* without NULs behind */
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

/* P3GPP_ERR_NO_TAG when the file has none with this code; P3GPP_ERR_BAD_ARGUMENT for a code that is none. The
 * record is cleared first, here and by the next two, also when another argument is bad. */
int32_t P3GPP_GetTag(P3gppFile* file, uint32_t tag_code, P3gppTag* tag) P3GPP_NOEXCEPT;

/* Where an ID3v2 tag stands in the file (moov/meta/ID32). It is not read by the parser. */
typedef struct P3gppId3Location {
  uint8_t language[2]; /* raw */
  uint64_t offset;
  uint64_t size; /* bytes to the end of the box */
} P3gppId3Location;
/* P3GPP_ERR_NO_TAG when there is none. */
int32_t P3GPP_GetId3Location(P3gppFile* file, P3gppId3Location* location) P3GPP_NOEXCEPT;

/* ---- Hint tracks ------------------------------------------------------------------------------------ */

/* Indices into P3gppHintInfo::value. */
enum {
  P3GPP_HINT_TRPY = 0,  /* bytes sent, RTP headers included (64 bits) */
  P3GPP_HINT_TOTL = 1,  /* the same (32 bits) */
  P3GPP_HINT_NUMP = 2,  /* packets sent (64 bits) */
  P3GPP_HINT_NPCK = 3,  /* the same (32 bits) */
  P3GPP_HINT_TPYL = 4,  /* bytes sent, payload only (64 bits) */
  P3GPP_HINT_TPAY = 5,  /* the same (32 bits) */
  P3GPP_HINT_MAXR = 6,  /* length of a period, ms; the most bytes sent in one: max_rate_bytes */
  P3GPP_HINT_DMED = 7,  /* bytes from the media track */
  P3GPP_HINT_DIMM = 8,  /* bytes of immediate data */
  P3GPP_HINT_DREP = 9,  /* bytes of repeated data */
  P3GPP_HINT_TMIN = 10, /* smallest relative transmission time, ms */
  P3GPP_HINT_TMAX = 11, /* largest relative transmission time, ms */
  P3GPP_HINT_PMAX = 12, /* largest packet, bytes, RTP header included */
  P3GPP_HINT_DMAX = 13, /* longest packet, ms */
  P3GPP_HINT_PAYT = 14, /* no number: payload_type */
  P3GPP_HINT_COUNT = 15
};

/* Caller-owned. */
typedef struct P3gppHintInfo {
  P3gppBytes sdp;                   /* SDP fragment of the track, null when it has none */
  uint32_t present;                 /* bit 1 << P3GPP_HINT_: the box is there */
  uint64_t value[P3GPP_HINT_COUNT]; /* 0 where the box is missing */
  uint32_t max_rate_bytes;          /* of maxr */
  P3gppBytes payload_type;          /* body of payt: payload number, count, rtpmap string */
} P3gppHintInfo;
/* From the user data of any track. P3GPP_ERR_NO_TAG when it has neither SDP nor statistics. */
int32_t P3GPP_GetHintInfo(P3gppFile* file, uint32_t track_id, P3gppHintInfo* info) P3GPP_NOEXCEPT;

/* ---- Boxes ------------------------------------------------------------------------------------------ */

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
  const char* name; /* lower case with underscores */
  uint32_t entry;   /* of a list of entries in the box the 1-based number; 0: a field of the box itself */
  int32_t kind;     /* P3GPP_FIELD_ */
  uint64_t number;
  P3gppBytes bytes; /* without a NUL behind */
} P3gppBoxField;

/* What became of a box. */
enum {
  P3GPP_BOX_READ = 0,    /* by its parser, which may have failed */
  P3GPP_BOX_SKIPPED = 1, /* not known here, or not wanted */
  P3GPP_BOX_REFUSED = 2  /* its header cannot be right */
};

typedef struct P3gppBox {
  const char* path; /* as in P3gppOpenError */
  char type[5];
  uint8_t version; /* of a full box that was read, else 0; so flags */
  uint32_t flags;
  uint64_t size; /* as its header tells; 1 for a box in the 64-bit form that was read */
  uint64_t offset;
  int32_t disposition; /* P3GPP_BOX_; in P3GPP_WalkBoxes always P3GPP_BOX_READ with status 0 */
  int32_t status;
} P3gppBox;

/* What is handed to both is valid during the call only. `field` may be null. Neither may throw, nor use the
 * file that is shown. */
typedef struct P3gppBoxVisitor {
  void* caller;
  void (*box)(void* caller, const P3gppBox* box);
  void (*field)(void* caller, const P3gppBoxField* field); /* after the box it belongs to */
} P3gppBoxVisitor;

/* Every kept box, parents first: at the top ftyp, moof, moov, below them in the order of their slots. */
int32_t P3GPP_WalkBoxes(P3gppFile* file, const P3gppBoxVisitor* visitor) P3GPP_NOEXCEPT;

/*
 * P3GPP_OpenExplained that shows every box as soon as its fate is known, whether the open fails or not: those
 * that were read (children before their parents, those inside a failed one included), skipped and refused.
 * Only what was read with success has fields. A box that was read need not be kept: a later one may replace
 * it, and values of an odd shape are dropped. P3GPP_WalkBoxes tells which are.
 */
int32_t P3GPP_OpenTraced(P3gppFile** file, const FMGR_Descriptor* descriptor, FMGR_Context* context,
                         P3gppOpenError* error, const P3gppBoxVisitor* visitor) P3GPP_NOEXCEPT;

#ifdef __cplusplus
}
#endif

#endif
