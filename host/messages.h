// What `zdr` says about a file: one line each on standard error, or entries of the JSON "warnings" array.
#pragma once

#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace zdr::host {

// "zdr: FILE: PIN: reason [0x8004022F]"; empty parts are left out, control characters shown as \xNN.
struct Message {
  std::string file;
  std::string place;  // pin, track or box path
  std::string reason;
  std::string status;  // numeric status as text, or empty
};

std::string format_message(const Message& message);

// Collects what was said of one run. Any thread may add.
class Messages {
 public:
  // `quiet` keeps notes back; errors are always printed.
  explicit Messages(bool quiet) : quiet_(quiet) {}

  void error(const Message& message);
  // Something left out on purpose or lost; printed unless quiet.
  void note(const Message& message);
  // What was said so far, as lines without the "zdr: FILE: " in front; clears it.
  std::vector<std::string> take_errors();
  std::vector<std::string> take_notes();

 private:
  bool quiet_;
  std::mutex mutex_;
  std::vector<std::string> errors_;
  std::vector<std::string> notes_;
};

// "VFW_E_NOT_FOUND" for the codes a graph meets; empty for others.
std::string_view hresult_name(int32_t hr);
// "0x8004022F"
std::string hresult_text(int32_t hr);

// A wide string of the platform as UTF-8 and back; lone surrogates survive the round trip.
std::string to_utf8(std::u16string_view text);
std::u16string to_wide(std::string_view text);

}  // namespace zdr::host
