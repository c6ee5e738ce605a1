// Searches the environment, the registry and the folders of the program.
#include "host/graph/module_loader.h"

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <optional>
#include <system_error>

#include "filters/source/mp4/interfaces/zdr_guids.h"
#include "host/memory.h"
#include "host/text/wide_text.h"
#include "host/version.h"
#include "platform/com/class_modules.h"

namespace zdr::host {
namespace {

using com::ComPtr;

constexpr const char* kModuleName = "ZdrMp4Source.so";
constexpr const char* kFallback = "; using the filter next to this program";

const char* named_module() {
  const char* named = std::getenv("ZDR_MODULE");
  return named != nullptr && *named != '\0' ? named : nullptr;
}

std::filesystem::path program_folder() {
  std::array<WCHAR, 4096> path{};
  const DWORD length = GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size()));
  return std::filesystem::path(native_file_name({path.data(), length})).parent_path();
}

ComPtr<IBaseFilter> create_from_module(const std::string& module, HRESULT& hr) {
  ComPtr<IBaseFilter> filter;
  hr = with_memory(
      com::create_from_module(module, mp4source::kClsidSourceFilter, IID_IBaseFilter, filter.out_void()));
  return filter;
}

ComPtr<IBaseFilter> create_registered(REFCLSID clsid, HRESULT& hr) {
  ComPtr<IBaseFilter> filter;
  hr =
      with_memory(CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, IID_IBaseFilter, filter.out_void()));
  return filter;
}

// Reads the value "Source Filter" of the extension. Returns ERROR_FILE_NOT_FOUND if there is none.
LSTATUS source_filter_of(const std::u16string& extension, std::array<WCHAR, CHARS_IN_GUID>& text) {
  const std::u16string path = u"Media Type\\Extensions\\" + extension;
  HKEY key = nullptr;
  LSTATUS status = RegOpenKeyExW(HKEY_CLASSES_ROOT, path.c_str(), 0, KEY_QUERY_VALUE, &key);
  if (status != ERROR_SUCCESS) return status;
  DWORD bytes = sizeof text;
  status =
      RegQueryValueExW(key, u"Source Filter", nullptr, nullptr, reinterpret_cast<BYTE*>(text.data()), &bytes);
  RegCloseKey(key);
  text.back() = u'\0';
  return status;
}

// Returns the class that is registered for the extension of the file. Reports faults of the entry or the
// registry as notes.
std::optional<CLSID> registered_class(const std::string& file, Messages& messages) {
  const std::u16string extension = wide_file_name(std::filesystem::path(file).extension().string());
  if (extension.empty() || extension.find(u'\\') != std::u16string::npos) return std::nullopt;
  std::array<WCHAR, CHARS_IN_GUID> text{};
  const LSTATUS status = source_filter_of(extension, text);
  if (status == ERROR_FILE_NOT_FOUND) return std::nullopt;
  with_memory(status, ERROR_NOT_ENOUGH_MEMORY);
  CLSID clsid{};
  if (status == ERROR_SUCCESS && SUCCEEDED(CLSIDFromString(text.data(), &clsid))) return clsid;
  if (status == ERROR_SUCCESS || status == ERROR_MORE_DATA) {
    messages.note(
        {MessageCode::kRegistryFailed,
         file,
         {},
         "the registry entry for " + native_file_name(extension) + " is not a class identifier" + kFallback,
         hresult_text(CO_E_CLASSSTRING)});
  } else {
    const Message unread = unreadable_registry(platform::report_registry());
    messages.note({unread.code, file, {}, unread.file + ": " + unread.text() + kFallback, unread.status});
  }
  return std::nullopt;
}

}  // namespace

Message unreadable_registry(const platform::RegistryReport& report) {
  const Place place = report.line == 0 ? Place{} : Place::line(report.line);
  const std::string reason = report.reason.empty() ? "" : ": " + report.reason;
  return {MessageCode::kRegistryFailed, report.path, place, "the registry cannot be read" + reason,
          hresult_text(HRESULT_FROM_WIN32(report.error))};
}

std::string own_module_path() {
  if (const char* named = named_module(); named != nullptr) return named;
  const std::filesystem::path folder = program_folder();
  std::error_code code;
  const std::filesystem::path installed = folder / kModuleFolder / kModuleName;
  const std::filesystem::path beside = folder / kModuleName;
  return (std::filesystem::exists(beside, code) || !std::filesystem::exists(installed, code) ? beside
                                                                                             : installed)
      .string();
}

Message module_failure(const std::string& file, HRESULT hr) {
  const std::string module = own_module_path();
  std::error_code code;
  std::string reason = "is not a filter module for this system";
  if (!std::filesystem::exists(module, code)) {
    reason = "no such file";
  } else if (!std::ifstream(module)) {
    reason = std::strerror(errno);
  } else if (hr == CO_E_ERRORINDLL || hr == CLASS_E_CLASSNOTAVAILABLE) {
    reason = "does not have the class of the source filter";
  }
  return {MessageCode::kModuleFailed,
          file,
          {},
          "the filter module cannot be loaded: " + module + ": " + reason,
          hresult_text(hr)};
}

com::ComPtr<IBaseFilter> create_source_filter(const std::string& file, Messages& messages, HRESULT& hr) {
  if (named_module() != nullptr) return create_from_module(own_module_path(), hr);
  if (const std::optional<CLSID> clsid = registered_class(file, messages)) {
    if (ComPtr<IBaseFilter> filter = create_registered(*clsid, hr)) return filter;
    const std::string refusal = com::registered_module_refusal(*clsid);
    messages.note({MessageCode::kModuleFailed,
                   file,
                   {},
                   "the registered source filter cannot be created" +
                       (refusal.empty() ? "" : ": " + refusal) + kFallback,
                   hresult_text(hr)});
  }
  std::error_code code;
  const std::string own = own_module_path();
  if (std::filesystem::exists(own, code)) return create_from_module(own, hr);
  ComPtr<IBaseFilter> filter = create_registered(mp4source::kClsidSourceFilter, hr);
  if (filter) return filter;
  const std::string refusal = com::registered_module_refusal(mp4source::kClsidSourceFilter);
  if (!refusal.empty()) messages.error({MessageCode::kModuleFailed, file, {}, refusal, hresult_text(hr)});
  return filter;
}

}  // namespace zdr::host
