#include "host/module_loader.h"

#include <array>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>

#include "filters/source/mp4/interfaces/zdr_guids.h"
#include "host/messages.h"
#include "platform/com/class_modules.h"

namespace zdr::host {
namespace {

constexpr const char* kModuleName = "ZdrMp4Source.so";

std::filesystem::path program_folder() {
  std::array<WCHAR, 4096> path{};
  const DWORD length = GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size()));
  return std::filesystem::path(to_utf8({path.data(), length})).parent_path();
}

std::string module_path() {
  if (const char* named = std::getenv("ZDR_MODULE"); named != nullptr && *named != '\0') return named;
  const std::filesystem::path folder = program_folder();
  std::error_code code;
  for (const auto& candidate : {folder / kModuleName, folder / "../lib/zdr" / kModuleName}) {
    if (std::filesystem::exists(candidate, code)) return candidate.string();
  }
  return (folder / kModuleName).string();
}

}  // namespace

com::ComPtr<IBaseFilter> create_source_filter(HRESULT& hr) {
  com::ComPtr<IClassFactory> factory;
  com::ComPtr<IBaseFilter> filter;
  hr = com::class_object_from_module(module_path(), mp4source::kClsidSourceFilter, IID_IClassFactory,
                                     factory.out_void());
  if (SUCCEEDED(hr)) hr = factory->CreateInstance(nullptr, IID_IBaseFilter, filter.out_void());
  return filter;
}

}  // namespace zdr::host
