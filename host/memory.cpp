// Chooses the limit and formats the message about it.
#include "host/memory.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <system_error>

#include "platform/win32/memory_limit.h"

namespace zdr::host {
namespace {

constexpr uint64_t kMiB = uint64_t{1} << 20;
constexpr uint64_t kLeast = 64 * kMiB;
constexpr uint64_t kTimesTheFile = 4;
constexpr uint64_t kCode =
    2 * kMiB;  // of the program and its module, which the kernel does not count as data
constexpr uint64_t kLargestFile = uint64_t{1} << 40;  // larger files count as this, against overflow

uint64_t limit = 0;  // none

struct CloseFile {
  void operator()(std::FILE* file) const { std::fclose(file); }
};

}  // namespace

void limit_memory(const std::vector<std::string>& files) {
  limit = kLeast;
  for (const std::string& file : files) {
    std::error_code code;
    const uintmax_t size = std::filesystem::file_size(file, code);
    if (!code) limit = std::max(limit, kTimesTheFile * std::min<uint64_t>(size, kLargestFile));
  }
  platform::limit_memory(limit - kCode);
}

// What has failed may have closed some files since.
void throw_exhausted() {
  constexpr size_t kFilesOfARun = 8;
  std::array<std::unique_ptr<std::FILE, CloseFile>, kFilesOfARun> files;
  for (auto& file : files) {
    file.reset(std::fopen("/dev/null", "rb"));
    if (file == nullptr && (errno == EMFILE || errno == ENFILE)) throw TooManyFiles(errno);
  }
  throw std::bad_alloc();
}

Message exhausted(const std::string& file, const std::bad_alloc& error) {
  if (const auto* const files = dynamic_cast<const TooManyFiles*>(&error)) {
    const std::string reason = std::strerror(files->system_error());
    return {MessageCode::kFileNotReadable, file, {}, "cannot be opened: " + reason, ""};
  }
  const std::string text = limit == 0 ? "" : " (limit: " + std::to_string(limit / kMiB) + " MiB)";
  return {MessageCode::kOutOfMemory, file, {}, "out of memory" + text, ""};
}

}  // namespace zdr::host
