// Several writers at once, writers that die at every step, and steps that fail.
#include <thread>
#include <vector>

#include "registry_test_support.h"
#include "tests/platform/fault_at.h"
#include "tests/platform/win32/child_process.h"

namespace zdr::test {

namespace {

// The steps of one change: lock, load, use, create, write, mode, sync, rename.
constexpr int kStepsOfAChange = 8;
// The first change of a process also opens the key and reads the file to its end.
constexpr int kStepsOfAFirstChange = kStepsOfAChange + 3;

std::u16string key_name(char16_t writer, int number) {
  return std::u16string(1, writer) + wide(std::to_string(number));
}

TEST_F(Registry, WritersOfTwoProcessesAndTwoThreadsLoseNothing) {
  constexpr int kKeys = 40;
  ChildProcess children[2];
  for (int i = 0; i < kKeys; ++i) {
    children[0].send("registry-set A" + std::to_string(i) + " x");
    children[1].send("registry-set B" + std::to_string(i) + " x");
  }
  std::vector<std::thread> threads;
  for (const char16_t writer : {u'C', u'D'}) {
    threads.emplace_back([writer] {
      for (int i = 0; i < kKeys; ++i) ScopedKey(kUser, key_name(writer, i).c_str());
    });
  }
  for (std::thread& thread : threads) thread.join();
  for (int i = 0; i < kKeys; ++i) {
    for (ChildProcess& child : children) EXPECT_EQ(child.receive(), "0");
  }
  for (const char16_t writer : {u'A', u'B', u'C', u'D'}) {
    for (int i = 0; i < kKeys; ++i) EXPECT_EQ(open_status(kUser, key_name(writer, i).c_str()), ERROR_SUCCESS);
  }
}

TEST_F(Registry, ChangesOfAnotherProcessAreSeenAtOnce) {
  ChildProcess other;
  const ScopedKey key(kUser, u"A0");
  for (int round = 0; round < 20; ++round) {
    EXPECT_EQ(other.call("registry-set A0 " + std::to_string(round)), "0");
    // The file often keeps its length and its time.
    EXPECT_EQ(text_of(key, u"V"), wide(std::to_string(round)));
  }
}

TEST_F(Registry, AProcessThatDiesAtAnyStepLeavesTheOldFileOrTheNewOne) {
  ASSERT_EQ(ScopedKey(kUser, u"Before").status, ERROR_SUCCESS);
  const std::string old_text = file_text();
  for (int step = 1; step <= kStepsOfAFirstChange; ++step) {
    ChildProcess child;
    EXPECT_EQ(child.call("registry-die " + std::to_string(step) + " Before changed"), "")
        << "survived step " << step;
    EXPECT_EQ(file_text(), old_text);
    const ScopedKey next(kUser, u"After");  // the lock is free, and a leftover file does not matter
    EXPECT_EQ(next.disposition, REG_CREATED_NEW_KEY);
    EXPECT_FALSE(std::filesystem::exists(path("registry.reg.tmp")));
    EXPECT_EQ(RegDeleteKeyW(kUser, u"After"), ERROR_SUCCESS);
  }
  ChildProcess child;
  EXPECT_EQ(child.call("registry-die " + std::to_string(kStepsOfAFirstChange + 1) + " Before changed"), "0");
  EXPECT_NE(file_text(), old_text);
}

TEST_F(Registry, AFailedStepChangesNothing) {
  const ScopedKey key(kUser, u"Key");
  ASSERT_EQ(set_text(key, u"V", u"old"), ERROR_SUCCESS);
  const std::string old_text = file_text();
  int failures = 0;
  for (int step = 1;; ++step) {
    LSTATUS status;
    {
      const FaultAt fault(platform::FaultPoint::kRegistryStep, step);
      status = set_text(key, u"V", u"new");
      if (!fault.triggered()) break;
    }
    ++failures;
    EXPECT_EQ(status, ERROR_IO_DEVICE) << step;
    EXPECT_EQ(file_text(), old_text) << step;
    EXPECT_EQ(text_of(key, u"V"), u"old") << step;
    EXPECT_FALSE(std::filesystem::exists(path("registry.reg.tmp"))) << step;
  }
  EXPECT_EQ(failures, kStepsOfAChange);
  EXPECT_EQ(text_of(key, u"V"), u"new");
  // A creation that cannot be saved leaves neither a key nor a handle.
  const FaultAt fault(platform::FaultPoint::kRegistryStep,
                      kStepsOfAChange + 1);  // one more load, to look for the key
  EXPECT_EQ(ScopedKey(kUser, u"Unsaved").status, ERROR_IO_DEVICE);
  EXPECT_EQ(open_status(kUser, u"Unsaved"), ERROR_FILE_NOT_FOUND);
}

}  // namespace

}  // namespace zdr::test
