/*
 * P3GPP: parser for ISO base media files of the 3GPP/MP4 family (ISO/IEC 14496-12 and -14, 3GPP TS 26.244,
 * 3GPP2 C.S0050). P3GPP_Open reads the box tree once; the sample tables stay in the file and are looked up
 * through small caches, so memory does not grow with the number of samples.
 *
 * Use: FMGR_Init, P3GPP_Open, the queries, P3GPP_OpenTrack for each track to be read, P3GPP_ReadSample and
 * the lookups, P3GPP_CloseTrack, P3GPP_Close, FMGR_Deinit.
 *
 * Errors: every operation returns 0 or a negative P3GPP_ERR_ code (p3gpp_common.h). Unless stated otherwise a
 * null pointer is P3GPP_ERR_BAD_ARGUMENT, and any operation that allocates may return P3GPP_ERR_NO_MEMORY.
 *
 * Units: sample numbers are 1-based; media times are in the track's own time scale, 32-bit.
 *
 * Ownership: handles belong to the parser. Records are filled in place, or allocated by the parser and freed
 * through their own `release` field; each says which.
 *
 * Threads: the library uses no locks. Different tracks may be used from different threads; calls on one track
 * must not overlap, since its handle carries cursors and caches. No call may overlap P3GPP_Close. A lookup
 * may depend on the lookups before it (docs/kept-behaviours.md).
 *
 * Tags, hint information and boxes are inspected through p3gpp_inspect.h, which this header includes.
 *
 * Valid as C11 and C++20.
 */
#ifndef ZDR_P3GPP_P3GPP_H
#define ZDR_P3GPP_P3GPP_H

#include <stdint.h>

#include "fmgr/fmgr.h"
#include "p3gpp/p3gpp_common.h"
#include "p3gpp/p3gpp_inspect.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Track type codes, from the handler type of the track. */
enum {
  P3GPP_TRACK_VIDEO = 0,             /* "vide" */
  P3GPP_TRACK_AUDIO = 1,             /* "soun" */
  P3GPP_TRACK_HINT = 2,              /* "hint" */
  P3GPP_TRACK_SCENE_DESCRIPTION = 3, /* "sdsm" */
  P3GPP_TRACK_OBJECT_DESCRIPTOR = 4, /* "odsm" */
  P3GPP_TRACK_TEXT = 5,              /* "text" */
  P3GPP_TRACK_METADATA = 11          /* "meta" */
};

/* P3gppDecoderInfo::object_type, which identifies a codec: for kind 1 the value of esds, otherwise our own
 * codes. */
enum {
  P3GPP_OTI_MPEG4_VISUAL = 0x20,
  P3GPP_OTI_AAC = 0x40,
  P3GPP_OTI_MPEG2_AAC_LC = 0x67,
  P3GPP_OTI_AVC = 0x7F,
  P3GPP_OTI_AMR = 0xC0,
  P3GPP_OTI_AMR_WB = 0xC1,
  P3GPP_OTI_H263 = 0xC2,
  P3GPP_OTI_EVRC = 0xE0,
  P3GPP_OTI_QCELP = 0xE1,
  P3GPP_OTI_SMV = 0xE2,
  P3GPP_OTI_AMR_WB_PLUS = 0xE3,
  P3GPP_OTI_EVRC_B = 0xE4,
  P3GPP_OTI_EVRC_WB = 0xE5,
  P3GPP_OTI_VMR = 0xE6,
  P3GPP_OTI_TEXT = 0xE7,
  P3GPP_OTI_EAC3 = 0xFC,
  P3GPP_OTI_AC3 = 0xFD,
  P3GPP_OTI_MP3 = 0xFE
};

/* P3gppDecoderInfo::kind: which member of `u` is filled. */
enum {
  P3GPP_KIND_NONE = 0,
  P3GPP_KIND_SYSTEMS = 1, /* MPEG-4 systems description (esds) */
  P3GPP_KIND_CODEC = 2,   /* video or speech codec with its own configuration box */
  P3GPP_KIND_SPEECH_3GPP2 = 3,
  P3GPP_KIND_COMPRESSED_AUDIO = 4
};

