// Uses the installed module as any host does: creates the filter by its class through the registry, loads a
// file and prints its pins.
#include <dshow.h>

#include <cstdio>
#include <string>

#include "filters/source/mp4/interfaces/zdr_guids.h"

namespace {

bool print_pins(IBaseFilter* filter, const std::u16string& path) {
  IFileSourceFilter* file = nullptr;
  IEnumPins* pins = nullptr;
  if (filter->QueryInterface(IID_IFileSourceFilter, reinterpret_cast<void**>(&file)) != S_OK) return false;
  const bool loaded = file->Load(path.c_str(), nullptr) == S_OK && filter->EnumPins(&pins) == S_OK;
  file->Release();
  if (!loaded) return false;
  std::string line;
  for (IPin* pin = nullptr; pins->Next(1, &pin, nullptr) == S_OK; pin->Release()) {
    PIN_INFO info{};
    pin->QueryPinInfo(&info);
    info.pFilter->Release();
    line += line.empty() ? "" : " ";
    for (const WCHAR* c = info.achName; *c != 0; ++c) line += static_cast<char>(*c);
  }
  pins->Release();
  std::puts(line.c_str());
  return true;
}

}  // namespace

int main(int argument_count, char** arguments) {
  if (argument_count != 2) return 2;
  const std::string narrow = arguments[1];
  CoInitialize(nullptr);
  IBaseFilter* filter = nullptr;
  if (CoCreateInstance(zdr::mp4source::kClsidSourceFilter, nullptr, CLSCTX_INPROC_SERVER, IID_IBaseFilter,
                       reinterpret_cast<void**>(&filter)) != S_OK) {
    return 1;
  }
  const bool printed = print_pins(filter, {narrow.begin(), narrow.end()});
  filter->Release();
  CoUninitialize();
  return printed ? 0 : 1;
}
