// The messages of `zdr`: one line each on standard error, and entries of the JSON arrays "errors" and
// "warnings".
#pragma once

#include <cstdint>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "host/exit_code.h"

namespace zdr::host {

// The kind of a message, for programs that read it. Each has a word that never changes (docs/json.md).
enum class MessageCode : uint8_t {
  kFileNotFound,
  kFileNotReadable,
  kFileNotSeekable,
  kFileTypeUnknown,
  kFileDamaged,
  kReadFailed,
  kOutOfMemory,
  kNotShown,
  kModuleFailed,
  kRegistryFailed,
  kRegistryChanged,
  kNoPlayableTrack,
  kTrackNotPlayed,
  kClipNotDescribed,
  kFragmentsNotRead,
  kEditsNotApplied,
  kPinNotConnected,
  kRangeNotPlayable,
  kRangeExtended,
  kGraphFailed,
  kStalled,
  kInterrupted,
  kTablesOverlap,
  kCutOff,
  kUnitsMissing,
  kNothingDelivered,
  kUnitsDamaged,
  kUnitsAfterEnd,
  kPadding,
  kStreamIncomplete,
  kStereoDuplicated,
  kDescriptionIgnored,
  kKeyFrameMissing,
  kCoverMissing,
  kBoxMissing,
  kDigestDiffers,
  kNotInManifest,
  kStreamMissing,
  kOutputRefused,
  kOutputFailed,
  kOutputPartial,
  kUsage,
};

// Returns the word of a code, such as "file-not-found".
std::string_view word_of(MessageCode code);

// The part of a file that a message is about.
struct Place {
  enum class Kind : uint8_t { kFile, kPin, kTrack, kBox, kLine };

  static Place pin(std::string name) { return {Kind::kPin, std::move(name)}; }
  // `name` is text like "video track 2 (hvc1)"; the number counts all tracks of the file from 1.
  static Place track(std::string name, uint64_t number) { return {Kind::kTrack, std::move(name), number}; }
  static Place box(std::string path, uint64_t offset, uint64_t size) {
    return {Kind::kBox, std::move(path), offset, size};
  }
  static Place line(uint64_t number) { return {Kind::kLine, {}, number}; }

  // "Video0", "moov/trak[1] at offset 152, size 3" ...; empty for the file as a whole.
  std::string text() const;

  Kind kind = Kind::kFile;
  std::string name;
  uint64_t number = 0;  // of a track or line; offset of a box
  uint64_t size = 0;    // of a box
};

// Printed as "zdr: error: FILE: PLACE: REASON [STATUS]"; empty parts are omitted.
struct Message {
  MessageCode code;
  std::string file;
  Place place;
  std::string reason;
  std::string status;  // numeric status as text, or empty

  std::string text() const;  // the place and the reason
};

// The reason why a file cannot be used, or not as a whole.
struct Diagnosis {
  ExitCode exit_code = ExitCode::kCannotOpen;
  MessageCode code = MessageCode::kFileDamaged;
  Place place;
  std::string reason;
  std::string status;
};

// Returns "zdr: error: REASON", with control characters as \xNN.
std::string error_line(std::string_view reason);

// Prints the messages of one run and collects them. Any thread may add messages.
class Messages {
 public:
  // What is printed; all messages are collected.
  enum class Shown : uint8_t { kAll, kErrors, kNothing };
  explicit Messages(Shown shown) : shown_(shown) {}
  // `quiet` suppresses notes.
  explicit Messages(bool quiet) : Messages(quiet ? Shown::kErrors : Shown::kAll) {}

  // Without memory for the line, reports that instead.
  void error(const Message& message) noexcept;
  // Reports an error, or a note if the exit code is kDone, and returns the exit code.
  ExitCode report(const std::string& file, const Diagnosis& diagnosis);
  ExitCode report_interrupted(const std::string& file);
  // Reports what is left out on purpose or ignored.
  void note(const Message& message);
  // Return the messages so far and clear them.
  std::vector<Message> take_errors();
  std::vector<Message> take_notes();

 private:
  Shown shown_;
  std::mutex mutex_;
  std::vector<Message> errors_;
  std::vector<Message> notes_;
};

// "VFW_E_NOT_FOUND" for the codes that occur in a graph; empty for others.
std::string_view hresult_name(int32_t hr);
// "0x8004022F"
std::string hresult_text(int32_t hr);
// "1 sample", "2 samples"
std::string counted(uint64_t count, std::string_view noun);

}  // namespace zdr::host