typedef struct P3gppTrack P3gppTrack; /* an open track; valid from P3GPP_OpenTrack to P3GPP_CloseTrack */

/* Owned by the caller. Creation and modification times count seconds since 1904-01-01 00:00 UTC. For 64-bit
 * times of a file the high half is reported (docs/kept-behaviours.md). */
typedef struct P3gppMovieInfo {
  uint32_t creation_time;
  uint32_t modification_time;
  uint32_t time_scale;
  uint32_t duration; /* movie time scale */
  uint8_t* iods;     /* bytes of the iods body after version and flags, or null; owned by the record */
  uint32_t iods_length;
  void (*release)(
      struct P3gppMovieInfo* info); /* frees the bytes and clears the record; may be called again */
} P3gppMovieInfo;

/* Owned by the caller. Text tracks and unknown handlers are not counted, not even in the total. */
typedef struct P3gppTrackCounts {
  uint32_t total;
  uint32_t video;
  uint32_t audio;
  uint32_t metadata;
  uint32_t hint;
  uint32_t object_descriptor;
  uint32_t scene_description;
} P3gppTrackCounts;

/* Allocated by the parser, freed by its `release`. Times as in P3gppMovieInfo. */
typedef struct P3gppTrackInfo {
  void (*release)(struct P3gppTrackInfo* info);
  uint32_t track_duration; /* movie time scale */
  uint32_t media_duration; /* media time scale */
  uint32_t time_scale;     /* media units per second */
  uint32_t creation_time;
  uint32_t modification_time;
  uint32_t sample_count;
  uint32_t track_type; /* P3GPP_TRACK_ */
} P3gppTrackInfo;

/* Descriptors of ISO/IEC 14496-1: ES, DecoderConfig, DecoderSpecificInfo, SLConfig. Bitrates in bit/s. */
typedef struct P3gppSystemsInfo {
  uint16_t es_id;
  uint8_t stream_type;    /* 4 visual, 5 audio */
  uint16_t width;         /* mp4v */
  uint16_t height;        /* mp4v */
  uint16_t channel_count; /* mp4a */
  uint16_t sample_rate;   /* mp4a, Hz, 16 bits as in the file */
  uint32_t max_bitrate;
  uint32_t average_bitrate;
  uint32_t decoder_specific_info_length;
  uint8_t* decoder_specific_info; /* owned by the record */
  uint32_t sl_config_length;
  uint8_t* sl_config; /* owned by the record */
} P3gppSystemsInfo;

/* The codec boxes of 3GPP TS 26.244, clause 6 (damr, dawp, d263), and of 3GPP2 C.S0050 (dvmr, dqcp, devc):
 * `vendor` is four characters, the first in the high byte; bit n of a mode set is mode n. */
typedef struct P3gppAmrInfo {
  uint32_t vendor;
  uint8_t decoder_version;
  uint16_t mode_set;
  uint8_t mode_change_period;
  uint8_t frames_per_sample;
} P3gppAmrInfo;

typedef struct P3gppAmrWbPlusInfo {
  uint16_t sample_rate; /* Hz, of the sample entry */
  uint32_t vendor;
  uint8_t decoder_version;
} P3gppAmrWbPlusInfo;

typedef struct P3gppVmrInfo {
  uint32_t vendor;
  uint8_t decoder_version;
  uint16_t mode_set;
  uint32_t sample_rate; /* Hz */
  uint8_t frames_per_sample;
} P3gppVmrInfo;

typedef struct P3gppH263Info {
  uint32_t vendor;
  uint8_t decoder_version;
  uint8_t level;
  uint8_t profile;
  uint16_t width; /* pixels */
  uint16_t height;
  uint32_t average_bitrate; /* bit/s; 0 without a bitr box */
  uint32_t max_bitrate;
} P3gppH263Info;

/* The configuration record of ISO/IEC 14496-15 (avcC). The lists are runs of (16-bit big-endian length, NAL
 * unit) and point into the parser: valid until P3GPP_Close. */
