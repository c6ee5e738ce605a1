// FakeSample: a media sample without an allocator, on the stack of the test, that can refuse calls.
#pragma once

#include <streams.h>

#include <ostream>
#include <vector>

namespace zdr::test {

// The content and the marks of a sample.
struct Filled {
  REFERENCE_TIME start = 0;
  REFERENCE_TIME stop = 0;
  bool sync = false;
  bool preroll = false;
  bool discontinuity = false;
  std::vector<BYTE> data;
  bool operator==(const Filled&) const = default;
};

inline std::ostream& operator<<(std::ostream& out, const Filled& each) {
  return out << each.start << '-' << each.stop << (each.sync ? " sync" : "")
             << (each.preroll ? " preroll" : "") << (each.discontinuity ? " discontinuity " : " ")
             << each.data.size() << " bytes";
}

class FakeSample final : public IMediaSample {
 public:
  explicit FakeSample(LONG size) : buffer_(static_cast<size_t>(size)), length_(size) {
    buffer_.reserve(1);  // even an empty buffer has an address
  }

  // The results of the calls.
  HRESULT get_pointer = S_OK;
  HRESULT set_sync_point = S_OK;
  HRESULT set_discontinuity = S_OK;
  bool null_pointer = false;

  Filled content() const {
    Filled content = marks_;
    content.data.assign(buffer_.begin(), buffer_.begin() + length_);
    return content;
  }

  HRESULT QueryInterface(REFIID, void** ppv) override { return *ppv = nullptr, E_NOINTERFACE; }
  ULONG AddRef() override { return 1; }
  ULONG Release() override { return 1; }
  HRESULT GetPointer(BYTE** pointer) override {
    return *pointer = null_pointer ? nullptr : buffer_.data(), get_pointer;
  }
  LONG GetSize() override { return static_cast<LONG>(buffer_.size()); }
  HRESULT SetTime(REFERENCE_TIME* from, REFERENCE_TIME* to) override {
    return marks_.start = *from, marks_.stop = *to, S_OK;
  }
  HRESULT SetSyncPoint(BOOL value) override { return marks_.sync = value != FALSE, set_sync_point; }
  HRESULT SetPreroll(BOOL value) override { return marks_.preroll = value != FALSE, S_OK; }
  HRESULT SetDiscontinuity(BOOL value) override {
    return marks_.discontinuity = value != FALSE, set_discontinuity;
  }
  HRESULT SetActualDataLength(LONG value) override { return length_ = value, S_OK; }

  // The filter does not call these.
  HRESULT GetTime(REFERENCE_TIME*, REFERENCE_TIME*) override { return E_NOTIMPL; }
  HRESULT IsSyncPoint() override { return E_NOTIMPL; }
  HRESULT IsPreroll() override { return E_NOTIMPL; }
  HRESULT IsDiscontinuity() override { return E_NOTIMPL; }
  LONG GetActualDataLength() override { return length_; }
  HRESULT GetMediaType(AM_MEDIA_TYPE**) override { return E_NOTIMPL; }
  HRESULT SetMediaType(AM_MEDIA_TYPE*) override { return E_NOTIMPL; }
  HRESULT GetMediaTime(LONGLONG*, LONGLONG*) override { return E_NOTIMPL; }
  HRESULT SetMediaTime(LONGLONG*, LONGLONG*) override { return E_NOTIMPL; }

 private:
  std::vector<BYTE> buffer_;
  LONG length_;
  Filled marks_;  // without data
};

}  // namespace zdr::test
