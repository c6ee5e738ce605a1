// The exit codes of `zdr`, and how several files' codes become one.
#pragma once

namespace zdr::host {

enum class ExitCode : int {
  kDone = 0,
  kCannotOpen = 1,  // not found, unreadable or damaged
  kUsage = 2,
  kLoss = 3,          // played, but something was cut off or a pin failed
  kNotSupported = 4,  // no usable track, unknown extension
  kCannotWrite = 5,
  kInterrupted = 130,
};

// How bad a code is beside another: a file that lost something is better off than one that did not open.
constexpr int severity(ExitCode code) {
  switch (code) {
    case ExitCode::kDone:
      return 0;
    case ExitCode::kLoss:
      return 1;
    case ExitCode::kNotSupported:
      return 2;
    case ExitCode::kCannotOpen:
      return 3;
    case ExitCode::kUsage:
      return 4;
    case ExitCode::kCannotWrite:
      return 5;
    case ExitCode::kInterrupted:
      return 6;
  }
  return 6;
}

constexpr ExitCode worse_of(ExitCode a, ExitCode b) {
  return severity(b) > severity(a) ? b : a;
}

}  // namespace zdr::host
