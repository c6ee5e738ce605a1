// The reason why a file did not load, as shown to the user.
#pragma once

#include <string>

#include "host/exit_code.h"

namespace zdr::host {

struct Diagnosis {
  ExitCode exit_code = ExitCode::kCannotOpen;
  std::string place;  // box path with its offset, or a track
  std::string reason;
  std::string status;  // numeric
};

}  // namespace zdr::host
