// The messages of `zdr`: one line each on standard error, and entries of the JSON arrays "errors" and
// "warnings".
#pragma once

#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace zdr::host {

// Printed as "zdr: FILE: PLACE: REASON [STATUS]"; empty parts are omitted.
struct Message {
  std::string file;
  std::string place;  // pin, track or box path
  std::string reason;
  std::string status;  // numeric status as text, or empty
};

// Returns the line of a message, with control characters as \xNN.
std::string format_message(const Message& message);

// Prints the messages of one run and collects them. Any thread may add messages.
class Messages {
 public:
  // `quiet` suppresses notes; errors are always printed.
  explicit Messages(bool quiet) : quiet_(quiet) {}

  // Without memory for the line, reports that instead.
  void error(const Message& message) noexcept;
  // Reports what is left out on purpose or ignored.
  void note(const Message& message);
  // Return the messages so far, without "zdr: FILE: ", and clear them.
  std::vector<std::string> take_errors();
  std::vector<std::string> take_notes();

 private:
  bool quiet_;
  std::mutex mutex_;
  std::vector<std::string> errors_;
  std::vector<std::string> notes_;
};

// "VFW_E_NOT_FOUND" for the codes that occur in a graph; empty for others.
std::string_view hresult_name(int32_t hr);
// "0x8004022F"
std::string hresult_text(int32_t hr);

}  // namespace zdr::host
