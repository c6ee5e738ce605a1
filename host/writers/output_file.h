// An output file that appears under its name only when it is complete: it is written as NAME.part and then
// renamed.
#pragma once

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <span>
#include <string>

namespace zdr::host {

class OutputFile {
 public:
  // Does not create the file. Without `replace`, open() fails if the final name exists.
  OutputFile(std::filesystem::path final_path, bool replace);
  // Leaves the partial file unless commit() has succeeded.
  ~OutputFile();
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;

  bool open();
  bool write(std::span<const uint8_t> bytes);
  // Overwrites bytes written before, such as header fields that are known only at the end.
  bool rewrite(uint64_t offset, std::span<const uint8_t> bytes);
  // Flushes, closes and renames to the final name.
  bool commit();
  // Closes without renaming and leaves the partial file.
  void abandon();

  const std::filesystem::path& final_path() const { return final_path_; }
  const std::filesystem::path& partial_path() const { return partial_path_; }
  // True if open() created the partial file and commit() has not renamed it.
  bool has_partial() const { return has_partial_; }
  uint64_t size() const { return size_; }
  // Why the last failed call failed.
  const std::string& error() const { return error_; }

 private:
  bool fail(const char* what);

  std::filesystem::path final_path_;
  std::filesystem::path partial_path_;
  bool replace_;
  bool has_partial_ = false;
  std::ofstream stream_;
  uint64_t size_ = 0;
  std::string error_;
};

}  // namespace zdr::host
