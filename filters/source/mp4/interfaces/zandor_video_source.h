// The filter's private interface: opens clips by name, independently of the file that the filter plays.
#pragma once

#include <dshow.h>

namespace zdr::mp4source {

// The result of GetClipInfo.
// Kept: it stores the fields that the clip has and leaves the others as the caller set them.
struct ClipInfo {
  DWORD video_codec;  // kClip...Video
  DWORD audio_codec;  // kClip...Audio
  WORD width;         // of video, pixels
  WORD height;
  alignas(8) double frame_rate;  // frames per second; aligned as on the platform, also in a 32-bit program
  DWORD duration_ms;
  DWORD sample_rate;  // of audio, Hz
  DWORD channels;
  // MPEG-4 visual only. The pointer is always 0, because the bytes are freed before the call returns; only
  // the length is set.
  DWORD sl_config;
  DWORD sl_config_length;
};
static_assert(sizeof(ClipInfo) == 48 && offsetof(ClipInfo, frame_rate) == 16);

inline constexpr DWORD kClipMpeg4Video = 1;
inline constexpr DWORD kClipH263Video = 2;
inline constexpr DWORD kClipAmrAudio = 3;
inline constexpr DWORD kClipAacAudio = 4;
inline constexpr DWORD kClipAvcVideo = 5;
inline constexpr DWORD kClipQcelpAudio = 6;
inline constexpr DWORD kClipAmrWbAudio = 7;

// An open clip, for use with the interface. The first word is null for a file of an unknown extension, the
// second for a clip without video.
struct ClipHandle {
  void* reader;
  void* track;
};

// Threads: calls on different clips may run at once. The interface shares state with its filter: OpenClip
// sets the filter's kind to the clip's, so it must not be called on a filter that plays a file of another
// kind, and GetClipInfo sets the filter's frame rate.
struct IAMZandorVideoSource : IUnknown {
  // The extension decides how the file is read. A file of an unknown extension opens to a handle that cannot
  // be used. `configuration` is what a decoder needs before the video: the decoder specific info of MPEG-4
  // visual, the 16-bit NAL-length-size-minus-one and the lists of parameter sets of AVC, the first sample of
  // H.263; null and 0 for other clips. The caller frees it with free(). Returns E_POINTER, E_FAIL,
  // E_OUTOFMEMORY, or -6001 when a file manager cannot be allocated.
  virtual HRESULT OpenClip(LPCOLESTR file_name, ClipHandle** clip, BYTE** configuration,
                           DWORD* configuration_length) = 0;
  // The access unit of a key frame, counted from 1; an index past the last key frame returns the last. Index
  // 1 is the first sample, key frame or not. The caller frees the buffer with free(). E_FAIL without video.
  virtual HRESULT GetKeyFrame(ClipHandle* clip, DWORD index, BYTE** buffer, DWORD* size) = 0;
  // E_POINTER for a null record, E_HANDLE for a null clip, E_FAIL if the clip cannot be read.
  virtual HRESULT GetClipInfo(ClipHandle* clip, ClipInfo* info) = 0;
  // E_FAIL for null, and for a clip of an unknown extension, which is freed anyway.
  virtual HRESULT CloseClip(ClipHandle* clip) = 0;
};

}  // namespace zdr::mp4source
