// Formats messages so that no text from a file can break a line.
#include "host/messages.h"

#include <windows.h>

#include <array>
#include <cstdio>
#include <exception>
#include <utility>

#include "host/decoded_text.h"
#include "host/terminal.h"

namespace zdr::host {
namespace {

struct NamedResult {
  HRESULT value;
  std::string_view name;
};

constexpr NamedResult kNames[] = {
    {E_NOTIMPL, "E_NOTIMPL"},
    {E_NOINTERFACE, "E_NOINTERFACE"},
    {E_POINTER, "E_POINTER"},
    {E_ABORT, "E_ABORT"},
    {E_FAIL, "E_FAIL"},
    {E_UNEXPECTED, "E_UNEXPECTED"},
    {E_OUTOFMEMORY, "E_OUTOFMEMORY"},
    {E_INVALIDARG, "E_INVALIDARG"},
    {CLASS_E_CLASSNOTAVAILABLE, "CLASS_E_CLASSNOTAVAILABLE"},
    {REGDB_E_CLASSNOTREG, "REGDB_E_CLASSNOTREG"},
    {CO_E_ERRORINDLL, "CO_E_ERRORINDLL"},
    {VFW_E_NO_TYPES, "VFW_E_NO_TYPES"},
    {VFW_E_NO_ACCEPTABLE_TYPES, "VFW_E_NO_ACCEPTABLE_TYPES"},
    {VFW_E_TYPE_NOT_ACCEPTED, "VFW_E_TYPE_NOT_ACCEPTED"},
    {VFW_E_NO_ALLOCATOR, "VFW_E_NO_ALLOCATOR"},
    {VFW_E_NOT_FOUND, "VFW_E_NOT_FOUND"},
    {VFW_E_NOT_CONNECTED, "VFW_E_NOT_CONNECTED"},
    {VFW_E_INVALID_FILE_FORMAT, "VFW_E_INVALID_FILE_FORMAT"},
};

std::string without_file(const Message& message) {
  std::string line;
  if (!message.place.empty()) line += message.place + ": ";
  line += message.reason;
  if (!message.status.empty()) line += " [" + message.status + "]";
  return line;
}

}  // namespace

std::string_view hresult_name(int32_t hr) {
  for (const NamedResult& known : kNames) {
    if (known.value == hr) return known.name;
  }
  return {};
}

std::string hresult_text(int32_t hr) {
  std::array<char, 16> text{};
  std::snprintf(text.data(), text.size(), "0x%08X", static_cast<unsigned>(hr));
  return text.data();
}

std::string format_message(const Message& message) {
  // A line break or an escape sequence in a file name must not reach the terminal.
  return printable("zdr: " + (message.file.empty() ? "" : message.file + ": ") + without_file(message));
}

void Messages::error(const Message& message) noexcept try {
  const std::lock_guard lock(mutex_);
  constexpr const char* kRed = "\x1b[31m";
  constexpr const char* kPlain = "\x1b[0m";
  const std::string line = format_message(message);
  print_line_to_terminal(use_colour() ? kRed + line + kPlain : line);
  errors_.push_back(without_file(message));
} catch (const std::exception&) {
  print_line_to_terminal("zdr: out of memory");
}

void Messages::note(const Message& message) {
  const std::lock_guard lock(mutex_);
  notes_.push_back(without_file(message));
  if (!quiet_) print_line_to_terminal(format_message(message));
}

std::vector<std::string> Messages::take_errors() {
  const std::lock_guard lock(mutex_);
  return std::exchange(errors_, {});
}

std::vector<std::string> Messages::take_notes() {
  const std::lock_guard lock(mutex_);
  return std::exchange(notes_, {});
}

}  // namespace zdr::host
