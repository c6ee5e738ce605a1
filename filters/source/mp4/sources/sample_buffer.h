// The memory of a media sample, which comes from an allocator that a sink may have brought.
#pragma once

#include <streams.h>

namespace zdr::mp4source {

// A pointer that is granted but null counts as one that is refused.
inline HRESULT get_buffer(IMediaSample* sample, BYTE** buffer) {
  const HRESULT hr = sample->GetPointer(buffer);
  return SUCCEEDED(hr) && *buffer == nullptr ? E_POINTER : hr;
}

}  // namespace zdr::mp4source
