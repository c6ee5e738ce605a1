/*
 * Zd_AAC_Dec: decoder for AAC Low Complexity and Long Term Prediction streams of ISO/IEC 14496-3 and 13818-7,
 * mono or stereo, frames of 1024 samples, with SBR (HE-AAC) and parametric stereo (HE-AAC v2).
 *
 * Two functions, Zd_AAC_Dec_GetConfig and Zd_AAC_Dec_GetFrameLength, need no decoder instance. They parse,
 * keep no state and may be called from any thread at any time; each takes one block of working memory for the
 * time of the call. Decoding runs on an instance: Create (or Open), SetConfig, Decode once an access unit,
 * Close. Instances know nothing of each other; one instance must not be used from two threads at once.
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

enum {
  ZD_AAC_DEC_OK = 0,
  /* null argument; unsupported object type, rate, frame length, profile, channel count or extension;
     malformed or incomplete header or frame; frame longer than the bytes given; no memory for the call */
  ZD_AAC_DEC_ERR_FAILED = -1,
  ZD_AAC_DEC_ERR_NO_INSTANCE = -2,        /* no memory, no such mode, or no place to store the handle at */
  ZD_AAC_DEC_ERR_OUTPUT_TOO_SMALL = -2002 /* the PCM buffer takes less than one output frame */
};

/* What an instance can do; each mode takes more memory than the one before. */
enum {
  ZD_AAC_DEC_MODE_CORE = 0, /* SBR is ignored */
  ZD_AAC_DEC_MODE_SBR = 1,
  ZD_AAC_DEC_MODE_PS = 2 /* SBR and parametric stereo */
};

/* Values of Zd_AAC_Dec_Config.extension. */
enum { ZD_AAC_DEC_EXTENSION_NONE = 0, ZD_AAC_DEC_EXTENSION_SBR = 5, ZD_AAC_DEC_EXTENSION_PS = 6 };

/* Values of the stream_kind of Zd_AAC_Dec_GetFrameLength. */
enum {
  ZD_AAC_DEC_STREAM_RAW = 0,  /* the data start with a raw_data_block */
  ZD_AAC_DEC_STREAM_ADIF = 1, /* the data may start with an ADIF or ADTS header */
  ZD_AAC_DEC_STREAM_ADTS = 2  /* likewise */
};

/* Configuration of a stream. */
typedef struct Zd_AAC_Dec_Config {
  int32_t outputBytes; /* bytes of PCM that one decode call may give: a hint, some signalling counts a
                          doubling twice */
  int32_t frameLength; /* samples per channel per core frame: 1024 */
  int32_t sampleRate;  /* core rate in Hz */
  int32_t channels;    /* 1 or 2; 0 while unknown; more when a configuration says so that can't be decoded */
  int32_t profile;     /* audio object type minus one: 1 LC, 3 LTP */
  int32_t outputRate;  /* rate of the PCM in Hz: the core rate, or that of SBR */
  int32_t extension;   /* ZD_AAC_DEC_EXTENSION_ */
  int32_t singleRate;  /* 1 when SBR is signalled at the core rate, else 0 */
} Zd_AAC_Dec_Config;

/*
 * Reads the configuration of a stream.
 *
 * header_mode 0: `data` is an AudioSpecificConfig (ISO/IEC 14496-3, 1.6.2.1), and `first_frame`, unless null
 * or empty, the stream's first access unit, which tells of SBR and parametric stereo that the configuration
 * doesn't signal. Else: `data` is the start of an ADTS or ADIF stream; a frame behind the header serves as
 * first frame, and `first_frame` is not read.
 *
 * - length_inout: in: bytes of `data`; out: bytes of configuration or header read.
 *
 * Returns ZD_AAC_DEC_OK or ZD_AAC_DEC_ERR_FAILED; `config_out` must not be used after a failure. An audio
 * object type that is not supported is named on the console (Zd_AAC_Dec_SetConsole).
 */
int32_t Zd_AAC_Dec_GetConfig(const uint8_t* data, int32_t* length_inout, Zd_AAC_Dec_Config* config_out,
                             int32_t header_mode, const uint8_t* first_frame,
                             int32_t first_frame_bytes) ZD_AAC_DEC_NOEXCEPT;

/*
 * Measures the frame at the start of `data` by parsing it: a raw_data_block carries no length of its own.
 *
 * - stream_kind: ZD_AAC_DEC_STREAM_. With 1 or 2 at least 8 bytes are needed, and the length includes
 *   a header.
 * - config_inout: configuration of the stream. What the frame shows of SBR, parametric stereo and the
 *   channel count is entered, as a change: measuring a frame with parametric stereo doubles `channels` at
 *   every call. To measure frame after frame, pass a fresh copy with extension 0 and the core's channel
 *   count (or 0) each time.
 * - length_inout: in: bytes available; out: bytes of the frame.
 * - reserved: not read.
 *
 * Returns ZD_AAC_DEC_OK when a whole frame lies in the data; also, without touching anything, when `data` is
 * null or the length not above 0. ZD_AAC_DEC_ERR_FAILED else; `config_inout` must not be used then.
 */
