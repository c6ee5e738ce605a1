// Task memory: the corners of sizes and of failure.
#include <gtest/gtest.h>
#include <objbase.h>

#include <cstring>

#include "tests/platform/fault_at.h"

using zdr::platform::FaultPoint;

namespace {

TEST(TaskMemory, GivesAPointerForNoBytesAndFreesNull) {
  void* block = CoTaskMemAlloc(0);
  EXPECT_NE(block, nullptr);
  CoTaskMemFree(block);
  CoTaskMemFree(nullptr);

  const FaultAt fault(FaultPoint::kTaskAllocation, 1);
  EXPECT_EQ(CoTaskMemAlloc(1), nullptr);
}

TEST(TaskMemory, ReallocationKeepsTheContentAndSurvivesFailure) {
  auto* block = static_cast<char*>(CoTaskMemRealloc(nullptr, 6));
  ASSERT_NE(block, nullptr);
  std::memcpy(block, "hello", 6);
  block = static_cast<char*>(CoTaskMemRealloc(block, 100000));
  ASSERT_NE(block, nullptr);
  EXPECT_STREQ(block, "hello");
  {
    const FaultAt fault(FaultPoint::kTaskAllocation, 1);
    EXPECT_EQ(CoTaskMemRealloc(block, 200000), nullptr);
  }
  EXPECT_STREQ(block, "hello");
  EXPECT_EQ(CoTaskMemRealloc(block, 0), nullptr);  // frees
}

}  // namespace
