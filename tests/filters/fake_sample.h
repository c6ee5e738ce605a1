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

class FakeSample final : public CMediaSample {
 public:
  // Its buffer, even an empty one, has an address, which is odd: samples may have any alignment.
  explicit FakeSample(LONG size)
      : CMediaSample(nullptr, nullptr, size), buffer_(static_cast<size_t>(size) + 1) {
    m_pBuffer = buffer_.data() + 1;
  }

  // The results of the calls.
  HRESULT get_pointer = S_OK;
  HRESULT set_sync_point = S_OK;
  HRESULT set_discontinuity = S_OK;
  HRESULT set_actual_data_length = S_OK;
  bool null_pointer = false;

  Filled content() {
    return {m_Start,
            m_End,
            IsSyncPoint() == S_OK,
            IsPreroll() == S_OK,
            IsDiscontinuity() == S_OK,
            {m_pBuffer, m_pBuffer + m_lActual}};
  }

  HRESULT GetPointer(BYTE** pointer) override {
    return *pointer = null_pointer ? nullptr : m_pBuffer, get_pointer;
  }
  HRESULT SetSyncPoint(BOOL value) override { return CMediaSample::SetSyncPoint(value), set_sync_point; }
  HRESULT SetDiscontinuity(BOOL value) override {
    return CMediaSample::SetDiscontinuity(value), set_discontinuity;
  }
  HRESULT SetActualDataLength(LONG length) override {
    return CMediaSample::SetActualDataLength(length), set_actual_data_length;
  }

 private:
  std::vector<BYTE> buffer_;
};

}  // namespace zdr::test