typedef struct P3gppAvcInfo {
  uint8_t profile;
  uint8_t profile_compatibility;
  uint8_t level;
  uint16_t nal_length_size_minus_one;
  uint16_t width;
  uint16_t height;
  uint16_t sps_count;
  const uint8_t* sps_list;
  uint16_t sps_list_length; /* bytes, length prefixes included; modulo 65536 */
  uint16_t pps_count;
  const uint8_t* pps_list;
  uint16_t pps_list_length;
} P3gppAvcInfo;

typedef struct P3gppSpeech3gpp2Info {
  uint32_t vendor;
  uint8_t decoder_version;
  uint8_t frames_per_sample;
} P3gppSpeech3gpp2Info;

/* Sample entry, and the dac3 box of ETSI TS 102 366, annex F, field by field. */
typedef struct P3gppAc3Info {
  uint16_t data_reference_index;
  uint16_t channel_count;
  uint16_t sample_size; /* bits */
  uint16_t sample_rate; /* Hz */
  uint16_t bit_rate_kbps;
  uint8_t fscod;
  uint8_t bsid;
  uint8_t bsmod;
  uint8_t acmod;
  uint8_t lfeon;
  uint8_t bit_rate_code;
} P3gppAc3Info;

typedef struct P3gppEac3Substream {
  uint8_t fscod;
  uint8_t bsid;
  uint8_t bsmod; /* the five bits after bsid as one value */
  uint8_t acmod;
  uint8_t lfeon;
  uint8_t num_dep_sub;
  uint16_t channel_location; /* 9 bits */
} P3gppEac3Substream;

/* Sample entry, and the dec3 box of the same document. */
typedef struct P3gppEac3Info {
  uint16_t data_reference_index;
  uint16_t channel_count;
  uint16_t sample_size;                 /* bits */
  uint16_t sample_rate;                 /* Hz */
  uint16_t data_rate;                   /* kbit/s */
  uint8_t independent_substreams;       /* field as stored: count - 1 */
  const P3gppEac3Substream* substreams; /* owned by the parser until P3GPP_Close; null without a dec3 */
} P3gppEac3Info;

typedef struct P3gppMp3Info {
  uint16_t channel_count;
  uint16_t sample_rate;
} P3gppMp3Info;

/* Allocated by the parser, freed by its `release`. Fields of members that are not filled are 0. */
typedef struct P3gppDecoderInfo {
  uint8_t kind;        /* P3GPP_KIND_ */
  uint8_t object_type; /* P3GPP_OTI_ or any ObjectTypeIndication */
  union {
    P3gppSystemsInfo systems;       /* kind 1 */
    P3gppAmrInfo amr;               /* kind 2: samr, sawb */
    P3gppAmrWbPlusInfo amr_wb_plus; /* kind 2: sawp */
    P3gppVmrInfo vmr;               /* kind 2: svmr */
    P3gppH263Info h263;             /* kind 2: s263, H263, h263 */
    P3gppAvcInfo avc;               /* kind 2: avc1 */
    P3gppSpeech3gpp2Info speech;    /* kind 3 */
    P3gppAc3Info ac3;               /* kind 4: ac-3 */
    P3gppEac3Info eac3;             /* kind 4: ec-3 */
    P3gppMp3Info mp3;               /* kind 4: .mp3 */
  } u;
  void (*release)(struct P3gppDecoderInfo* info);
} P3gppDecoderInfo;

/* Request and result of P3GPP_ReadSample, owned by the caller. */
typedef struct P3gppSample {
  uint32_t number;        /* in: 1-based */
  uint32_t size;          /* out: bytes */
  uint32_t decoding_time; /* out: media time scale, edit shift added; for a sample that stts does not reach,
                             the earlier value of this field plus the shift */
  uint32_t composition_time; /* out: media time scale, without the edit shift; for a sample that ctts does not
                                reach, the earlier value of this field plus the decoding time */
  uint8_t* buffer;           /* in: at least `size` bytes, or null for the location only */
  uint32_t reserved;         /* for the caller; not used by the parser */
  uint64_t file_offset;      /* out: of the sample's first byte */
  uint32_t description_index; /* out: 1-based into stsd */
} P3gppSample;

