// Why a file did not load, in plain words. The filter answers with one of two codes; the parser, asked again,
// knows the box and the reason.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "host/exit_code.h"

namespace zdr::host {

struct OpenDiagnosis {
  ExitCode exit_code = ExitCode::kCannotOpen;
  std::string place;  // box path with its offset, or a track
  std::string reason;
  std::string status;  // numeric
};

// What the filter cannot be asked for: a pipe, a device or a socket (it cannot be sought, and opening a pipe
// waits for its writer), and a name that does not survive the way through wide characters.
std::optional<OpenDiagnosis> diagnose_before_open(const std::string& file);

class ParsedFile;

// Why the parser did not open a file.
OpenDiagnosis diagnose_parse(const std::string& file, const ParsedFile& parsed);

// `load_result` is what IFileSourceFilter::Load answered.
OpenDiagnosis diagnose_failed_open(const std::string& file, int32_t load_result);

}  // namespace zdr::host
