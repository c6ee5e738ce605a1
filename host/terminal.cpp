// The only file above platform/ that uses POSIX: signals, isatty, and the progress line.
#include "host/terminal.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <numeric>
#include <string_view>
#include <vector>

#include "host/exit_code.h"
#include "host/text/decoded_text.h"
#include "host/text/time_text.h"

namespace zdr::host {
namespace {

constexpr int64_t kQuietStartMs = 500;
constexpr int64_t kRedrawMs = 100;
constexpr const char* kClearLine = "\r\x1b[K";

volatile std::sig_atomic_t interrupt_seen = 0;

constexpr int kInterrupts[] = {SIGINT, SIGTERM, SIGHUP};
constexpr suseconds_t kTimeToEndUs = 800'000;

// These handlers call only async-signal-safe functions; setitimer is one here, a plain system call.
void end_now(int /*signal_number*/) {
  _exit(static_cast<int>(ExitCode::kInterrupted));
}

void on_interrupt(int signal_number);

bool is_handled(int signal_number) {
  struct sigaction action {};
  return sigaction(signal_number, nullptr, &action) == 0 && action.sa_handler == on_interrupt;
}

void on_interrupt(int /*signal_number*/) {
  interrupt_seen = 1;
  for (const int each : kInterrupts) {
    if (is_handled(each)) std::signal(each, SIG_DFL);
  }
  const itimerval once{{0, 0}, {0, kTimeToEndUs}};
  setitimer(ITIMER_REAL, &once, nullptr);
}

bool is_ignored(int signal_number) {
  struct sigaction action {};
  return sigaction(signal_number, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

std::mutex line_mutex;
bool line_shown = false;

void clear_line() {
  if (line_shown) std::fputs(kClearLine, stderr);
  line_shown = false;
}

int64_t now_ms() {
  using namespace std::chrono;
  return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}

// Parts of a progress line, the most important first: a narrow terminal shows only the first ones.
using Parts = std::vector<std::string>;

struct Share {
  int percent;
  std::string left;  // in whole seconds: it is an estimate
};

Share share_of(double done, double total, int64_t elapsed_ms) {
  const double shown = std::min(done, total);
  const double left_ms = static_cast<double>(elapsed_ms) * (total - shown) / shown;
  constexpr double kLongestMs = 1e12;  // prevents an overflow of the estimate after a tiny first part
  const std::string left =
      format_time(static_cast<int64_t>(std::min(left_ms, kLongestMs)) * kUnitsPerMillisecond);
  return {static_cast<int>(shown * 100 / total), left.substr(0, left.find('.'))};
}

Parts progress_parts(const MediaProgress& progress, int64_t elapsed_ms) {
  const int64_t done = progress.position - progress.begin;
  const int64_t total = progress.end - progress.begin;
  const double speed = static_cast<double>(done) / kUnitsPerMillisecond /
                       static_cast<double>(std::max<int64_t>(elapsed_ms, 1));
  std::array<char, 40> factor{};
  std::snprintf(factor.data(), factor.size(), " %.1fx", speed);
  const std::string position = format_time(progress.position);
  if (total <= 0 || done <= 0) return {position, factor.data()};
  const Share share = share_of(static_cast<double>(done), static_cast<double>(total), elapsed_ms);
  std::array<char, 8> percent{};
  std::snprintf(percent.data(), percent.size(), "%3d%%", share.percent);
  return {percent.data(), " " + position, factor.data(), ", " + share.left + " left"};
}

// False for terminals that show escape sequences as text.
bool can_rewrite_lines() {
  const char* const type = std::getenv("TERM");
  return stderr_is_terminal() && (type == nullptr || std::string_view(type) != "dumb");
}

// Columns of the terminal, which may change at any time.
size_t terminal_width() {
  constexpr size_t kUnknownWidth = 80;
  winsize size{};
  return ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : kUnknownWidth;
}

// `label` and `parts` within the width: the last parts are left out while the label has no room, then it
// loses characters in its middle.
std::string fit_line(const std::string& label, Parts parts) {
  constexpr size_t kShortLabel = 12;
  const size_t width = terminal_width() - 1;  // a full line would wrap
  const size_t wanted = std::min(label.size(), kShortLabel) + 2;
  const auto joined = [&] { return std::accumulate(parts.begin(), parts.end(), std::string()); };
  while (parts.size() > 1 && wanted + joined().size() > width) parts.pop_back();
  const std::string text = joined();
  const std::string rest = ": " + text;
  if (label.size() + rest.size() <= width) return label + rest;
  constexpr std::string_view kGap = "...";
  const size_t shown = width > rest.size() + kGap.size() ? width - rest.size() - kGap.size() : 0;
  if (shown == 0) return text.substr(0, width);
  const size_t front = front_length(as_bytes(label), shown / 2);
  size_t back = label.size() - (shown - shown / 2);
  while (back < label.size() && (label[back] & 0xC0) == 0x80) ++back;  // not within a character
  return label.substr(0, front) + std::string(kGap) + label.substr(back) + rest;
}

}  // namespace

bool stdout_is_terminal() {
  return isatty(STDOUT_FILENO) == 1;
}

std::string shown_name(const std::string& name) {
  return stdout_is_terminal() ? printable(name) : name;
}

bool stderr_is_terminal() {
  return isatty(STDERR_FILENO) == 1;
}

bool use_colour() {
  const char* const no_colour = std::getenv("NO_COLOR");
  return can_rewrite_lines() && (no_colour == nullptr || *no_colour == '\0');
}

void catch_interrupts() {
  std::signal(SIGALRM, end_now);
  for (const int each : kInterrupts) {
    if (!is_ignored(each)) std::signal(each, on_interrupt);
  }
}

void reserve_standard_streams() {
  for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (fcntl(stream, F_GETFD) >= 0) continue;
    // open() returns the lowest free descriptor, which is this one. The access mode makes every read or write
    // fail.
    if (open("/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY) != stream) return;
  }
}

void ignore_write_signals() {
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGXFSZ, SIG_IGN);
}

bool stdout_reader_gone() {
  pollfd output{STDOUT_FILENO, 0, 0};
  return poll(&output, 1, 0) == 1 && (output.revents & POLLERR) != 0;
}

bool interrupted() {
  return interrupt_seen != 0;
}

void print_line_to_terminal(std::string_view line) {
  const std::lock_guard lock(line_mutex);
  clear_line();
  std::fprintf(stderr, "%.*s\n", static_cast<int>(line.size()), line.data());
}

void clear_progress() {
  const std::lock_guard lock(line_mutex);
  clear_line();
  std::fflush(stderr);
}

ProgressLine::ProgressLine(bool enabled) : enabled_(enabled && can_rewrite_lines()), begun_ms_(now_ms()) {}

ProgressLine::~ProgressLine() {
  clear_progress();
}

std::optional<int64_t> ProgressLine::due_ms() {
  const int64_t now = now_ms();
  if (!enabled_ || now - begun_ms_ < kQuietStartMs || now - shown_ms_ < kRedrawMs) return std::nullopt;
  shown_ms_ = now;
  return now - begun_ms_;
}

void ProgressLine::show(const std::string& label, const std::vector<std::string>& parts) {
  const std::lock_guard lock(line_mutex);
  std::fprintf(stderr, "%s%s", kClearLine, fit_line(printable(label), parts).c_str());
  std::fflush(stderr);
  line_shown = true;
}

void ProgressLine::update(const std::string& label, const MediaProgress& progress) {
  if (const auto elapsed = due_ms()) show(label, progress_parts(progress, *elapsed));
}

void ProgressLine::update(const std::string& label, uint64_t done, uint64_t total) {
  const auto elapsed = due_ms();
  if (!elapsed || done == 0 || total == 0) return;
  const Share share = share_of(static_cast<double>(done), static_cast<double>(total), *elapsed);
  show(label, {std::to_string(share.percent) + "%", ", " + share.left + " left"});
}

}  // namespace zdr::host