/* P3GPP_FindSyncSample's direction. */
enum { P3GPP_SYNC_BACKWARD = 0, P3GPP_SYNC_FORWARD = 1 };

/* --- Files --- */

/*
 * Opens a file and reads its box tree. *file then belongs to the caller until P3GPP_Close; it is null after a
 * failure. The parser stores the pointers `descriptor` and `context`: both must outlive the file handle,
 * since P3GPP_OpenTrack opens the file again with them. The file is not held open between calls. Returns
 * P3GPP_ERR_OPEN, P3GPP_ERR_NO_MOOV, or the status of the first damaged box.
 */
int32_t P3GPP_Open(P3gppFile** file, const FMGR_Descriptor* descriptor, FMGR_Context* context) P3GPP_NOEXCEPT;
/* The same, and reports in *error where the open failed. `error` may be null; it is cleared first. */
int32_t P3GPP_OpenExplained(P3gppFile** file, const FMGR_Descriptor* descriptor, FMGR_Context* context,
                            P3gppOpenError* error) P3GPP_NOEXCEPT;
/* Closes the file and its open tracks. Every handle of the file and every pointer into the parser becomes
 * invalid. */
int32_t P3GPP_Close(P3gppFile* file) P3GPP_NOEXCEPT;

/* --- Queries on an open file, which need no open track and read nothing from the file --- */

/* Fills *info; info->release is set even on failure. P3GPP_ERR_NO_MOOV_PAYLOAD without a movie header,
 * P3GPP_ERR_NO_IODS_BYTES for an empty object descriptor. */
int32_t P3GPP_GetMovieInfo(P3gppFile* file, P3gppMovieInfo* info) P3GPP_NOEXCEPT;
/* Counts the tracks by handler type. *counts is cleared first. */
int32_t P3GPP_GetTrackCounts(P3gppFile* file, P3gppTrackCounts* counts) P3GPP_NOEXCEPT;
/*
 * Writes the IDs of the tracks of one type (P3GPP_TRACK_) to `ids`, in file order, and their number to
 * *count. `ids` must have room for as many entries as P3GPP_GetTrackCounts reports for the type. Text tracks
 * are not counted: for them, provide room for as many as the file may contain.
 */
int32_t P3GPP_GetTrackIds(P3gppFile* file, uint32_t type, uint32_t* ids, uint32_t* count) P3GPP_NOEXCEPT;
/* Allocates *info, which is null after a failure. P3GPP_ERR_NO_TRACK for an unknown ID, the status of the
 * first missing box, P3GPP_ERR_UNKNOWN_HANDLER for a handler type without a P3GPP_TRACK_ code. */
int32_t P3GPP_GetTrackInfo(P3gppFile* file, uint32_t track_id, P3gppTrackInfo** info) P3GPP_NOEXCEPT;
/* Allocates *info. `description_index` is 1-based into stsd. A record that is not null after a failure must
 * be released too. P3GPP_ERR_NO_TABLE for an index that stsd does not have or an entry of unknown type. */
int32_t P3GPP_GetDecoderInfo(P3gppFile* file, uint32_t track_id, P3gppDecoderInfo** info,
                             uint32_t description_index) P3GPP_NOEXCEPT;

/* --- Open tracks --- */

/*
 * Opens a track for reading: two streams, and a cache for each sample table. `cache_budget` is in bytes for
 * all caches together; less than 1024 counts as 1024, 0 is refused. *track is null after a failure. Opening
 * an open track closes it first and yields the same handle, so there is one handle per track.
 */
int32_t P3GPP_OpenTrack(P3gppFile* file, P3gppTrack** track, uint32_t track_id,
                        uint32_t cache_budget) P3GPP_NOEXCEPT;
/* Frees the streams and caches. P3GPP_OpenTrack may open the track again; until then the operations below,
 * and a second close, return P3GPP_ERR_GENERIC. */
