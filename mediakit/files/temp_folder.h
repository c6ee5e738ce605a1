// Temporary folders and files for tests.
#pragma once

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <string_view>

namespace zdr::test {

// A new folder of this user alone, whatever the umask. The destructor deletes it with its content.
class TempFolder {
 public:
  explicit TempFolder(const std::filesystem::path& parent = std::filesystem::temp_directory_path()) {
    std::random_device random;
    do {
      path_ = parent / ("zdr-test-" + std::to_string(random()));
    } while (!std::filesystem::create_directory(path_));
    std::filesystem::permissions(path_, std::filesystem::perms::owner_all);
  }
  ~TempFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  TempFolder(const TempFolder&) = delete;
  TempFolder& operator=(const TempFolder&) = delete;

  std::filesystem::path operator/(const std::filesystem::path& name) const { return path_ / name; }
  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
};

inline void write_file(const std::filesystem::path& path, std::string_view content) {
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  file.write(content.data(), static_cast<std::streamsize>(content.size()));
}

inline std::string read_file(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

// Makes a file of zeros that takes no space where the file system supports sparse files.
inline void write_sparse_file(const std::filesystem::path& path, uint64_t size) {
  write_file(path, {});
  std::filesystem::resize_file(path, size);
}

}  // namespace zdr::test
