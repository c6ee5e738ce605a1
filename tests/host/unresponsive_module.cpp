// A source filter that misbehaves in the way that the environment variable ZDR_TEST_FAULT names: it hangs
// when it loads or connects, its worker hangs at a sample or runs out of memory, its pin has an odd name, it
// reports that the user ended the playback, or it leaves an object behind.
#include <streams.h>
#include <unistd.h>

#include <cstdlib>
#include <iterator>
#include <string_view>

#include "filters/source/mp4/interfaces/zdr_guids.h"

namespace {

bool has_fault(std::string_view name) {
  const char* const fault = std::getenv("ZDR_TEST_FAULT");
  return fault != nullptr && name == fault;
}

[[noreturn]] void hang() {
  for (;;) pause();
}

LPCWSTR pin_name() {
  if (has_fault("no name")) return nullptr;
  return has_fault("path") ? WIDE("/../../x") : WIDE("Audio0");
}

class Stream final : public CSourceStream {
 public:
  Stream(HRESULT* phr, CSource* filter) : CSourceStream(NAME("stream"), phr, filter, pin_name()) {}

  HRESULT GetMediaType(int position, CMediaType* type) override {
    if (position > 0) return VFW_S_NO_MORE_ITEMS;
    type->SetType(&MEDIATYPE_Audio);
    type->SetSubtype(&zdr::mp4source::kSubtypeAmrNarrowBand);
    return S_OK;
  }
  HRESULT CheckMediaType(const CMediaType* /*type*/) override {
    if (has_fault("connect")) hang();
    return S_OK;
  }
  HRESULT DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* wanted) override {
    *wanted = {1, 32, 1, 0};
    ALLOCATOR_PROPERTIES actual{};
    return allocator->SetProperties(wanted, &actual);
  }
  HRESULT OnThreadCreate() override {
    if (has_fault("start")) hang();
    return S_OK;
  }
  HRESULT FillBuffer(IMediaSample* sample) override {
    if (has_fault("first sample") || (has_fault("second sample") && delivered_ > 0)) hang();
    if (has_fault("user") && delivered_ > 0) m_pFilter->NotifyEvent(EC_USERABORT, 0, 0);
    if (has_fault("memory") && delivered_ > 0) return E_OUTOFMEMORY;
    BYTE* data = nullptr;
    if (delivered_++ > 0 || FAILED(sample->GetPointer(&data))) return S_FALSE;
    *data = 0x7C;  // a frame of AMR without data
    return sample->SetActualDataLength(1);
  }

 private:
  int delivered_ = 0;
};

class Source final : public CSource, public IFileSourceFilter {
 public:
  explicit Source(HRESULT* phr) : CSource(NAME("source"), nullptr, zdr::mp4source::kClsidSourceFilter, phr) {}

  DECLARE_IUNKNOWN
  HRESULT NonDelegatingQueryInterface(REFIID riid, void** ppv) override {
    if (riid == IID_IFileSourceFilter) return GetInterface(static_cast<IFileSourceFilter*>(this), ppv);
    return CSource::NonDelegatingQueryInterface(riid, ppv);
  }
  HRESULT Load(LPCOLESTR /*name*/, const AM_MEDIA_TYPE* /*type*/) override {
    if (has_fault("load")) hang();
    HRESULT hr = S_OK;
    new Stream(&hr, this);  // the filter owns its pins
    return hr;
  }
  HRESULT GetCurFile(LPOLESTR* /*name*/, AM_MEDIA_TYPE* /*type*/) override { return E_NOTIMPL; }
};

CUnknown* create(IUnknown* /*outer*/, HRESULT* phr) {
  auto* source = new Source(phr);
  if (has_fault("object")) source->AddRef();
  return source;
}

}  // namespace

constinit CFactoryTemplate g_Templates[] = {
    {u"Unresponsive", &zdr::mp4source::kClsidSourceFilter, &create, nullptr, nullptr},
};
constinit int g_cTemplates = static_cast<int>(std::size(g_Templates));

BOOL DllMain(HINSTANCE instance, ULONG reason, void* reserved) {
  return DllEntryPoint(instance, reason, reserved);
}
