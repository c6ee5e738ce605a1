/*
 * Zd_AAC_Dec: decoder for AAC Low Complexity (LC) and Long Term Prediction (LTP) streams of ISO/IEC 14496-3
 * and 13818-7, mono or stereo, frames of 1024 samples, with SBR (HE-AAC) and parametric stereo (HE-AAC v2).
 *
 * Zd_AAC_Dec_GetConfig and Zd_AAC_Dec_GetFrameLength need no decoder instance: they parse, keep no state, and
 * allocate one block of working memory for the duration of the call. Decoding needs an instance: Create (or
 * Open), SetConfig, Decode once per access unit, Close.
 *
 * Ownership: the caller owns every buffer and record that it passes; none is used after the call returns. The
 * library owns the instance from Create to Close.
 *
 * Threads: every function may be called from any thread. Instances are independent of each other; calls on
 * one instance must not overlap.
 *
 * Errors: functions return ZD_AAC_DEC_OK or a negative status and never throw. Results are written on success
 * only, except where a function says otherwise.
 *
 * Valid as C11 and C++20.
 */
#ifndef ZDR_AACDEC_ZD_AAC_DEC_H
#define ZDR_AACDEC_ZD_AAC_DEC_H

#include <stdint.h>

#ifdef __cplusplus
#define ZD_AAC_DEC_NOEXCEPT noexcept
extern "C" {
#else
#define ZD_AAC_DEC_NOEXCEPT
#endif

/* Status codes. */
enum {
  ZD_AAC_DEC_OK = 0,
  /* Null argument; unsupported object type, rate, frame length, profile, channel count or extension;
     malformed or incomplete header or frame; frame longer than the bytes given; out of memory for the
     duration of the call. */
  ZD_AAC_DEC_ERR_FAILED = -1,
  ZD_AAC_DEC_ERR_NO_INSTANCE = -2,        /* out of memory, unknown mode, or null pointer for the handle */
  ZD_AAC_DEC_ERR_OUTPUT_TOO_SMALL = -2002 /* the PCM buffer is smaller than one output frame */
};

/* Modes of an instance; each needs more memory than the previous one. */
enum {
  ZD_AAC_DEC_MODE_CORE = 0, /* SBR is ignored */
  ZD_AAC_DEC_MODE_SBR = 1,
  ZD_AAC_DEC_MODE_PS = 2 /* SBR and parametric stereo */
};

/* Values of Zd_AAC_Dec_Config.extension. */
enum { ZD_AAC_DEC_EXTENSION_NONE = 0, ZD_AAC_DEC_EXTENSION_SBR = 5, ZD_AAC_DEC_EXTENSION_PS = 6 };

/* Values of stream_kind in Zd_AAC_Dec_GetFrameLength. */
enum {
  ZD_AAC_DEC_STREAM_RAW = 0,  /* the data start with a raw_data_block */
  ZD_AAC_DEC_STREAM_ADIF = 1, /* the data may start with an ADIF or ADTS header */
  ZD_AAC_DEC_STREAM_ADTS = 2  /* the same as ZD_AAC_DEC_STREAM_ADIF */
};

/* Configuration of a stream. */
typedef struct Zd_AAC_Dec_Config {
  int32_t outputBytes; /* bytes of PCM per decode call. From SetConfig: the exact size of one output frame.
                          From GetConfig and GetFrameLength: a hint, which some signalling doubles twice. */
  int32_t frameLength; /* samples per channel per core frame: 1024 */
  int32_t sampleRate;  /* core rate in Hz */
  int32_t channels;    /* 1 or 2; 0 while unknown; more if a configuration announces a layout that can't be
                          decoded */
  int32_t profile;     /* audio object type minus one: 1 LC, 3 LTP */
  int32_t outputRate;  /* rate of the PCM in Hz: the core rate, or that of SBR */
  int32_t extension;   /* ZD_AAC_DEC_EXTENSION_ */
  int32_t singleRate;  /* 1 if SBR is signalled at the core rate, else 0 */
} Zd_AAC_Dec_Config;

/*
 * Reads the configuration of a stream.
 *
 * - data: with header_mode 0 an AudioSpecificConfig (ISO/IEC 14496-3, 1.6.2.1), else the start of an ADTS or
 *   ADIF stream, at least 8 bytes.
 * - length_inout: in: bytes of `data`; out, also after a failure: bytes of configuration or header read.
 * - config_out: cleared first, then filled. Not valid after a failure.
 * - first_frame, first_frame_bytes: with header_mode 0 the stream's first access unit, which reveals SBR and
 *   parametric stereo that the configuration does not signal; may be null or empty. Not read with other
 *   header modes, which use the frame after the header.
 *
 * Returns ZD_AAC_DEC_OK or ZD_AAC_DEC_ERR_FAILED. Prints the number of an unsupported audio object type on
 * the console (Zd_AAC_Dec_SetConsole).
 */
int32_t Zd_AAC_Dec_GetConfig(const uint8_t* data, int32_t* length_inout, Zd_AAC_Dec_Config* config_out,
                             int32_t header_mode, const uint8_t* first_frame,
                             int32_t first_frame_bytes) ZD_AAC_DEC_NOEXCEPT;

/*
 * Returns the length of the frame at the start of `data` by parsing it: a raw_data_block carries no length of
 * its own.
 *
 * - stream_kind: ZD_AAC_DEC_STREAM_. With 1 or 2 at least 8 bytes are needed, and the length includes a
 *   header.
 * - config_inout: in: configuration of the stream. Out: updated with the SBR, parametric stereo and channel
 *   count that the frame shows. The update is relative: each call on a frame with parametric stereo doubles
 *   `channels`. To measure frame after frame, pass a fresh copy with extension 0 and the core's channel count
 *   (or 0) each time. Not valid after a failure.
 * - length_inout: in: bytes available; out, on success: bytes of the frame.
 * - reserved: not read.
 *
 * Returns ZD_AAC_DEC_OK if the data hold a whole frame. Returns ZD_AAC_DEC_OK and changes nothing if `data`
 * is null or the length is not positive. Returns ZD_AAC_DEC_ERR_FAILED otherwise.
 */
int32_t Zd_AAC_Dec_GetFrameLength(const uint8_t* data, int32_t stream_kind, Zd_AAC_Dec_Config* config_inout,
                                  int32_t* length_inout, int32_t reserved) ZD_AAC_DEC_NOEXCEPT;

typedef struct Zd_AAC_Dec_Instance Zd_AAC_Dec_Instance;

/*
 * Creates an instance of `mode`, ZD_AAC_DEC_MODE_, in one block of memory; nothing is allocated afterwards.
 * The caller frees it with Zd_AAC_Dec_Close. Returns ZD_AAC_DEC_OK, or ZD_AAC_DEC_ERR_NO_INSTANCE with a null
 * handle.
 */
int32_t Zd_AAC_Dec_Create(Zd_AAC_Dec_Instance** handle_out, int32_t mode) ZD_AAC_DEC_NOEXCEPT;

/* Creates an instance of ZD_AAC_DEC_MODE_SBR; otherwise like Zd_AAC_Dec_Create. */
int32_t Zd_AAC_Dec_Open(Zd_AAC_Dec_Instance** handle_out) ZD_AAC_DEC_NOEXCEPT;

/*
 * Starts a new stream; the previous one need not have ended.
 *
 * - config: in: configuration of the stream. With SBR, an outputRate of 8000 or 16000 requests that rate; it
 *   is honoured where a simple ratio leads to it. Out, on success: outputBytes, the size of one output frame;
 *   singleRate, 1 if the PCM has the core rate; outputRate, the rate of the PCM before a conversion to 8000
 *   or 16000 Hz.
 *
 * Returns ZD_AAC_DEC_OK, or ZD_AAC_DEC_ERR_FAILED with the instance unchanged.
 */
int32_t Zd_AAC_Dec_SetConfig(Zd_AAC_Dec_Instance* instance, Zd_AAC_Dec_Config* config) ZD_AAC_DEC_NOEXCEPT;

/*
 * Decodes an access unit into interleaved 16-bit samples, with a delay of one frame: the first call of a
 * stream returns no samples, each later one the frame of the previous call. If the first access unit begins
 * with an ADTS header, every later one of the instance must have one.
 *
 * - input: a raw_data_block or an ADTS frame. Null reports a lost access unit: the call returns the held
 *   frame, further such calls a fading replacement. One such call after the last unit drains a stream.
 * - input_bytes_inout: in: bytes of input; out, on success: bytes consumed. Each call consumes one block of
 *   an ADTS frame that has several.
 * - pcm_out: room for one output frame (outputBytes of Zd_AAC_Dec_SetConfig), aligned to 16 bits.
 * - pcm_bytes_inout: in: capacity in bytes; out, on success: bytes of samples. If the rate is converted,
 *   the room after them, up to one output frame, may be overwritten.
 *
 * Returns ZD_AAC_DEC_OK. Returns ZD_AAC_DEC_ERR_OUTPUT_TOO_SMALL and consumes nothing if one output frame
 * does not fit. Returns ZD_AAC_DEC_ERR_FAILED for a null argument, an instance without configuration, a first
 * unit that is null, a damaged or unsupported unit, a missing or unsupported ADTS header, or a change of the
 * rate.
 *
 * A damaged or unsupported raw_data_block fails after the held frame has been decoded: pcm_out has it, one
 * output frame (fewer samples if the rate is converted), and the next call returns silence in place of the
 * damaged unit. All other failures leave pcm_out unchanged, and the frame held. For a better replacement,
 * measure each raw_data_block with Zd_AAC_Dec_GetFrameLength first, and report one that fails as lost. One
 * that passes can still be refused here, because the measuring lacks the SBR headers of earlier units.
 *
 * Between lost units a damaged one counts as lost, and the call succeeds. It consumes the ADTS header of such
 * a unit and nothing of a raw_data_block: a caller that advances by the bytes consumed must skip the rest of
 * the unit. Data without a usable ADTS header fail there as well.
 */
int32_t Zd_AAC_Dec_Decode(Zd_AAC_Dec_Instance* instance, const uint8_t* input, int32_t* input_bytes_inout,
                          int16_t* pcm_out, int32_t* pcm_bytes_inout) ZD_AAC_DEC_NOEXCEPT;

/* Frees the instance. Returns ZD_AAC_DEC_ERR_FAILED if it is null. */
int32_t Zd_AAC_Dec_Close(Zd_AAC_Dec_Instance* instance) ZD_AAC_DEC_NOEXCEPT;

/*
 * Sets the receiver of the few lines of text that this copy of the library prints. Null restores the
 * default, standard error. Applies to all threads. The writer may be called from any thread and must not
 * throw; `text` is valid during the call and includes its line ends.
 */
typedef void (*Zd_AAC_Dec_ConsoleWriter)(const char* text);
void Zd_AAC_Dec_SetConsole(Zd_AAC_Dec_ConsoleWriter writer) ZD_AAC_DEC_NOEXCEPT;

#ifdef __cplusplus
}
#endif

#endif /* ZDR_AACDEC_ZD_AAC_DEC_H */
