// The stored failure of the process.
#include "platform/win32/runtime/files/read_failure_log.h"

#include <mutex>
#include <optional>

#include "platform/win32/read_failures.h"

namespace zdr::platform {

namespace {

constinit std::mutex log_mutex;
constinit std::optional<ReadFailure> first_failure;

}  // namespace

void log_read_failure(uint64_t offset, int system_error) noexcept {
  const std::lock_guard lock(log_mutex);
  if (!first_failure) first_failure = ReadFailure{offset, system_error};
}

void forget_read_failures() noexcept {
  const std::lock_guard lock(log_mutex);
  first_failure.reset();
}

bool first_read_failure(ReadFailure& failure) noexcept {
  const std::lock_guard lock(log_mutex);
  if (first_failure) failure = *first_failure;
  return first_failure.has_value();
}

}  // namespace zdr::platform