int32_t Zd_AAC_Dec_GetFrameLength(const uint8_t* data, int32_t stream_kind, Zd_AAC_Dec_Config* config_inout,
                                  int32_t* length_inout, int32_t reserved) ZD_AAC_DEC_NOEXCEPT;

typedef struct Zd_AAC_Dec_Instance Zd_AAC_Dec_Instance;

/*
 * Makes an instance of `mode`, ZD_AAC_DEC_MODE_, in one block of memory; nothing is allocated afterwards.
 * Returns ZD_AAC_DEC_OK or, with a null handle, ZD_AAC_DEC_ERR_NO_INSTANCE.
 */
int32_t Zd_AAC_Dec_Create(Zd_AAC_Dec_Instance** handle_out, int32_t mode) ZD_AAC_DEC_NOEXCEPT;

/* Create with ZD_AAC_DEC_MODE_SBR. */
int32_t Zd_AAC_Dec_Open(Zd_AAC_Dec_Instance** handle_out) ZD_AAC_DEC_NOEXCEPT;

/*
 * Begins a stream, also in the middle of another one, and enters into `config` what will come out:
 * outputRate, singleRate and outputBytes, the size of one output frame. singleRate is 1 whenever the PCM has
 * the core's rate. With SBR, an outputRate of 8000 or 16000 asks for that rate where a simple ratio leads to
 * it; the rate entered is then still that of the decoder ahead of this conversion. Returns ZD_AAC_DEC_OK or,
 * with the instance as it was, ZD_AAC_DEC_ERR_FAILED.
 */
int32_t Zd_AAC_Dec_SetConfig(Zd_AAC_Dec_Instance* instance, Zd_AAC_Dec_Config* config) ZD_AAC_DEC_NOEXCEPT;

/*
 * Decodes an access unit into interleaved 16-bit samples, one frame behind the input: the first call gives
 * none, each later one the frame of the call before. A stream whose first access unit begins with an ADTS
 * header has them throughout.
 *
 * - input: a raw_data_block, or an ADTS frame; null: it was lost. The held frame is given, or, call after
 *   call, a fading replacement. To drain a stream, one such call behind the last unit.
 * - input_bytes_inout: in: bytes of input; out: bytes consumed, those of one block where an ADTS frame has
 *   several.
 * - pcm_out: room for one output frame (Zd_AAC_Dec_Config.outputBytes as entered by SetConfig), aligned to
 *   16 bits.
 * - pcm_bytes_inout: in: room in bytes; out: bytes written.
 *
 * Returns ZD_AAC_DEC_OK; ZD_AAC_DEC_ERR_OUTPUT_TOO_SMALL, with nothing consumed; ZD_AAC_DEC_ERR_FAILED: null
 * argument, no configuration, a first unit that is null, a damaged or unsupported unit, no ADTS header, or a
 * change of the rate. Neither count is written then, and pcm_out holds nothing of use.
 *
 * Between lost units a damaged one counts as lost, with success. Of such a unit only the ADTS header is
 * consumed, and of a raw_data_block nothing: whoever advances by the bytes consumed must pass over it
 * himself. Data without a usable ADTS header are no unit and fail there too.
 */
int32_t Zd_AAC_Dec_Decode(Zd_AAC_Dec_Instance* instance, const uint8_t* input, int32_t* input_bytes_inout,
                          int16_t* pcm_out, int32_t* pcm_bytes_inout) ZD_AAC_DEC_NOEXCEPT;

/* Frees the instance. ZD_AAC_DEC_ERR_FAILED when it is null. */
int32_t Zd_AAC_Dec_Close(Zd_AAC_Dec_Instance* instance) ZD_AAC_DEC_NOEXCEPT;

/*
 * Takes the few lines of text that this copy of the library would write to the standard error; null gives
 * them back to it. For all threads; the writer may be called from any of them, and must not throw.
 */
typedef void (*Zd_AAC_Dec_ConsoleWriter)(const char* text);
void Zd_AAC_Dec_SetConsole(Zd_AAC_Dec_ConsoleWriter writer) ZD_AAC_DEC_NOEXCEPT;

#ifdef __cplusplus
}
#endif

#endif /* ZDR_AACDEC_ZD_AAC_DEC_H */
