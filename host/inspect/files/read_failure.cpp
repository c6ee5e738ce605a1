// Asks the platform, which does all reading.
#include "host/inspect/files/read_failure.h"

#include <cstdint>
#include <cstring>
#include <filesystem>
#include <optional>
#include <system_error>

#include "platform/win32/read_failures.h"

namespace zdr::host {
namespace {

struct WatchedFile {
  std::string name;
  std::optional<uintmax_t> size;  // none if the file cannot be measured
};
WatchedFile watched;

std::optional<uintmax_t> size_of(const std::string& file) {
  std::error_code code;
  const uintmax_t size = std::filesystem::file_size(file, code);
  return code ? std::nullopt : std::optional(size);
}

// Perhaps no read failed: the file may have shrunk before it was opened or measured.
bool has_shrunk(platform::ReadFailure& failure) {
  if (!watched.size) return false;
  const auto size = size_of(watched.name);
  failure = {size.value_or(0), 0};
  return size && *size < *watched.size;
}

}  // namespace

void watch_reads(const std::string& file) {
  platform::forget_read_failures();
  watched = {file, size_of(file)};
}

std::optional<Diagnosis> take_read_failure(ExitCode exit_code) {
  platform::ReadFailure failure{};
  if (!platform::first_read_failure(failure) && !has_shrunk(failure)) return std::nullopt;
  platform::forget_read_failures();
  watched = {};
  const std::string offset = "offset " + std::to_string(failure.offset);
  const std::string reason = failure.system_error == 0
                                 ? "became shorter while it was read: " + offset + " is beyond its end"
                                 : "cannot be read at " + offset + ": " + std::strerror(failure.system_error);
  return Diagnosis{exit_code, MessageCode::kReadFailed, {}, reason, ""};
}

ExitCode report_read_failure(const std::string& file, Messages& messages) {
  const auto failure = take_read_failure(ExitCode::kLoss);
  return failure ? messages.report(file, *failure) : ExitCode::kDone;
}

}  // namespace zdr::host
