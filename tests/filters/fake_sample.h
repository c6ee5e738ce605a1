// FakeSample: a media sample on its own, without allocator, that keeps what is set on it and can refuse each
// call. Lives on the stack of the test.
#pragma once

#include <streams.h>

#include <vector>

namespace zdr::tests {

class FakeSample final : public IMediaSample {
 public:
  explicit FakeSample(LONG size) : buffer(static_cast<size_t>(size)), length(size) {
    buffer.reserve(1);  // also an empty one has an address
  }

  std::vector<BYTE> buffer;
  LONG length;
  REFERENCE_TIME start = 0;
  REFERENCE_TIME stop = 0;
  bool sync = false;
  bool preroll = false;
  bool discontinuity = false;
  // What the calls answer.
  HRESULT get_pointer = S_OK;
  bool null_pointer = false;
  HRESULT set_sync_point = S_OK;
  HRESULT set_discontinuity = S_OK;

  std::vector<BYTE> data() const { return {buffer.begin(), buffer.begin() + length}; }

  HRESULT QueryInterface(REFIID, void** ppv) override { return *ppv = nullptr, E_NOINTERFACE; }
  ULONG AddRef() override { return 1; }
  ULONG Release() override { return 1; }
  HRESULT GetPointer(BYTE** pointer) override {
    return *pointer = null_pointer ? nullptr : buffer.data(), get_pointer;
  }
  LONG GetSize() override { return static_cast<LONG>(buffer.size()); }
  HRESULT GetTime(REFERENCE_TIME* from, REFERENCE_TIME* to) override {
    return *from = start, *to = stop, S_OK;
  }
  HRESULT SetTime(REFERENCE_TIME* from, REFERENCE_TIME* to) override {
    return start = *from, stop = *to, S_OK;
  }
  HRESULT IsSyncPoint() override { return sync ? S_OK : S_FALSE; }
  HRESULT SetSyncPoint(BOOL value) override { return sync = value != FALSE, set_sync_point; }
  HRESULT IsPreroll() override { return preroll ? S_OK : S_FALSE; }
  HRESULT SetPreroll(BOOL value) override { return preroll = value != FALSE, S_OK; }
  LONG GetActualDataLength() override { return length; }
  HRESULT SetActualDataLength(LONG value) override { return length = value, S_OK; }
  HRESULT GetMediaType(AM_MEDIA_TYPE** type) override { return *type = nullptr, S_FALSE; }
  HRESULT SetMediaType(AM_MEDIA_TYPE*) override { return S_OK; }
  HRESULT IsDiscontinuity() override { return discontinuity ? S_OK : S_FALSE; }
  HRESULT SetDiscontinuity(BOOL value) override { return discontinuity = value != FALSE, set_discontinuity; }
  HRESULT GetMediaTime(LONGLONG*, LONGLONG*) override { return VFW_E_MEDIA_TIME_NOT_SET; }
  HRESULT SetMediaTime(LONGLONG*, LONGLONG*) override { return S_OK; }
};

}  // namespace zdr::tests
