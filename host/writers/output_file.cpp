// Writes the partial file and renames it when it is complete.
#include "host/writers/output_file.h"

#include <cerrno>
#include <cstring>
#include <system_error>
#include <utility>

namespace zdr::host {
namespace {

// Bytes are stored up to the end of a block, so that the system writes each of its pages once. Blocks of half
// this size take a twentieth more time for a long file. For larger ones the system looks for longer stretches
// of memory.
constexpr size_t kBlockBytes = 32 * 1024;
constexpr const char* kAdvice = " (use --force to replace it)";

}  // namespace

std::string create_folder(const std::string& name) {
  if (name.empty()) return {};
  const std::filesystem::path folder(name);
  std::error_code code;
  std::filesystem::create_directories(folder, code);
  std::error_code ignored;
  if (std::filesystem::is_directory(folder, ignored)) return {};
  if (std::filesystem::exists(folder, ignored)) return "is not a folder";
  return std::filesystem::is_symlink(folder, ignored) ? "is a dangling link"
                                                      : "cannot be created: " + code.message();
}

std::filesystem::path output_path(const std::string& given, const std::string& file_name) {
  const std::filesystem::path path(given);
  std::error_code code;
  const bool is_folder = given.empty() || !path.has_filename() || std::filesystem::is_directory(path, code);
  return is_folder ? path / file_name : path;
}

OutputFile::OutputFile(std::filesystem::path final_path, bool replace, const platform::FileSet* inputs)
    : final_path_(std::move(final_path)), partial_path_(final_path_), replace_(replace), inputs_(inputs) {
  partial_path_ += ".part";
}

OutputFile::~OutputFile() {
  abandon();
}

bool OutputFile::fail(const std::string& what, int code) {
  return Output::fail(code == 0 ? what : what + ": " + std::strerror(code));
}

std::string OutputFile::partial_note() const {
  return has_partial_ ? "what was written so far remains in " + partial_path_.string() : "";
}

std::string OutputFile::failure() const {
  return error() + (has_partial_ ? "; " : "") + partial_note();
}

bool OutputFile::is_input(const std::filesystem::path& path) const {
  return inputs_ != nullptr && inputs_->contains(path.string());
}

bool OutputFile::check_target() {
  std::error_code code;
  const std::filesystem::file_status status = std::filesystem::status(final_path_, code);
  if (is_input(final_path_) || is_input(partial_path_))
    return fail("is an input file, which is never replaced");
  if (!std::filesystem::exists(status)) {
    const bool is_dangling = std::filesystem::is_symlink(std::filesystem::symlink_status(final_path_, code));
    return !is_dangling || replace_ || fail(std::string("already exists as a dangling link") + kAdvice);
  }
  if (std::filesystem::is_directory(status)) return fail("is a folder");
  // Renaming onto a device would replace the device by a file.
  if (!std::filesystem::is_regular_file(status)) return fail("is not a regular file, so it is not replaced");
  return replace_ || fail(std::string("already exists") + kAdvice);
}

bool OutputFile::open() {
  if (!check_target()) return false;
  buffer_.reserve(kBlockBytes);
  std::error_code ignored;  // the file is not created either
  if (final_path_.has_parent_path()) std::filesystem::create_directories(final_path_.parent_path(), ignored);
  const int code = file_.create(partial_path_.string(), replace_);
  // Another run may have completed the file between the check and the creation.
  if (code == 0 && !check_target()) {
    file_.discard();
    return false;
  }
  has_partial_ = code == 0;
  if (has_partial_) return true;
  if (code == EBUSY) return fail("is being written by another run");
  if (code == EEXIST) return fail(partial_path_.filename().string() + " already exists" + kAdvice);
  return fail("cannot be created", code);
}

bool OutputFile::store(Bytes first, Bytes second) {
  const int code = file_.write(stored_, first, second, stored_);
  if (code == 0) return true;
  is_damaged_ = true;
  return fail("cannot be written", code);
}

bool OutputFile::flush() {
  const bool is_stored = store(buffer_);
  buffer_.clear();
  return is_stored;
}

bool OutputFile::write(Bytes bytes) {
  const uint64_t end = size() + bytes.size();
  const size_t rest = end % kBlockBytes;
  if (rest < bytes.size() && buffer_.size() + bytes.size() >= kBlockBytes) {
    const bool is_stored = store(buffer_, bytes.first(bytes.size() - rest));
    buffer_.clear();
    if (!is_stored) return false;
    bytes = bytes.last(rest);
  }
  buffer_.insert(buffer_.end(), bytes.begin(), bytes.end());
  return true;
}

bool OutputFile::rewrite(uint64_t offset, Bytes bytes) {
  if (!flush()) return false;
  if (offset + bytes.size() > stored_) return fail("is too short for its header");
  uint64_t written = 0;
  const int code = file_.write(offset, bytes, {}, written);
  return code == 0 || fail("cannot be written", code);
}

bool OutputFile::commit() {
  if (!flush() || is_damaged_) return false;
  if (const int code = file_.flush(); code != 0) return fail("cannot be written", code);
  if (!check_target()) return false;
  const int code = file_.publish(final_path_.string(), replace_);
  if (code == EEXIST) return fail("was meanwhile created by another program");
  if (code == ESTALE) {
    has_partial_ = false;
    return fail(partial_path_.filename().string() + " was removed or replaced by another program");
  }
  if (code != 0) return fail("cannot be renamed", code);
  has_partial_ = false;
  file_.close();
  return true;
}

void OutputFile::abandon() {
  if (!file_.is_open()) return;
  flush();
  file_.close();
}

}  // namespace zdr::host
