// Plays a file through the filter and prints a row for each media sample: pull_samples ZdrMp4Source.so FILE.
// A row has the number of the pin, start and stop time in 100 ns, and the size. Needs no registration.
#include <streams.h>

#include <cstdio>
#include <filesystem>
#include <vector>

#include "filters/source/mp4/interfaces/zdr_guids.h"
#include "platform/com/class_modules.h"
#include "platform/com/com_ptr.h"
#include "platform/win32/session.h"

// A filter with one pin that accepts every media type. The source calls the pin on its streaming thread.
struct Sink : CCritSec, CBaseFilter {
  struct Pin : CBaseInputPin {
    Pin(Sink* sink, int n) : CBaseInputPin(NAME("pin"), sink, sink, nullptr, u"In"), number(n) {}
    HRESULT CheckMediaType(const CMediaType*) override { return S_OK; }
    HRESULT Receive(IMediaSample* sample) override {
      REFERENCE_TIME start = 0, stop = 0;
      const HRESULT hr = CBaseInputPin::Receive(sample);
      if (hr != S_OK || FAILED(sample->GetTime(&start, &stop))) return hr;
      std::printf("%d,%jd,%jd,%d\n", number, intmax_t{start}, intmax_t{stop}, sample->GetActualDataLength());
      return S_OK;
    }
    HRESULT EndOfStream() override { return ended.Set(), S_OK; }
    const int number;
    CAMEvent ended{TRUE};
  };
  Sink(int n, IPin* p) : CBaseFilter(NAME("sink"), nullptr, this, GUID_NULL), pin(this, n), peer(p) {}
  int GetPinCount() override { return 1; }
  CBasePin* GetPin(int) override { return &pin; }
  Pin pin;
  zdr::com::ComPtr<IPin> peer;
};

int main(int argc, char** argv) {
  if (argc != 3 || !zdr::platform::set_private_session()) return 2;
  zdr::com::ComPtr<IBaseFilter> source;
  zdr::com::ComPtr<IFileSourceFilter> loader;
  zdr::com::ComPtr<IEnumPins> pins;
  const CLSID& filter = zdr::mp4source::kClsidSourceFilter;
  HRESULT hr = zdr::com::create_from_module(argv[1], filter, IID_IBaseFilter, source.out_void());
  if (SUCCEEDED(hr)) hr = source->QueryInterface(IID_IFileSourceFilter, loader.out_void());
  if (SUCCEEDED(hr)) hr = loader->Load(std::filesystem::path(argv[2]).u16string().c_str(), nullptr);
  if (SUCCEEDED(hr)) hr = source->EnumPins(pins.out());
  std::vector<zdr::com::ComPtr<Sink>> sinks;
  for (zdr::com::ComPtr<IPin> pin; SUCCEEDED(hr) && pins->Next(1, pin.out(), nullptr) == S_OK;) {
    sinks.emplace_back(new Sink(static_cast<int>(sinks.size()), pin.get()));
    hr = pin->Connect(&sinks.back()->pin, nullptr);
  }
  for (auto& sink : sinks) sink->Run(0);  // sinks first: the source delivers to them at once
  if (SUCCEEDED(hr)) hr = source->Run(0);
  for (auto& sink : sinks) SUCCEEDED(hr) && sink->pin.ended.Wait();
  for (auto& sink : sinks) sink->Stop();
  if (source) source->Stop();
  for (auto& sink : sinks) sink->peer->Disconnect(), sink->pin.Disconnect();
  return SUCCEEDED(hr) ? 0 : 1;
}
