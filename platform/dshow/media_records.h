// Records, enumerations and flags of the media interfaces. Their layouts are those of the platform's 64-bit
// binary interface, which static assertions check.
#pragma once

#include <objbase.h>

#include <cstddef>

struct IBaseFilter;
struct IFilterGraph;

inline constexpr int MAX_PIN_NAME = 128;
inline constexpr int MAX_FILTER_NAME = 128;

enum PIN_DIRECTION : int32_t { PINDIR_INPUT = 0, PINDIR_OUTPUT = 1 };

enum FILTER_STATE : int32_t { State_Stopped = 0, State_Paused = 1, State_Running = 2 };

enum QualityMessageType : int32_t { Famine = 0, Flood = 1 };

// Flags of IMediaSeeking: the kind of positioning in the low two bits, modifiers above them.
enum AM_SEEKING_SEEKING_FLAGS : DWORD {
  AM_SEEKING_NoPositioning = 0x00,
  AM_SEEKING_AbsolutePositioning = 0x01,
  AM_SEEKING_RelativePositioning = 0x02,
  AM_SEEKING_IncrementalPositioning = 0x03,
  AM_SEEKING_PositioningBitsMask = 0x03,
  AM_SEEKING_SeekToKeyFrame = 0x04,
  AM_SEEKING_ReturnTime = 0x08,
  AM_SEEKING_Segment = 0x10,
  AM_SEEKING_NoFlush = 0x20,
};

enum AM_SEEKING_SEEKING_CAPABILITIES : DWORD {
  AM_SEEKING_CanSeekAbsolute = 0x001,
  AM_SEEKING_CanSeekForwards = 0x002,
  AM_SEEKING_CanSeekBackwards = 0x004,
  AM_SEEKING_CanGetCurrentPos = 0x008,
  AM_SEEKING_CanGetStopPos = 0x010,
  AM_SEEKING_CanGetDuration = 0x020,
  AM_SEEKING_CanPlayBackwards = 0x040,
  AM_SEEKING_CanDoSegments = 0x080,
  AM_SEEKING_Source = 0x100,
};

// AM_SAMPLE2_PROPERTIES::dwSampleFlags.
enum AM_SAMPLE_FLAGS : DWORD {
  AM_SAMPLE_SPLICEPOINT = 0x01,
  AM_SAMPLE_PREROLL = 0x02,
  AM_SAMPLE_DATADISCONTINUITY = 0x04,
  AM_SAMPLE_TYPECHANGED = 0x08,
  AM_SAMPLE_TIMEVALID = 0x10,
  AM_SAMPLE_TIMEDISCONTINUITY = 0x40,
  AM_SAMPLE_FLUSH_ON_PAUSE = 0x80,
  AM_SAMPLE_STOPVALID = 0x100,
  AM_SAMPLE_ENDOFSTREAM = 0x200,
};

// AM_SAMPLE2_PROPERTIES::dwStreamId.
enum AM_STREAM_ID : DWORD { AM_STREAM_MEDIA = 0, AM_STREAM_CONTROL = 1 };

// Flags of IMemAllocator::GetBuffer.
enum AM_GETBUFFER_FLAGS : DWORD {
  AM_GBF_PREVFRAMESKIPPED = 1,
  AM_GBF_NOTASYNCPOINT = 2,
  AM_GBF_NOWAIT = 4,
  AM_GBF_NODDSURFACELOCK = 8,
};

enum AM_FILTER_MISC_FLAGS : ULONG {
  AM_FILTER_MISC_FLAGS_IS_RENDERER = 1,
  AM_FILTER_MISC_FLAGS_IS_SOURCE = 2,
};

