// The fixture of the registry tests, which gives each test a registry file of its own, and short forms of the
// calls.
#pragma once

#include <cstring>

#include "tests/platform/win32/win32_test_support.h"

namespace zdr::test {

const HKEY kUser = HKEY_CURRENT_USER;

// Registry functions leave the last error alone; the fixture checks that in every test.
class Registry : public Win32Test {
 protected:
  Registry() : variable_("ZDR_REGISTRY", path("registry.reg").c_str()) {}
  void TearDown() override { EXPECT_EQ(GetLastError(), kUntouched); }

  std::string file_text() const { return read_file(folder_ / "registry.reg"); }
  void write_file_text(std::string_view text) const { write_file(folder_ / "registry.reg", text); }

  ScopedVariable variable_;
};

class ScopedKey {
 public:
  ScopedKey(HKEY root, const char16_t* path, REGSAM access = KEY_ALL_ACCESS) {
    status = RegCreateKeyExW(root, path, 0, nullptr, 0, access, nullptr, &key, &disposition);
  }
  ~ScopedKey() {
    if (key != nullptr) RegCloseKey(key);
  }
  ScopedKey(const ScopedKey&) = delete;
  ScopedKey& operator=(const ScopedKey&) = delete;
  operator HKEY() const { return key; }

  HKEY key = nullptr;
  DWORD disposition = 0;
  LSTATUS status = 0;
};

inline LSTATUS set_bytes(HKEY key, const char16_t* name, DWORD type, std::string_view bytes) {
  return RegSetValueExW(key, name, 0, type, reinterpret_cast<const BYTE*>(bytes.data()),
                        static_cast<DWORD>(bytes.size()));
}
inline LSTATUS set_text(HKEY key, const char16_t* name, const std::u16string& text) {
  return set_bytes(key, name, REG_SZ,
                   {reinterpret_cast<const char*>(text.c_str()), (text.size() + 1) * sizeof(char16_t)});
}

struct Stored {
  LSTATUS status = 0;
  DWORD type = 0;
  std::string bytes;

  bool operator==(const Stored&) const = default;
};

inline Stored stored(HKEY key, const char16_t* name) {
  Stored result;
  DWORD bytes = 0;
  result.status = RegQueryValueExW(key, name, nullptr, &result.type, nullptr, &bytes);
  if (result.status != ERROR_SUCCESS) return result;
  result.bytes.resize(bytes);
  auto* data = reinterpret_cast<BYTE*>(result.bytes.data());
  result.status = RegQueryValueExW(key, name, nullptr, &result.type, data, &bytes);
  return result;
}

// The text of a value without its NUL; "?" for anything else.
inline std::u16string text_of(HKEY key, const char16_t* name) {
  const Stored value = stored(key, name);
  if (value.status != ERROR_SUCCESS || value.type != REG_SZ || value.bytes.size() < 2) return u"?";
  std::u16string text(value.bytes.size() / sizeof(char16_t), u'\0');
  std::memcpy(text.data(), value.bytes.data(), text.size() * sizeof(char16_t));
  text.pop_back();
  return text;
}

inline LSTATUS open_status(HKEY root, const char16_t* path) {
  HKEY key = nullptr;
  const LSTATUS status = RegOpenKeyExW(root, path, 0, KEY_READ, &key);
  if (key != nullptr) RegCloseKey(key);
  return status;
}

}  // namespace zdr::test
