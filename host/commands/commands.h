// The commands of `zdr`, one function each. Results go to `out`, messages to standard error.
#pragma once

#include <iosfwd>
#include <string>

#include "host/exit_code.h"
#include "host/options.h"

namespace zdr::host {

ExitCode run_play(const Options& options, std::ostream& out);
ExitCode run_info(const Options& options, std::ostream& out);
ExitCode run_boxes(const Options& options, std::ostream& out);
ExitCode run_keyframes(const Options& options, std::ostream& out);
ExitCode run_plot(const Options& options, std::ostream& out);
ExitCode run_keyframe(const Options& options, std::ostream& out);
ExitCode run_verify(const Options& options, std::ostream& out);
ExitCode run_samples(const Options& options, std::ostream& out);
// `samples --explain-seek` for one file.
ExitCode explain_seek_in(const std::string& file, const Options& options, std::ostream& out);
ExitCode run_register(const Options& options, std::ostream& out);
ExitCode run_unregister(const Options& options, std::ostream& out);
ExitCode run_registry(const Options& options, std::ostream& out);

}  // namespace zdr::host
