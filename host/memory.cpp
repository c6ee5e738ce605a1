// Chooses the limit and formats the message about it.
#include "host/memory.h"

#include <algorithm>
#include <cstdint>
#include <filesystem>
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

std::string out_of_memory() {
  return "out of memory" + (limit == 0 ? "" : " (limit: " + std::to_string(limit / kMiB) + " MiB)");
}

}  // namespace zdr::host