int32_t P3GPP_CloseTrack(P3gppTrack* track) P3GPP_NOEXCEPT;

/*
 * The operations below need an open track. Each may read tables and return P3GPP_ERR_READ or P3GPP_ERR_SEEK;
 * P3GPP_ERR_NO_TABLE without the tables that it needs; P3GPP_ERR_OUT_OF_RANGE for a sample number of 0 or
 * above the sample count, unless stated otherwise.
 */

/* The largest sample size in bytes, as the size table claims, which may be more than the file holds. Reads
 * the whole table. */
int32_t P3GPP_GetMaxSampleSize(P3gppTrack* track, uint32_t* size) P3GPP_NOEXCEPT;
/* The sizes of all samples together, in bytes, as the size table claims. Reads the whole table. */
int32_t P3GPP_GetTotalSampleSize(P3gppTrack* track, uint64_t* bytes) P3GPP_NOEXCEPT;
/* The average bitrate. Reads the whole size table. Every failure, and a track shorter than a second, is
 * P3GPP_ERR_GENERIC with a result of 0. */
int32_t P3GPP_GetBitrate(P3gppTrack* track, float* bits_per_second) P3GPP_NOEXCEPT;
/*
 * Locates sample->number and reads it into sample->buffer: one seek and one read on the track's own stream,
 * or neither for a null buffer or an empty sample. P3GPP_ERR_READ if the file ends inside the sample; the
 * output fields are then filled anyway.
 */
int32_t P3GPP_ReadSample(P3gppTrack* track, P3gppSample* sample) P3GPP_NOEXCEPT;
/* The same for a buffer of `capacity` bytes. A larger sample is located but not read: P3GPP_ERR_READ. */
int32_t P3GPP_ReadSampleBounded(P3gppTrack* track, P3gppSample* sample, uint32_t capacity) P3GPP_NOEXCEPT;
/*
 * Locates `count` samples, for walks over many: samples[0].number and those that follow it. Fills the records
 * as calls of P3GPP_ReadSample without a buffer would, made one after the other with the first record. After
 * a failure *located is the number of records that were filled before it. P3GPP_ERR_BAD_ARGUMENT if `count`
 * is 0.
 */
int32_t P3GPP_LocateSamples(P3gppTrack* track, P3gppSample* samples, uint32_t count,
                            uint32_t* located) P3GPP_NOEXCEPT;
/* The two times of a sample; input and output as in P3gppSample. */
int32_t P3GPP_GetSampleTime(P3gppTrack* track, uint32_t number, uint32_t* decoding_time,
                            uint32_t* composition_time) P3GPP_NOEXCEPT;
/*
 * Finds a sample by the media time in *time, without edit shift: sets *number, and *time to the decoding time
 * of that sample. The sample is the one that holds the time or the one before it, depending on earlier
 * lookups (docs/sample-lookup.md). The number is not checked against the sample count.
 */
int32_t P3GPP_TimeToSample(P3gppTrack* track, uint32_t* time, uint32_t* number) P3GPP_NOEXCEPT;
/* Replaces *number with the number of a sync sample in `direction`: P3GPP_SYNC_FORWARD, or backward for any
 * other value. P3GPP_ERR_NO_SYNC_SAMPLE if there is none in that direction. */
int32_t P3GPP_FindSyncSample(P3gppTrack* track, uint32_t* number, int32_t direction) P3GPP_NOEXCEPT;
/* Sets *is_sync to 1 or 0; a number above the sample count yields 0. P3GPP_ERR_BAD_ARGUMENT for sample
 * number 0. */
int32_t P3GPP_IsSyncSample(P3gppTrack* track, uint32_t number, int32_t* is_sync) P3GPP_NOEXCEPT;
/* Sets *count to the sample count if the track has no table of sync samples, so that every sample is one;
 * else to 0. */
int32_t P3GPP_GetAllSyncCount(P3gppTrack* track, uint32_t* count) P3GPP_NOEXCEPT;

#ifdef __cplusplus
}
#endif

#endif
