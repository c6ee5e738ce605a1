// The limit is that of the kernel on data, which counts every private writable page, touched or not.
#include "platform/win32/memory_limit.h"

#include <fcntl.h>
#include <pthread.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <optional>

#include "platform/win32/runtime/descriptor.h"

namespace zdr::platform {

namespace {

// The stack of a thread on the platform. The system's usual 8 MiB would count as a whole.
constexpr size_t kStackBytes = size_t{1} << 20;
constexpr uint64_t kMostPlausible = uint64_t{1} << 40;

// Bytes that the kernel counts now. Takes no memory.
std::optional<uint64_t> counted_now() noexcept {
  const Descriptor file(open("/proc/self/statm", O_RDONLY | O_CLOEXEC));
  std::array<char, 256> text{};
  if (!file || read(file.get(), text.data(), text.size() - 1) <= 0) return std::nullopt;
  unsigned long long pages = 0;
  if (std::sscanf(text.data(), "%*u %*u %*u %*u %*u %llu", &pages) != 1) return std::nullopt;
  return uint64_t{pages} * static_cast<uint64_t>(sysconf(_SC_PAGESIZE));
}

void limit_stacks() noexcept {
  pthread_attr_t attributes;
  if (pthread_getattr_default_np(&attributes) != 0) return;
  size_t size = 0;
  if (pthread_attr_getstacksize(&attributes, &size) == 0 && size > kStackBytes &&
      pthread_attr_setstacksize(&attributes, kStackBytes) == 0) {
    pthread_setattr_default_np(&attributes);
  }
  pthread_attr_destroy(&attributes);
}

}  // namespace

void limit_memory(uint64_t bytes) noexcept {
  const std::optional<uint64_t> counted = counted_now();
  rlimit limit{};
  if (!counted || *counted > kMostPlausible || getrlimit(RLIMIT_DATA, &limit) != 0) return;
  limit_stacks();
  limit.rlim_cur = std::min<rlim_t>(*counted + std::min(bytes, kMostPlausible), limit.rlim_max);
  setrlimit(RLIMIT_DATA, &limit);
}

}  // namespace zdr::platform
