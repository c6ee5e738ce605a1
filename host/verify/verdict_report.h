// Prints the verdicts of `zdr verify`: a line for each file, then the total; or JSON.
#pragma once

#include <array>
#include <iosfwd>
#include <memory>

#include "host/json/json_report.h"
#include "host/options.h"
#include "host/verify/file_verdict.h"

namespace zdr::host {

class VerdictReport {
 public:
  // `is_list`: there may be several files.
  VerdictReport(const Options& options, bool is_list, std::ostream& out);

  // Prints the verdict at once.
  void add(const FileVerdict& verdict);
  // Prints the total of several files. Returns the worst of their exit codes. `not_begun`: files without a
  // verdict.
  ExitCode finish(uint64_t not_begun);
  // Number of files, without those that were interrupted.
  uint64_t files() const { return all_ - interrupted(); }
  uint64_t interrupted() const { return counts_[static_cast<size_t>(Verdict::kInterrupted)]; }

 private:
  void print(const FileVerdict& verdict);
  void print_json(const FileVerdict& verdict);

  const Options& options_;
  const bool is_list_;
  std::ostream& out_;
  // Begins the lines that are not digests: "# " with --hash, else empty.
  const char* const prefix_;
  std::unique_ptr<JsonReport> json_;
  std::array<uint64_t, kVerdicts> counts_{};
  uint64_t all_ = 0;
  uint64_t partly_played_ = 0;  // files with tracks that are not played
  ExitCode worst_ = ExitCode::kDone;
};

}  // namespace zdr::host
