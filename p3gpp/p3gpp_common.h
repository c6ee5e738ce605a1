/*
 * What the two headers of P3GPP share: statuses, the file handle, and where an open failed.
 * Programs include p3gpp.h.
 *
 * Valid as C11 and C++20.
 */
#ifndef ZDR_P3GPP_P3GPP_COMMON_H
#define ZDR_P3GPP_P3GPP_COMMON_H

#include <stdint.h>

#ifdef __cplusplus
#define P3GPP_NOEXCEPT noexcept
#else
#define P3GPP_NOEXCEPT
#endif

/* Every operation returns one of these. */
enum {
  P3GPP_OK = 0,
  P3GPP_ERR_GENERIC = -6001, /* null stream; entry without esds; P3GPP_GetBitrate failed; inside udta/meta */
  P3GPP_ERR_NO_MEMORY = -6002,
  P3GPP_ERR_NO_SYNC_SAMPLE = -6003, /* no sync sample in the requested direction */
  P3GPP_ERR_RTP_ENTRY = -6005,      /* sample entry of type "rtp " */
  P3GPP_ERR_OUT_OF_RANGE = -6008,   /* sample number 0 or past the end; a time that overflows 32 bits */
  P3GPP_ERR_BAD_ARGUMENT = -6009,
  P3GPP_ERR_OPEN = -7011,
  P3GPP_ERR_READ = -7012, /* the file or the box ends too early */
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
  P3GPP_ERR_NO_EMPTY_EDIT = -7056, /* never returned: such an edit list shifts nothing */
  P3GPP_ERR_NO_TAG = -7060         /* the file has no such tag, or the track no hint information */
};

typedef struct P3gppFile P3gppFile; /* an open file; valid from P3GPP_Open to P3GPP_Close */

/*
 * Where the first error of an open occurred. The open may still succeed: a damaged track after a sound one
 * only ends the list of tracks, and `status` is then the error in that track.
 */
typedef struct P3gppOpenError {
  int32_t status;  /* 0: nothing to report; the other fields are then 0 */
  char path[160];  /* "moov/trak[2]/mdia/minf/stbl/stsz"; tracks and sample entries are numbered from 1,
                      unprintable bytes are written as \xNN; empty when no box caused it */
  uint64_t offset; /* of the box's first byte in the file */
  uint64_t size;   /* as claimed by its header */
} P3gppOpenError;

#endif
