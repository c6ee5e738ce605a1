// The terminal below the host: whether there is one, Ctrl-C, and the line that shows progress.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace zdr::host {

bool stderr_is_terminal();
bool use_colour();  // on a terminal and NO_COLOR not set

// From now on SIGINT and SIGTERM only set a flag; a second one ends the process as usual. For commands that
// ask for the flag all along: another would seem deaf.
void catch_interrupts();
bool interrupted();

// Standard streams that the caller has closed fail from now on, instead of being some file opened later.
void keep_standard_streams();

// A pipe without a reader and a file at its size limit become failed writes instead of the end of the
// process, so that partial files and exit codes stay right.
void survive_failed_writes();
// The reader of standard output has gone away.
bool stdout_reader_gone();

// Prints a line on standard error; a progress line that stands there is cleared first and comes back later.
void print_line_to_terminal(const std::string& line);

// How far media have been played, in 100 ns units of media time. An end that is not behind the begin is
// unknown.
struct MediaProgress {
  int64_t begin;
  int64_t position;
  int64_t end;
};

// One line on a terminal's standard error, rewritten in place at most ten times a second, and only for work
// that takes longer than half a second.
class ProgressLine {
 public:
  explicit ProgressLine(bool enabled);
  ~ProgressLine();
  ProgressLine(const ProgressLine&) = delete;
  ProgressLine& operator=(const ProgressLine&) = delete;

  void update(const std::string& label, const MediaProgress& progress);
  // For work that is counted in something else.
  void update(const std::string& label, uint64_t done, uint64_t total);

 private:
  // The time since the begin, when a line is due.
  std::optional<int64_t> due_ms();
  void show(const std::string& text);

  bool enabled_;
  int64_t begun_ms_;
  int64_t shown_ms_ = 0;
};

}  // namespace zdr::host
