// The option and operand values of a command.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace zdr::host {

// Members for which a command has no option keep their defaults.
struct Options {
  std::vector<std::string> files;
  std::string output;  // play: folder; keyframe: file or folder
  std::string start;
  std::string stop;
  std::string only;
  std::string session;
  std::string shell;            // completion
  std::string cover;            // info: file for the cover image
  uint32_t index = 0;           // keyframe: number of the key frame, from 1
  uint32_t stall_seconds = 30;  // 0: no limit
  bool json = false;
  bool quiet = false;
  bool force = false;
  bool decode = false;
  bool strict = false;
  bool allow_overlap = false;
};

}  // namespace zdr::host
