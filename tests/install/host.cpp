// Uses the installed module as any host does: creates the filter by its class through the registry and loads
// a file.
#include <dshow.h>

#include <filesystem>

#include "filters/source/mp4/interfaces/zdr_guids.h"

int main(int argument_count, char** arguments) {
  if (argument_count != 2) return 2;
  CoInitialize(nullptr);
  IFileSourceFilter* filter = nullptr;
  if (CoCreateInstance(zdr::mp4source::kClsidSourceFilter, nullptr, CLSCTX_INPROC_SERVER,
                       IID_IFileSourceFilter, reinterpret_cast<void**>(&filter)) != S_OK) {
    return 1;
  }
  const HRESULT loaded = filter->Load(std::filesystem::path(arguments[1]).u16string().c_str(), nullptr);
  filter->Release();
  CoUninitialize();
  return loaded == S_OK ? 0 : 1;
}
