// Formats messages so that no text from a file can break a line.
#include "host/messages.h"

#include <windows.h>

#include <array>
#include <cstdio>
#include <exception>
#include <iterator>
#include <utility>

#include "host/terminal.h"
#include "host/text/decoded_text.h"

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
    {VFW_E_TIMEOUT, "VFW_E_TIMEOUT"},
    {VFW_E_INVALID_FILE_FORMAT, "VFW_E_INVALID_FILE_FORMAT"},
};

constexpr std::string_view kWords[] = {"file-not-found",
                                       "file-not-readable",
                                       "file-not-seekable",
                                       "file-type-unknown",
                                       "file-damaged",
                                       "read-failed",
                                       "out-of-memory",
                                       "not-shown",
                                       "module-failed",
                                       "registry-failed",
                                       "registry-changed",
                                       "no-playable-track",
                                       "track-not-played",
                                       "clip-not-described",
                                       "fragments-not-read",
                                       "edits-not-applied",
                                       "pin-not-connected",
                                       "range-not-playable",
                                       "range-extended",
                                       "graph-failed",
                                       "stalled",
                                       "interrupted",
                                       "tables-overlap",
                                       "cut-off",
                                       "units-missing",
                                       "nothing-delivered",
                                       "units-damaged",
                                       "units-after-end",
                                       "padding",
                                       "stream-incomplete",
                                       "stereo-duplicated",
                                       "description-ignored",
                                       "key-frame-missing",
                                       "cover-missing",
                                       "box-missing",
                                       "digest-differs",
                                       "not-in-manifest",
                                       "stream-missing",
                                       "output-refused",
                                       "output-failed",
                                       "output-partial",
                                       "usage"};
static_assert(std::size(kWords) == static_cast<size_t>(MessageCode::kUsage) + 1);

// "zdr: error: FILE: PLACE: REASON [STATUS]". A line break or an escape sequence in a file name must not
// reach the terminal.
std::string line_of(const char* kind, const Message& message) {
  std::string line = std::string("zdr: ") + kind;
  if (!message.file.empty()) line += message.file + ": ";
  line += message.text();
  if (!message.status.empty()) line += " [" + message.status + "]";
  return printable(line);
}

}  // namespace

std::string_view word_of(MessageCode code) {
  return kWords[static_cast<size_t>(code)];
}

std::string Place::text() const {
  if (kind == Kind::kLine) return "line " + std::to_string(number);
  if (kind != Kind::kBox) return name;
  return name + " at offset " + std::to_string(number) + ", size " + std::to_string(size);
}

std::string Message::text() const {
  const std::string where = place.text();
  return where.empty() ? reason : where + ": " + reason;
}

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

std::string counted(uint64_t count, std::string_view noun) {
  std::string text = std::to_string(count) + " " + std::string(noun);
  if (count == 1) return text;
  if (text.ends_with('x')) return text + "es";
  if (text.ends_with("try")) return text.substr(0, text.size() - 1) + "ies";
  return text + "s";
}

std::string error_line(std::string_view reason) {
  return "zdr: error: " + printable(reason);
}

void Messages::error(const Message& message) noexcept try {
  const std::lock_guard lock(mutex_);
  constexpr const char* kRed = "\x1b[31m";
  constexpr const char* kPlain = "\x1b[0m";
  const std::string line = line_of("error: ", message);
  if (shown_ != Shown::kNothing) print_line_to_terminal(use_colour() ? kRed + line + kPlain : line);
  errors_.push_back(message);
} catch (const std::exception&) {
  print_line_to_terminal("zdr: error: out of memory");
}

ExitCode Messages::report(const std::string& file, const Diagnosis& diagnosis) {
  const Message message{diagnosis.code, file, diagnosis.place, diagnosis.reason, diagnosis.status};
  diagnosis.exit_code == ExitCode::kDone ? note(message) : error(message);
  return diagnosis.exit_code;
}

ExitCode Messages::report_interrupted(const std::string& file) {
  return report(file, {ExitCode::kInterrupted, MessageCode::kInterrupted, {}, "interrupted", ""});
}

void Messages::note(const Message& message) {
  const std::lock_guard lock(mutex_);
  notes_.push_back(message);
  if (shown_ == Shown::kAll) print_line_to_terminal(line_of("note: ", message));
}

std::vector<Message> Messages::take_errors() {
  const std::lock_guard lock(mutex_);
  return std::exchange(errors_, {});
}

std::vector<Message> Messages::take_notes() {
  const std::lock_guard lock(mutex_);
  return std::exchange(notes_, {});
}

}  // namespace zdr::host
