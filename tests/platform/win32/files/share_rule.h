// The rule of share modes, as plainly as it can be put.
#pragma once

#include <string>

#include "tests/platform/win32/win32_test_support.h"

namespace zdr::platform::test {

// Bit 0 read, 1 write, 2 delete: as in FILE_SHARE_*.
inline DWORD access_of(DWORD uses) {
  return ((uses & 1) != 0 ? GENERIC_READ : 0) | ((uses & 2) != 0 ? GENERIC_WRITE : 0) |
         ((uses & 4) != 0 ? DELETE : 0);
}

// Two opens go together when each asks only for what the other allows; one that asks for nothing disturbs
// nobody.
inline bool go_together(DWORD uses_a, DWORD share_a, DWORD uses_b, DWORD share_b) {
  if (uses_a == 0 || uses_b == 0) return true;
  return (uses_a & ~share_b) == 0 && (uses_b & ~share_a) == 0;
}

// Opens the file twice in every way; the number of pairs that did not follow the rule.
inline DWORD broken_pairs(const std::string& path) {
  DWORD broken = 0;
  for (DWORD pair = 0; pair < 8 * 8 * 8 * 8; ++pair) {
    const DWORD uses[] = {pair & 7, pair >> 3 & 7};
    const DWORD shares[] = {pair >> 6 & 7, pair >> 9 & 7};
    const ScopedHandle first = open_for(path, access_of(uses[0]), shares[0]);
    const ScopedHandle second = open_for(path, access_of(uses[1]), shares[1]);
    const DWORD error = failed_open(second);
    const bool together = go_together(uses[0], shares[0], uses[1], shares[1]);
    broken += first == INVALID_HANDLE_VALUE || error != (together ? kNoFailure : ERROR_SHARING_VIOLATION);
  }
  return broken;
}

}  // namespace zdr::platform::test
