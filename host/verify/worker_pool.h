// Verifies several files at once, each in another process: within one, the workers of two graphs would wake
// each other, since they share named events.
#pragma once

#include <functional>
#include <iosfwd>
#include <string>
#include <vector>

#include "host/options.h"
#include "host/verify/file_verdict.h"

namespace zdr::host {

// Verifies the files in `options.jobs` processes and passes the verdicts to `report`, in the order of the
// files. `watch` is called at least ten times a second; after it has returned false, only the verdicts
// that are known are passed, and those of the files in hand, as interrupted.
void verify_in_processes(const std::vector<std::string>& files, const Options& options,
                         const std::function<bool()>& watch, const std::function<void(FileVerdict)>& report);

// What each of these processes runs: reads names of files, each followed by a NUL, and answers each with its
// verdict.
ExitCode run_verify_worker(const Options& options, std::ostream& out);

}  // namespace zdr::host
