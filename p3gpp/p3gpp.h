/*
 * P3GPP: parser for ISO base media files of the 3GPP/MP4 family (ISO/IEC 14496-12 and -14, 3GPP TS 26.244,
 * 3GPP2 C.S0050). The box tree is read once at open; the sample tables stay in the file and are looked up
 * through small caches, so memory does not grow with the number of samples.
 *
 * Use: FMGR_Init, P3GPP_Open, the queries, P3GPP_OpenTrack for each track to be read, P3GPP_ReadSample and
 * the lookups, P3GPP_CloseTrack, P3GPP_Close, FMGR_Deinit.
 *
 * Every operation returns 0 or a negative P3GPP_ERR_ code. Sample numbers are 1-based; media times are in the
 * track's own time scale, 32-bit.
 * Threads: the library takes no lock. Different tracks may be used from different threads; calls on one track
 * must not overlap, since the track handle carries cursors and caches. A result of a lookup may depend on the
 * lookups before it (docs/kept-behaviours.md).
 *
 * Tags, hint information and the boxes themselves are told by p3gpp_inspect.h, which comes with this header.
 *
 * Valid as C11 and C++20.
 */
#ifndef ZDR_P3GPP_P3GPP_H
#define ZDR_P3GPP_P3GPP_H

#include <stdint.h>

#include "fmgr/fmgr.h"

#ifdef __cplusplus
#define P3GPP_NOEXCEPT noexcept
extern "C" {
#else
#define P3GPP_NOEXCEPT
#endif

enum {
  P3GPP_OK = 0,
  P3GPP_ERR_GENERIC = -6001, /* null stream; entry without esds; any failure of P3GPP_GetBitrate; udta/meta */
  P3GPP_ERR_NO_MEMORY = -6002,
  P3GPP_ERR_NO_SYNC_SAMPLE = -6003, /* no sync sample in the asked direction */
  P3GPP_ERR_RTP_ENTRY = -6005,      /* sample entry of type "rtp " */
  P3GPP_ERR_OUT_OF_RANGE = -6008,   /* sample number 0 or past the end; a time that overflows 32 bits */
  P3GPP_ERR_BAD_ARGUMENT = -6009,
  P3GPP_ERR_OPEN = -7011,
  P3GPP_ERR_READ = -7012, /* a read returned fewer bytes than asked */
  P3GPP_ERR_SEEK = -7014,
  P3GPP_ERR_BOX_SIZE = -7017,
  P3GPP_ERR_NO_TRACK = -7018, /* no track with that ID */
  P3GPP_ERR_UNKNOWN_HANDLER = -7019,
  P3GPP_ERR_NO_ENTRY_PAYLOAD = -7020,
  P3GPP_ERR_ENTRY_NOT_HANDLED = -7031, /* no decoder description for this entry, or handler mismatch */
  P3GPP_ERR_NO_MOOV = -7033,
  P3GPP_ERR_NO_MOOV_PAYLOAD = -7034,
  P3GPP_ERR_NO_TRAK_PAYLOAD = -7038,
  P3GPP_ERR_NO_TKHD = -7039,
  P3GPP_ERR_NO_MDIA = -7040,
  P3GPP_ERR_NO_MDIA_PAYLOAD = -7041,
  P3GPP_ERR_NO_MDHD_OR_HDLR = -7042,
  P3GPP_ERR_NO_MINF = -7043,
  P3GPP_ERR_NO_MINF_PAYLOAD = -7044,
  P3GPP_ERR_NO_STBL = -7045,
  P3GPP_ERR_NO_STBL_PAYLOAD = -7046,
  P3GPP_ERR_NO_TABLE = -7047,       /* a sample table that the operation needs is missing or unusable */
  P3GPP_ERR_DECODER_CONFIG = -7050, /* decoder configuration missing or malformed */
  P3GPP_ERR_NO_IODS_BYTES = -7055,
  P3GPP_ERR_NO_EMPTY_EDIT = -7056,
  P3GPP_ERR_NO_TAG = -7060 /* the file has no such tag, or the track no hint information */
};

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

/* Object type codes of P3gppDecoderInfo that identify a codec (the esds value for kind 1, our own otherwise).
 */
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
  P3GPP_KIND_CODEC = 2,   /* video or speech codec with a configuration of its own */
  P3GPP_KIND_SPEECH_3GPP2 = 3,
  P3GPP_KIND_COMPRESSED_AUDIO = 4
};

