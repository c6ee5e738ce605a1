// Checking an answer about free space while others use the same disk.
#ifndef ZDR_TESTS_OS_FREE_SPACE_H
#define ZDR_TESTS_OS_FREE_SPACE_H

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>

#include "mediakit/files/temp_folder.h"

namespace zdr::tests {

// `ask()` gives the free bytes of the disk that holds `folder`.
template <class Ask>
void expect_free_space(const TempFolder& folder, Ask ask) {
  constexpr uint64_t kSlack = 256u << 20;
  const uint64_t before = std::filesystem::space(folder.path()).available;
  const uint64_t told = ask();
  const uint64_t after = std::filesystem::space(folder.path()).available;
  EXPECT_LE(told, std::max(before, after) + kSlack);
  EXPECT_GE(told + kSlack, std::min(before, after));
  EXPECT_GT(told, 0u);
}

}  // namespace zdr::tests

#endif
