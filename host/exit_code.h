// The exit codes of `zdr`, and their order: a run of several files exits with the worst of their codes.
#pragma once

namespace zdr::host {

enum class ExitCode : int {
  kDone = 0,
  kCannotOpen = 1,  // not found, unreadable or damaged; no such key frame
  kUsage = 2,
  kLoss = 3,          // something is missing: cut off, damaged, or a pin failed
  kNotSupported = 4,  // no usable track, unknown extension, start past the end, no cover
  kCannotWrite = 5,
  kInterrupted = 130,
};

// From best to worst: a partly lost file ranks above one that did not open.
inline constexpr ExitCode kBySeverity[] = {ExitCode::kDone,       ExitCode::kLoss,  ExitCode::kNotSupported,
                                           ExitCode::kCannotOpen, ExitCode::kUsage, ExitCode::kCannotWrite,
                                           ExitCode::kInterrupted};

constexpr ExitCode worse_of(ExitCode a, ExitCode b) {
  ExitCode worse = a;
  for (const ExitCode code : kBySeverity) {
    if (code == a || code == b) worse = code;
  }
  return worse;
}

}  // namespace zdr::host
