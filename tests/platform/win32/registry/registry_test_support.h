// What the tests of the registry share: a registry file of the test's own, and short forms of the calls.
#pragma once

#include <array>
#include <cstring>

#include "tests/platform/win32/win32_test_support.h"

namespace zdr::platform::test {

// Registry functions leave the last error alone; the fixture checks that of every test.
class RegistryTest : public Win32Test {
 protected:
  RegistryTest() : variable_("ZDR_REGISTRY", path("registry.reg").c_str()) {}
  void TearDown() override { EXPECT_EQ(GetLastError(), kUntouched); }

  std::string file_text() const { return zdr::tests::read_file(folder_ / "registry.reg"); }
  void write_file_text(std::string_view text) const {
    zdr::tests::write_file(folder_ / "registry.reg", text);
  }

  ScopedVariable variable_;
};

class ScopedKey {
 public:
  ScopedKey() = default;
  explicit ScopedKey(HKEY root, const char16_t* path, REGSAM access = KEY_ALL_ACCESS) {
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
  result.status = RegQueryValueExW(key, name, nullptr, &result.type,
                                   reinterpret_cast<BYTE*>(result.bytes.data()), &bytes);
  return result;
}

// The text of a value without its NUL; "?" for anything else.
inline std::u16string text_of(HKEY key, const char16_t* name) {
  const Stored value = stored(key, name);
  if (value.status != ERROR_SUCCESS || value.type != REG_SZ || value.bytes.size() < 2) return u"?";
  const std::string_view bytes(value.bytes.data(), value.bytes.size() - sizeof(char16_t));
  std::u16string text(bytes.size() / sizeof(char16_t), u'\0');
  if (!text.empty()) std::memcpy(text.data(), bytes.data(), bytes.size());
  return text;
}

// What a list gives for an index, in a buffer for so many characters.
struct Listed {
  LSTATUS status = 0;
  std::u16string name;

  bool operator==(const Listed&) const = default;
};

template <class Enumerate>
Listed listed(Enumerate enumerate, HKEY key, DWORD index, DWORD room) {
  WCHAR name[8];
  DWORD length = room;
  const LSTATUS status = enumerate(key, index, name, &length, nullptr, nullptr, nullptr, nullptr);
  return {status, status == ERROR_SUCCESS ? std::u16string(name, length) : u""};
}

// Number of sub keys and length of the longest name, number of values, longest name and most data, 0.
inline std::array<DWORD, 6> counts_of(HKEY key) {
  std::array<DWORD, 6> told{};
  EXPECT_EQ(RegQueryInfoKeyW(key, nullptr, nullptr, nullptr, &told[0], &told[1], nullptr, &told[2], &told[3],
                             &told[4], &told[5], nullptr),
            ERROR_SUCCESS);
  return told;
}

inline LSTATUS open_status(HKEY root, const char16_t* path) {
  HKEY key = nullptr;
  const LSTATUS status = RegOpenKeyExW(root, path, 0, KEY_READ, &key);
  if (key != nullptr) RegCloseKey(key);
  return status;
}

}  // namespace zdr::platform::test
