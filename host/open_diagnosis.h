// Why a file did not load, in plain words. The filter answers with one of two codes; the parser, asked again,
// knows the box and the reason.
#pragma once

#include <cstdint>
#include <string>

#include "host/exit_code.h"

namespace zdr::host {

struct OpenDiagnosis {
  ExitCode exit_code = ExitCode::kCannotOpen;
  std::string place;  // box path with its offset, or a track
  std::string reason;
  std::string status;  // numeric
};

// `load_result` is what IFileSourceFilter::Load answered.
OpenDiagnosis diagnose_failed_open(const std::string& file, int32_t load_result);

}  // namespace zdr::host
