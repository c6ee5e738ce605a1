// The reader of speech files when memory runs out.
#include <gtest/gtest.h>

#include "os/os.h"
#include "tests/esparse/amr/speech_file.h"
#include "tests/support/failing_allocator.h"

namespace zdr::tests {
namespace {

TEST(AmrfFaults, WithoutMemoryNothingIsOpened) {
  const OnDisk file(speech(false, 1, 0x3C));
  for (uint64_t nth = 1;; ++nth) {
    AMRF_File* opened = nullptr;
    int32_t status = 0;
    bool struck = false;
    {
      const test::FailingAllocator failing(nth);
      status = AMRF_Open(&opened, file.wide_path.c_str());
      struck = failing.struck();
    }
    const Reader reader(opened);
    EXPECT_EQ(status, opened ? 0 : -1);
    if (!struck) break;
    if (!opened) {
      void* const writer = OS_fopen(file.wide_path.c_str(), "r+");
      EXPECT_NE(writer, nullptr) << nth;
      OS_fclose(writer);
    }
    ASSERT_LT(nth, 100u);
  }
}

}  // namespace
}  // namespace zdr::tests
