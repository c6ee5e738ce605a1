// An output file that appears under its name only when it is complete: it is written as NAME.part and then
// renamed. While it is written, no other run can write the same NAME.part.
#pragma once

#include <cstdint>
#include <filesystem>
#include <span>
#include <string>
#include <vector>

#include "host/writers/output.h"
#include "platform/win32/file_set.h"
#include "platform/win32/new_file.h"

namespace zdr::host {

// Creates a folder for outputs unless it exists; an empty name is the current folder. Returns why that
// failed, or nothing.
std::string create_folder(const std::string& name);

// Returns `given` if it is a file, or `file_name` in it if it is a folder: one that exists, or whose name
// ends with a separator. If `given` is empty, the folder is the current one.
std::filesystem::path output_path(const std::string& given, const std::string& file_name);

class OutputFile final : public Output {
 public:
  // Does not create the file. Without `replace`, open() fails if the final name or the partial file exists.
  // It always fails for a name of one of `inputs`, which must outlive the object; null for none.
  OutputFile(std::filesystem::path final_path, bool replace, const platform::FileSet* inputs = nullptr);
  // Leaves the partial file unless commit() has succeeded.
  ~OutputFile() override;

  // Also creates the folder of the file.
  bool open() override;
  bool write(Bytes bytes) override;
  bool can_rewrite() const override { return true; }
  bool rewrite(uint64_t offset, Bytes bytes) override;
  bool flush() override;
  // Flushes, closes and renames to the final name.
  bool commit() override;
  // Closes without renaming and leaves the partial file.
  void abandon() override;
  uint64_t size() const override { return stored_ + buffer_.size(); }

  const std::filesystem::path& final_path() const { return final_path_; }
  const std::filesystem::path& partial_path() const { return partial_path_; }
  // True if open() created the partial file and commit() has not renamed it.
  bool has_partial() const { return has_partial_; }
  // Names the partial file that a failure or an interruption leaves; empty if there is none.
  std::string partial_note() const;
  // The error, and what it leaves.
  std::string failure() const;

 private:
  bool fail(const std::string& what, int code = 0);
  bool store(Bytes first, Bytes second = {});
  bool is_input(const std::filesystem::path& path) const;
  bool check_target();

  std::filesystem::path final_path_;
  std::filesystem::path partial_path_;
  bool replace_;
  const platform::FileSet* inputs_;
  bool has_partial_ = false;
  platform::NewFile file_;
  std::vector<uint8_t> buffer_;  // less than two blocks; follows the stored bytes
  uint64_t stored_ = 0;
  bool is_damaged_ = false;  // a write failed
};

}  // namespace zdr::host
