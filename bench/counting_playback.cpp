// Builds and runs the graph of the filter and the sink.
#include "bench/counting_playback.h"

#include <session.h>

#include "bench/huge_movie.h"
#include "filters/source/mp4/interfaces/zdr_guids.h"

STDAPI DllGetClassObject(REFCLSID rclsid, REFIID riid, void** ppv);

namespace zdr::bench {

Playback::Playback(const std::u16string& path) : sink_(new CountingSink) {
  static const bool kIsPrivate = platform::set_private_session();
  com::ComPtr<IClassFactory> factory;
  com::ComPtr<IFileSourceFilter> file;
  com::ComPtr<IEnumPins> pins;
  com::ComPtr<IPin> out;
  require(
      kIsPrivate &&
          DllGetClassObject(mp4source::kClsidSourceFilter, IID_IClassFactory, factory.out_void()) == S_OK &&
          factory->CreateInstance(nullptr, IID_IBaseFilter, filter_.out_void()) == S_OK &&
          filter_->QueryInterface(IID_IFileSourceFilter, file.out_void()) == S_OK &&
          file->Load(path.c_str(), nullptr) == S_OK && filter_->EnumPins(pins.out()) == S_OK &&
          pins->Next(1, out.out(), nullptr) == S_OK && out->Connect(&sink_->pin(), nullptr) == S_OK,
      "loading a file");
}

void Playback::run() {
  require(sink_->Run(0) == S_OK && filter_->Run(0) == S_OK, "playing a file");
}

Playback::~Playback() {
  filter_->Stop();
  sink_->Stop();
  com::ComPtr<IPin> out;
  sink_->pin().ConnectedTo(out.out());
  out->Disconnect();
  sink_->pin().Disconnect();
}

}  // namespace zdr::bench