/*
 * Where the first error of an open was met. A file can open in spite of it: a damaged track after a sound one
 * ends the list of tracks, and `status` then tells what stopped it.
 */
typedef struct P3gppOpenError {
  int32_t status;  /* 0: nothing to report; the other fields are then 0 */
  char path[160];  /* "moov/trak[2]/mdia/minf/stbl/stsz"; tracks and sample entries are numbered from 1,
                      unprintable bytes stand as \xNN; empty when no box is to blame */
  uint64_t offset; /* of the box's first byte in the file */
  uint64_t size;   /* as its header claims */
} P3gppOpenError;

typedef struct P3gppFile P3gppFile;
typedef struct P3gppTrack P3gppTrack; /* a track handle; valid from OpenTrack to CloseTrack */

/* Caller-owned. Creation and modification times count seconds since 1904-01-01 00:00 UTC. 64-bit file times
 * are reported by their first (high) word; see docs/kept-behaviours.md. */
typedef struct P3gppMovieInfo {
  uint32_t creation_time;
  uint32_t modification_time;
  uint32_t time_scale;
  uint32_t duration; /* movie time scale */
  uint8_t* iods;     /* bytes of the iods body after version and flags, or null; owned by the record */
  uint32_t iods_length;
  void (*release)(struct P3gppMovieInfo* info); /* clears the numbers and frees the bytes */
} P3gppMovieInfo;

/* Caller-owned. Text tracks and unknown handlers are counted nowhere. */
typedef struct P3gppTrackCounts {
  uint32_t total;
  uint32_t video;
  uint32_t audio;
  uint32_t metadata;
  uint32_t hint;
  uint32_t object_descriptor;
  uint32_t scene_description;
} P3gppTrackCounts;

/* Allocated by the parser; released through its own first field. Times as in P3gppMovieInfo. */
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
 * unit) and point into the parser until P3GPP_Close. */
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

/* The same for dec3. */
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

/* Allocated by the parser; released through its own last field. Fields of members not filled are 0. */
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

/* Caller-owned request and result of P3GPP_ReadSample. */
typedef struct P3gppSample {
  uint32_t number;           /* in: 1-based */
  uint32_t size;             /* out: bytes */
  uint32_t decoding_time;    /* out: media time scale, edit shift added; where stts does not reach the sample,
                                what stood here plus the shift */
  uint32_t composition_time; /* out: media time scale, without the edit shift; where ctts does not reach the
                                sample, what stood here plus its decoding time */
  uint8_t* buffer;           /* in: at least `size` bytes, or null for the location alone */
  uint32_t reserved;         /* the caller's */
  uint64_t file_offset;      /* out: of the sample's first byte */
  uint32_t description_index; /* out: 1-based into stsd */
} P3gppSample;

/*
 * `descriptor` and `context` are kept, not copied: both must outlive the file handle, since P3GPP_OpenTrack
 * opens the file again with them. The file is not held open between calls. On failure *file is null.
 */
int32_t P3GPP_Open(P3gppFile** file, const FMGR_Descriptor* descriptor, FMGR_Context* context) P3GPP_NOEXCEPT;
/* P3GPP_Open that also tells where it failed. `error` may be null; it is cleared first. */
int32_t P3GPP_OpenExplained(P3gppFile** file, const FMGR_Descriptor* descriptor, FMGR_Context* context,
                            P3gppOpenError* error) P3GPP_NOEXCEPT;
/* Closes tracks that are still open too; every handle and every pointer into the parser ends with it. A null
 * file is P3GPP_ERR_BAD_ARGUMENT. */
int32_t P3GPP_Close(P3gppFile* file) P3GPP_NOEXCEPT;

/* info->release is set also on failure. P3GPP_ERR_NO_MOOV_PAYLOAD without a movie header. */
int32_t P3GPP_GetMovieInfo(P3gppFile* file, P3gppMovieInfo* info) P3GPP_NOEXCEPT;
/* By handler type. *counts is cleared first. */
int32_t P3GPP_GetTrackCounts(P3gppFile* file, P3gppTrackCounts* counts) P3GPP_NOEXCEPT;
/*
 * IDs of the tracks of one type (P3GPP_TRACK_), in file order; *count is the number written. `ids` holds as
 * many entries as the counts told for this type. Text tracks are not counted: for them, as many as the file
 * can have.
 */
