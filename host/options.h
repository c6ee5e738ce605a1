// The option and operand values of a command.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace zdr::host {

// Members for which a command has no option keep their defaults.
struct Options {
  std::vector<std::string> files;
  std::string output;  // play: folder or -; keyframe: file or folder; plot: file, folder or -
  std::string start;
  std::string stop;
  std::string explain_seek;  // samples: time of the seek
  std::string only;
  std::string seek;  // plot
  std::string session;
  std::string shell;            // completion
  std::string cover;            // info: file for the cover image
  std::string path;             // boxes: path of the boxes to show; empty: all
  std::string entries;          // boxes: type of the table whose entries are shown
  std::string hash;             // verify: name of the digest, or empty
  std::string against;          // verify: file of digests
  uint32_t jobs = 1;            // verify: number of processes
  std::string at;               // keyframe: time of the picture
  uint32_t index = 0;           // keyframe: number of the key frame, from 1; 0: none is named
  uint32_t stall_seconds = 30;  // 0: no limit
  uint32_t most_entries = 10;   // boxes: of one table; verify: damaged units of one stream
  bool json = false;
  bool json_lines = false;  // one line per file; implies json
  bool quiet = false;
  bool force = false;
  bool decode = false;
  bool trim = false;
  bool strict = false;
  bool allow_overlap = false;
  bool all_entries = false;
  bool all_key_frames = false;
  bool exact = false;  // info: every frame of a file without tables is counted
  bool full = false;   // info: with the format blocks
};

}  // namespace zdr::host
