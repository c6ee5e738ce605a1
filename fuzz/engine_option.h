// An option of the engine that a target needs in every run.
#pragma once

#include <vector>

namespace zdr::fuzz {

// Call from LLVMFuzzerInitialize. An option on the command line takes precedence, because the engine uses the
// last of several.
inline void add_engine_option(int* argc, char*** argv, char* option) {
  static std::vector<char*> arguments(*argv, *argv + *argc);
  arguments.insert(arguments.begin() + 1, option);
  *argc = static_cast<int>(arguments.size());
  *argv = arguments.data();
}

}  // namespace zdr::fuzz
