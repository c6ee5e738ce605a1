// RegistryFile: a registry for one test. It is an empty file at first, in a folder that is removed with it.
#pragma once

#include <windows.h>

#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include "mediakit/files/temp_folder.h"

namespace zdr::test {

class RegistryFile {
 public:
  RegistryFile() {
    if (const char* const before = std::getenv("ZDR_REGISTRY"); before != nullptr) before_ = before;
    setenv("ZDR_REGISTRY", path().c_str(), 1);
  }
  ~RegistryFile() { before_ ? setenv("ZDR_REGISTRY", before_->c_str(), 1) : unsetenv("ZDR_REGISTRY"); }
  RegistryFile(const RegistryFile&) = delete;
  RegistryFile& operator=(const RegistryFile&) = delete;

  std::filesystem::path path() const { return folder_ / "registry.reg"; }
  std::string content() const { return read_file(path()); }
  // Without rights of the group, whatever the umask: the registry refuses a file that a group may write.
  void write(std::string_view text) const {
    write_file(path(), text);
    std::filesystem::permissions(path(), std::filesystem::perms(0600));
  }

  // The data of a value below HKEY_CLASSES_ROOT, unless another root is given; empty for a missing value.
  std::vector<BYTE> data(const std::u16string& key, const char16_t* name,
                         HKEY root = HKEY_CLASSES_ROOT) const {
    std::vector<BYTE> bytes(4096);
    DWORD size = 4096;
    HKEY opened = nullptr;
    if (RegOpenKeyExW(root, key.c_str(), 0, KEY_READ, &opened) != ERROR_SUCCESS) return {};
    const LSTATUS status = RegQueryValueExW(opened, name, nullptr, nullptr, bytes.data(), &size);
    RegCloseKey(opened);
    bytes.resize(status == ERROR_SUCCESS ? size : 0);
    return bytes;
  }
  // The text of a value, without its NUL.
  std::u16string text(const std::u16string& key, const char16_t* name, HKEY root = HKEY_CLASSES_ROOT) const {
    const std::vector<BYTE> bytes = data(key, name, root);
    std::u16string text(bytes.size() / sizeof(char16_t), u'\0');
    if (!text.empty()) std::memcpy(text.data(), bytes.data(), text.size() * sizeof(char16_t));
    if (!text.empty()) text.pop_back();
    return text;
  }
  static bool has_key(const std::u16string& key, HKEY root = HKEY_CLASSES_ROOT) {
    HKEY opened = nullptr;
    if (RegOpenKeyExW(root, key.c_str(), 0, KEY_READ, &opened) != ERROR_SUCCESS) return false;
    RegCloseKey(opened);
    return true;
  }

 private:
  // In memory where possible: every change syncs the file.
  TempFolder folder_{std::filesystem::exists("/dev/shm") ? "/dev/shm"
                                                         : std::filesystem::temp_directory_path()};
  std::optional<std::string> before_;
};

}  // namespace zdr::test
