// OpenKey, a registry key that closes itself, and the names of the keys that registration uses.
#pragma once

#include <objbase.h>
#include <windows.h>

#include <string>
#include <utility>

namespace zdr::com {

class OpenKey {
 public:
  OpenKey() noexcept = default;
  OpenKey(const OpenKey&) = delete;
  OpenKey& operator=(const OpenKey&) = delete;
  ~OpenKey() {
    if (key_ != nullptr) RegCloseKey(key_);
  }

  // Both take a path below HKEY_CLASSES_ROOT and return the registry's status. Call one of them, once.
  LSTATUS open(const std::u16string& path, REGSAM access) {
    return RegOpenKeyExW(HKEY_CLASSES_ROOT, path.c_str(), 0, access, &key_);
  }
  LSTATUS create(const std::u16string& path) {
    return RegCreateKeyExW(HKEY_CLASSES_ROOT, path.c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE, KEY_WRITE,
                           nullptr, &key_, nullptr);
  }

  // Stores the text with its NUL.
  LSTATUS set_text(const WCHAR* name, const std::u16string& text) {
    return set(name, REG_SZ, text.c_str(), (text.size() + 1) * sizeof(WCHAR));
  }
  LSTATUS set(const WCHAR* name, DWORD type, const void* data, size_t bytes) {
    return RegSetValueExW(key_, name, 0, type, static_cast<const BYTE*>(data), static_cast<DWORD>(bytes));
  }

  HKEY get() const noexcept { return key_; }

 private:
  HKEY key_ = nullptr;
};

// "{8-4-4-4-12}" in upper case.
inline std::u16string braced_text(REFGUID guid) {
  WCHAR text[CHARS_IN_GUID];
  StringFromGUID2(guid, text, CHARS_IN_GUID);
  return text;
}

// HKEY_CLASSES_ROOT\CLSID\{class}
inline std::u16string class_key(REFCLSID clsid) {
  return u"CLSID\\" + braced_text(clsid);
}

inline HRESULT hresult_of(LSTATUS status) noexcept {
  return HRESULT_FROM_WIN32(static_cast<DWORD>(status));
}

}  // namespace zdr::com
