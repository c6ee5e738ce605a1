// The terminal and the signals of the process: colour, Ctrl-C, closed streams, messages and the progress
// line.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zdr::host {

bool stdout_is_terminal();
// The name of a file for standard output: printable on a terminal; elsewhere as it is, so that scripts can
// use it.
std::string shown_name(const std::string& name);
bool stderr_is_terminal();
bool use_colour();  // standard error is a terminal, but not a dumb one, and NO_COLOR is unset or empty

// After this call the first SIGINT, SIGTERM or SIGHUP only sets a flag, so that the command can complete what
// it writes; for that it has to poll interrupted(). A second one ends the process at once, and a timer ends a
// process that is blocked on a disk or a pipe within a second. Signals that are ignored remain ignored.
void catch_interrupts();
bool interrupted();

// If the parent process has closed a standard stream, makes its reads and writes fail, so that a file opened
// later does not get its descriptor.
void reserve_standard_streams();

// After this call a write to a pipe without a reader or beyond the file size limit fails instead of ending
// the process, so that the run can clean up and exit with its own code.
void ignore_write_signals();
// True if standard output is a pipe whose reader has closed it.
bool stdout_reader_gone();

// Prints a line on standard error. Clears a visible progress line first; its next update shows it again.
// Takes no memory.
void print_line_to_terminal(std::string_view line);

// Clears a visible progress line, for output on the same terminal; its next update shows it again.
void clear_progress();

// A position within a range of media time, in 100 ns units. An end at or before the beginning means that it
// is unknown.
struct MediaProgress {
  int64_t begin;
  int64_t position;
  int64_t end;
};

// One line on a terminal's standard error, rewritten in place at most ten times a second, and only for work
// that takes longer than half a second. It fits the terminal, also after a change of its width.
class ProgressLine {
 public:
  explicit ProgressLine(bool enabled);
  ~ProgressLine();
  ProgressLine(const ProgressLine&) = delete;
  ProgressLine& operator=(const ProgressLine&) = delete;

  void update(const std::string& label, const MediaProgress& progress);
  // For work that is not measured in media time.
  void update(const std::string& label, uint64_t done, uint64_t total);

 private:
  // Returns the time since construction, if a line is due.
  std::optional<int64_t> due_ms();
  void show(const std::string& label, const std::vector<std::string>& parts);

  bool enabled_;
  int64_t begun_ms_;
  int64_t shown_ms_ = 0;
};

}  // namespace zdr::host
