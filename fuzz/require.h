// What a target demands of the code that it drives.
#pragma once

#include <cstdio>
#include <cstdlib>

namespace zdr::fuzz {

// Ends the program unless the condition holds, so that the engine keeps the input. `what` states the
// condition.
inline void require(bool condition, const char* what) {
  if (condition) return;
  std::fprintf(stderr, "not true: %s\n", what);
  std::abort();
}

}  // namespace zdr::fuzz
