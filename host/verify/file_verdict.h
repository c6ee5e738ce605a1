// What `zdr verify` finds out about one file, and its form in the pipe from a worker process.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "host/exit_code.h"
#include "host/inspect/diagnosis/damaged_units.h"
#include "host/messages.h"

namespace zdr::host {

enum class Verdict : uint8_t {
  kOk,
  kDamaged,
  kLost,  // incomplete, but what is there is sound
  kNotSupported,
  kUnreadable,  // not found, no permission, no memory ...
  kDiffers,     // from the manifest
  kMissing,     // in the manifest, but not among the verified files
  kInterrupted,
};
inline constexpr size_t kVerdicts = 8;

// "ok", "not supported" ...
std::string_view word_of(Verdict verdict);

// Derives the verdict from the exit code of a run and its errors.
Verdict verdict_of(ExitCode code, const std::vector<Message>& errors);

// Ends the name of a stream whose digest is that of its decoded sound.
inline constexpr std::string_view kPcmSuffix = ".pcm";

struct StreamVerdict {
  std::string pin;
  // In manifests: "clip.mp4:Video0"; "clip.mp4:Audio0.pcm" if AAC was decoded for the digest.
  std::string name;
  uint64_t samples = 0;
  uint64_t payload_bytes = 0;
  bool is_decoded = false;  // AAC access units were decoded
  std::string digest;       // empty without --hash
  std::vector<DamagedUnit> damaged_units;
  bool has_more_damage = false;  // than is listed
};

struct FileVerdict {
  explicit FileVerdict(std::string name = {}) : file(std::move(name)) {}

  std::string file;
  ExitCode exit_code = ExitCode::kDone;
  Verdict verdict = Verdict::kOk;
  std::vector<StreamVerdict> streams;
  std::vector<Message> errors;
  std::vector<Message> notes;

  // Adds an error, which may make the verdict worse.
  void add_error(Message error, ExitCode code, Verdict worse);
};

// The record as bytes, for another process of the same program.
std::string pack(FileVerdict verdict);
// False if the bytes are not those of a record.
bool unpack(std::string_view bytes, FileVerdict& verdict);

}  // namespace zdr::host
