// Registers the module: the class and its filter through the base classes, and the file name extensions for
// which the filter is the source. Registering and unregistering use different lists.
#include <registry_hold.h>
#include <streams.h>

#include <iterator>
#include <new>
#include <span>
#include <string>

#include "filters/source/mp4/interfaces/zdr_guids.h"

namespace zdr::mp4source {
namespace {

constexpr WCHAR kSourceExtensions[] = u"Media Type\\Extensions";
constexpr WCHAR kPlayerExtensions[] = u"SOFTWARE\\Microsoft\\MultiMedia\\WMPlayer\\Extensions";
constexpr WCHAR kLibraryExtensions[] = u"SOFTWARE\\Microsoft\\MediaPlayer\\MLS\\Extensions";

// Kept: other extensions that the filter opens are missing. The first entry, for "no extension", is skipped.
constexpr WCHAR kRegistered[7][12] = {u"None", u"3gp", u"3gpp", u"3ga", u"3gpa", u"3gpa-drm", u"3g2"};

// Kept: more than are registered. Earlier versions and other programs created the rest.
constexpr const WCHAR* kUnregistered[] = {u"mp4", u"mp4a", u"mp4a-drm", u"amr",  u"3gp",     u"3gpp",
                                          u"3g2", u"3ga",  u"rec",      u"3gpa", u"3gpa-drm"};

constexpr DWORD kPlayerRunTime = 7;
constexpr DWORD kPlayerPermissions = 31;
constexpr size_t kLongestTail = 11;  // "\.3gpa-drm" with its NUL

class CreatedKey {
 public:
  CreatedKey(HKEY root, const WCHAR* path) noexcept
      : status_(RegCreateKeyExW(root, path, 0, const_cast<LPWSTR>(u""), REG_OPTION_NON_VOLATILE,
                                KEY_ALL_ACCESS, nullptr, &key_, nullptr)) {}
  ~CreatedKey() {
    if (key_ != nullptr) RegCloseKey(key_);
  }
  CreatedKey(const CreatedKey&) = delete;
  CreatedKey& operator=(const CreatedKey&) = delete;

  bool exists() const noexcept { return status_ == ERROR_SUCCESS; }

  // Kept: failures to set a value are ignored. No effect without a key.
  void set_text(const WCHAR* name, const WCHAR* text) noexcept {
    const int bytes = (lstrlenW(text) + 1) * static_cast<int>(sizeof(WCHAR));
    set(name, REG_SZ, text, static_cast<DWORD>(bytes));
  }
  void set_number(const WCHAR* name, DWORD number) noexcept { set(name, REG_DWORD, &number, sizeof number); }

 private:
  void set(const WCHAR* name, DWORD type, const void* data, DWORD bytes) noexcept {
    if (key_ != nullptr) RegSetValueExW(key_, name, 0, type, static_cast<const BYTE*>(data), bytes);
  }

  HKEY key_ = nullptr;
  LSTATUS status_;
};

// Base key, "\.", extension. The capacity of `path` suffices.
const WCHAR* extension_key(std::u16string& path, const WCHAR* base, const WCHAR* extension) {
  path.assign(base).append(u"\\.").append(extension);
  return path.c_str();
}

HRESULT register_extension(std::u16string& path, const WCHAR* extension) {
  {
    WCHAR filter[CHARS_IN_GUID];
    StringFromGUID2(kClsidSourceFilter, filter, CHARS_IN_GUID);
    CreatedKey source(HKEY_CLASSES_ROOT, extension_key(path, kSourceExtensions, extension));
    if (!source.exists()) return E_FAIL;
    source.set_text(u"Source Filter", filter);
  }
  {
    CreatedKey player(HKEY_LOCAL_MACHINE, extension_key(path, kPlayerExtensions, extension));
    if (!player.exists()) {
      OutputDebugStringW(u"Failed to create \n");
      return E_FAIL;
    }
    player.set_number(u"RunTime", kPlayerRunTime);
    player.set_number(u"Permissions", kPlayerPermissions);
  }
  // The media library need not exist.
  CreatedKey(HKEY_LOCAL_MACHINE, kLibraryExtensions).set_text(extension, u"video");
  return S_OK;
}

// After a failure the entries already written stay.
HRESULT register_extensions() {
  std::u16string path;
  path.reserve(std::size(kPlayerExtensions) + kLongestTail);
  for (const auto& extension : std::span(kRegistered).subspan(1)) {
    if (const HRESULT hr = register_extension(path, extension); FAILED(hr)) return hr;
  }
  return S_OK;
}

// Skips keys that do not exist or have sub keys. The entries of the media player and the media library stay.
HRESULT unregister_extensions() {
  std::u16string path;
  path.reserve(std::size(kSourceExtensions) + kLongestTail);
  for (const WCHAR* extension : kUnregistered) {
    RegDeleteKeyW(HKEY_CLASSES_ROOT, extension_key(path, kSourceExtensions, extension));
  }
  return S_OK;
}

// Makes the class, its filter and the extensions one change of the registry, also when only a part was
// written.
template <class ChangeExtensions>
HRESULT set_up_module(BOOL register_server, ChangeExtensions change_extensions) noexcept {
  platform::RegistryHold hold;
  HRESULT hr = HRESULT_FROM_WIN32(hold.error());
  if (SUCCEEDED(hr)) hr = AMovieDllRegisterServer2(register_server);
  bool is_set_up = SUCCEEDED(hr);
  try {
    if (is_set_up) hr = change_extensions();
  } catch (const std::bad_alloc&) {
    hr = E_FAIL;
  }
  if (const DWORD error = hold.commit(); error != NO_ERROR && is_set_up) {
    is_set_up = false;
    hr = HRESULT_FROM_WIN32(error);
  }
  if (!is_set_up && register_server) OutputDebugStringW(u"DllRegister Failed");
  return hr;
}

}  // namespace
}  // namespace zdr::mp4source

extern "C" ZDR_MODULE_EXPORT HRESULT DllRegisterServer() {
  return zdr::mp4source::set_up_module(TRUE, zdr::mp4source::register_extensions);
}

extern "C" ZDR_MODULE_EXPORT HRESULT DllUnregisterServer() {
  return zdr::mp4source::set_up_module(FALSE, zdr::mp4source::unregister_extensions);
}
