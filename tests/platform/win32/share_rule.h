// The rule of share modes, as plainly as it can be put.
#pragma once

#include <windows.h>

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

}  // namespace zdr::platform::test