// One kind of media. The receiver of a record owns its format block (task memory, cbFormat bytes) and the
// reference in pUnk, and frees both with FreeMediaType. Check formattype, cbFormat and pbFormat before
// reading the block as any record.
struct AM_MEDIA_TYPE {
  GUID majortype;
  GUID subtype;
  BOOL bFixedSizeSamples;
  BOOL bTemporalCompression;
  ULONG lSampleSize;  // bytes of one sample when bFixedSizeSamples
  GUID formattype;
  IUnknown* pUnk;
  ULONG cbFormat;
  BYTE* pbFormat;
};
static_assert(sizeof(AM_MEDIA_TYPE) == zdr::by_width(88, 72));
static_assert(offsetof(AM_MEDIA_TYPE, majortype) == 0 && offsetof(AM_MEDIA_TYPE, subtype) == 16);
static_assert(offsetof(AM_MEDIA_TYPE, bFixedSizeSamples) == 32);
static_assert(offsetof(AM_MEDIA_TYPE, bTemporalCompression) == 36);
static_assert(offsetof(AM_MEDIA_TYPE, lSampleSize) == 40 && offsetof(AM_MEDIA_TYPE, formattype) == 44);
static_assert(offsetof(AM_MEDIA_TYPE, pUnk) == zdr::by_width(64, 60));
static_assert(offsetof(AM_MEDIA_TYPE, cbFormat) == zdr::by_width(72, 64));
static_assert(offsetof(AM_MEDIA_TYPE, pbFormat) == zdr::by_width(80, 68));

// Sizes are in bytes; cbBuffer does not include the prefix.
struct ALLOCATOR_PROPERTIES {
  LONG cBuffers;
  LONG cbBuffer;
  LONG cbAlign;
  LONG cbPrefix;
};
static_assert(sizeof(ALLOCATOR_PROPERTIES) == 16);

// pGraph carries a reference if it is not null.
struct FILTER_INFO {
  WCHAR achName[MAX_FILTER_NAME];
  IFilterGraph* pGraph;
};
static_assert(sizeof(FILTER_INFO) == zdr::by_width(264, 260) && offsetof(FILTER_INFO, pGraph) == 256);

// pFilter carries a reference if it is not null.
struct PIN_INFO {
  IBaseFilter* pFilter;
  PIN_DIRECTION dir;
  WCHAR achName[MAX_PIN_NAME];
};
static_assert(sizeof(PIN_INFO) == zdr::by_width(272, 264));
static_assert(offsetof(PIN_INFO, dir) == sizeof(void*));
static_assert(offsetof(PIN_INFO, achName) == zdr::by_width(12, 8));

struct Quality {
  QualityMessageType Type;
  LONG Proportion;  // wanted rate, per mille of the current one; 1000 requests no change
  REFERENCE_TIME Late;
  REFERENCE_TIME TimeStamp;
};
static_assert(sizeof(Quality) == 24 && offsetof(Quality, Late) == 8);

struct AM_SAMPLE2_PROPERTIES {
  DWORD cbData;  // bytes of this record that are valid
  DWORD dwTypeSpecificFlags;
  DWORD dwSampleFlags;  // AM_SAMPLE_*
  LONG lActual;         // bytes of data
  REFERENCE_TIME tStart;
  REFERENCE_TIME tStop;
  DWORD dwStreamId;           // AM_STREAM_*
  AM_MEDIA_TYPE* pMediaType;  // owned by the sample; null if the type does not change
  BYTE* pbBuffer;
  LONG cbBuffer;  // bytes of the buffer
};
static_assert(sizeof(AM_SAMPLE2_PROPERTIES) == zdr::by_width(64, 48));
static_assert(offsetof(AM_SAMPLE2_PROPERTIES, dwSampleFlags) == 8);
static_assert(offsetof(AM_SAMPLE2_PROPERTIES, lActual) == 12);
static_assert(offsetof(AM_SAMPLE2_PROPERTIES, tStart) == 16);
static_assert(offsetof(AM_SAMPLE2_PROPERTIES, dwStreamId) == 32);
static_assert(offsetof(AM_SAMPLE2_PROPERTIES, pMediaType) == zdr::by_width(40, 36));
static_assert(offsetof(AM_SAMPLE2_PROPERTIES, pbBuffer) == zdr::by_width(48, 40));
static_assert(offsetof(AM_SAMPLE2_PROPERTIES, cbBuffer) == zdr::by_width(56, 44));