int32_t P3GPP_GetTrackIds(P3gppFile* file, uint32_t type, uint32_t* ids, uint32_t* count) P3GPP_NOEXCEPT;
/* On failure *info is null. P3GPP_ERR_UNKNOWN_HANDLER for a handler type without a P3GPP_TRACK_ code. */
int32_t P3GPP_GetTrackInfo(P3gppFile* file, uint32_t track_id, P3gppTrackInfo** info) P3GPP_NOEXCEPT;
/* `description_index` is 1-based. A record that is not null after a failure still belongs to the caller. */
int32_t P3GPP_GetDecoderInfo(P3gppFile* file, uint32_t track_id, P3gppDecoderInfo** info,
                             uint32_t description_index) P3GPP_NOEXCEPT;

/*
 * Opens a track for reading: two streams, and a cache for each sample table. `cache_budget` is in bytes for
 * all caches together; raised to 1024, 0 refused. On failure *track is null. Opening an open track closes it
 * first, so that there is one handle a track.
 */
int32_t P3GPP_OpenTrack(P3gppFile* file, P3gppTrack** track, uint32_t track_id,
                        uint32_t cache_budget) P3GPP_NOEXCEPT;
/* The handle may be opened again by its track ID; until then the queries below answer P3GPP_ERR_GENERIC. */
int32_t P3GPP_CloseTrack(P3gppTrack* track) P3GPP_NOEXCEPT;

/*
 * The operations below need an opened track; on a closed one they answer P3GPP_ERR_GENERIC. Each may read
 * tables and answer P3GPP_ERR_READ or P3GPP_ERR_SEEK; P3GPP_ERR_NO_TABLE without the tables that it needs;
 * P3GPP_ERR_OUT_OF_RANGE for a sample number of 0 or above the sample count, where nothing else is told.
 */

/* In bytes, as the size table tells, which may be more than the file holds. Reads the whole table. */
int32_t P3GPP_GetMaxSampleSize(P3gppTrack* track, uint32_t* size) P3GPP_NOEXCEPT;
/* Reads the whole size table. Every failure is P3GPP_ERR_GENERIC with a result of 0; so is less than a
 * second. */
int32_t P3GPP_GetBitrate(P3gppTrack* track, float* bits_per_second) P3GPP_NOEXCEPT;
/*
 * Locates sample->number and reads it into sample->buffer: one seek and one read on the track's own stream,
 * none for a null buffer or an empty sample. P3GPP_ERR_READ when the file ends inside the sample: the out
 * fields are filled.
 */
int32_t P3GPP_ReadSample(P3gppTrack* track, P3gppSample* sample) P3GPP_NOEXCEPT;
/* The same for a buffer of `capacity` bytes: a larger sample is located, not read, and P3GPP_ERR_READ. */
int32_t P3GPP_ReadSampleBounded(P3gppTrack* track, P3gppSample* sample, uint32_t capacity) P3GPP_NOEXCEPT;
/* Both times as in P3gppSample, in and out. */
int32_t P3GPP_GetSampleTime(P3gppTrack* track, uint32_t number, uint32_t* decoding_time,
                            uint32_t* composition_time) P3GPP_NOEXCEPT;
/*
 * In: a media time, without edit shift; out: a sample number and the decoding time of that sample (in *time).
 * The sample that holds the time, or the one before it: see docs/sample-lookup.md. The number is not checked
 * against the sample count.
 */
int32_t P3GPP_TimeToSample(P3gppTrack* track, uint32_t* time, uint32_t* number) P3GPP_NOEXCEPT;
/* Direction 1 searches forward, anything else backward; the answer replaces *number. */
int32_t P3GPP_FindSyncSample(P3gppTrack* track, uint32_t* number, int32_t direction) P3GPP_NOEXCEPT;
/* *is_sync is 1 or 0; above the sample count 0. Sample number 0: P3GPP_ERR_BAD_ARGUMENT. */
int32_t P3GPP_IsSyncSample(P3gppTrack* track, uint32_t number, int32_t* is_sync) P3GPP_NOEXCEPT;
/* *count is the sample count of a track without a table of sync samples, whose samples are all ones, else 0.
 */
int32_t P3GPP_GetAllSyncCount(P3gppTrack* track, uint32_t* count) P3GPP_NOEXCEPT;

#ifdef __cplusplus
}
#endif

#include "p3gpp/p3gpp_inspect.h"

#endif
