// Writes the partial file and renames it when it is complete.
#include "host/writers/output_file.h"

#include <cerrno>
#include <cstring>
#include <system_error>

namespace zdr::host {

OutputFile::OutputFile(std::filesystem::path final_path, bool replace)
    : final_path_(std::move(final_path)), partial_path_(final_path_), replace_(replace) {
  partial_path_ += ".part";
}

OutputFile::~OutputFile() {
  abandon();
}

bool OutputFile::fail(const char* what) {
  const int code = errno;
  error_ = what;
  if (code != 0) error_ += std::string(": ") + std::strerror(code);
  return false;
}

bool OutputFile::open() {
  std::error_code code;
  const std::filesystem::file_status status = std::filesystem::status(final_path_, code);
  errno = 0;
  if (std::filesystem::exists(status)) {
    if (std::filesystem::is_directory(status)) return fail("is a folder");
    // Renaming onto a device would replace the device by a file.
    if (!std::filesystem::is_regular_file(status)) return fail("is no regular file, so it is not replaced");
    if (!replace_) return fail("exists already (use --force to replace it)");
  }
  errno = 0;
  stream_.open(partial_path_, std::ios::binary | std::ios::trunc);
  has_partial_ = stream_.is_open();
  return has_partial_ || fail("cannot be created");
}

bool OutputFile::write(std::span<const uint8_t> bytes) {
  errno = 0;
  stream_.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  if (!stream_) return fail("cannot be written");
  size_ += bytes.size();
  return true;
}

bool OutputFile::rewrite(uint64_t offset, std::span<const uint8_t> bytes) {
  errno = 0;
  stream_.seekp(static_cast<std::streamoff>(offset));
  stream_.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  stream_.seekp(0, std::ios::end);
  return stream_ ? true : fail("cannot be written");
}

bool OutputFile::commit() {
  errno = 0;
  stream_.close();
  if (!stream_) return fail("cannot be written");
  std::error_code code;
  if (!replace_ && std::filesystem::exists(final_path_, code)) {
    errno = 0;
    return fail("was created by somebody else meanwhile");
  }
  std::filesystem::rename(partial_path_, final_path_, code);
  has_partial_ = static_cast<bool>(code);
  if (!has_partial_) return true;
  errno = code.value();
  return fail("cannot be renamed");
}

void OutputFile::abandon() {
  if (stream_.is_open()) stream_.close();
}

}  // namespace zdr::host
