// The memory of a media sample, whose allocator may belong to the sink.
#pragma once

#include <streams.h>

namespace zdr::mp4source {

// A granted null pointer is E_POINTER.
inline HRESULT get_buffer(IMediaSample* sample, BYTE** buffer) {
  const HRESULT hr = sample->GetPointer(buffer);
  return SUCCEEDED(hr) && *buffer == nullptr ? E_POINTER : hr;
}

}  // namespace zdr::mp4source
