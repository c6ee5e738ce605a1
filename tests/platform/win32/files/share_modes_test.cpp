// Share modes: every pair of opens, in one process and between two, against the rule itself.
#include <filesystem>

#include "share_rule.h"
#include "tests/platform/win32/child_process.h"
#include "tests/platform/win32/win32_test_support.h"

namespace zdr::platform::test {

namespace {

namespace fs = std::filesystem;
using ShareModesTest = Win32Test;

TEST_F(ShareModesTest, EveryPairBetweenTwoProcesses) {
  const std::string name = make_file("file");
  ChildProcess child("worker");
  for (DWORD uses = 0; uses < 8; ++uses) {
    for (DWORD share = 0; share < 8; ++share) {
      const std::string arguments =
          std::to_string(access_of(uses)) + " " + std::to_string(share) + " " + name;
      ASSERT_EQ(child.ask("open-file f " + arguments), "0");
      for (DWORD second = 0; second < 64; ++second) {
        const ScopedHandle file = open_for(name, access_of(second & 7), second >> 3);
        ASSERT_EQ(failed_open(file),
                  go_together(uses, share, second & 7, second >> 3) ? kNoFailure : ERROR_SHARING_VIOLATION)
            << uses << share << second;
      }
      ASSERT_EQ(child.ask("close f"), "1");
    }
  }
}

TEST_F(ShareModesTest, ThreeOpensMustAllGoTogether) {
  const std::string name = make_file("file");
  ScopedHandle reader = open_for(name, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE);
  ScopedHandle writer = open_for(name, GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE);
  EXPECT_EQ(open_for(name, GENERIC_READ, FILE_SHARE_READ), INVALID_HANDLE_VALUE) << "denies the writer";
  reader.close();
  EXPECT_EQ(open_for(name, GENERIC_READ, FILE_SHARE_READ), INVALID_HANDLE_VALUE) << "whatever was closed";
  writer.close();
  EXPECT_NE(static_cast<HANDLE>(ScopedHandle(open_for(name, GENERIC_READ, FILE_SHARE_READ))),
            INVALID_HANDLE_VALUE);
}

TEST_F(ShareModesTest, ALinkIsTheSameFile) {
  const std::string name = make_file("file");
  fs::create_hard_link(name, path("hard"));
  fs::create_symlink(name, path("soft"));
  const ScopedHandle alone = open_for(name, GENERIC_READ, 0);
  for (const char* link : {"hard", "soft"}) {
    EXPECT_EQ(failed_open(open_for(path(link), GENERIC_READ, 7)), ERROR_SHARING_VIOLATION);
  }
}

size_t side_files() {
  const fs::path folder = fs::path(std::getenv("XDG_RUNTIME_DIR")) / "zdr" / "share";
  return fs::exists(folder) ? static_cast<size_t>(std::distance(fs::directory_iterator(folder), {})) : 0;
}

TEST_F(ShareModesTest, AKilledHolderProtectsNothingAndNoSideFileStays) {
  const std::string name = make_file("file");
  ChildProcess child("worker");
  ASSERT_EQ(child.ask("open-file f " + std::to_string(GENERIC_READ) + " 0 " + name), "0");
  EXPECT_EQ(open_for(name, GENERIC_READ, 7), INVALID_HANDLE_VALUE);
  EXPECT_EQ(side_files(), 1u);
  child.kill_hard();
  ScopedHandle file = open_for(name, GENERIC_READ, 7);
  EXPECT_NE(static_cast<HANDLE>(file), INVALID_HANDLE_VALUE);
  file.close();
  EXPECT_EQ(side_files(), 0u);
}

// The file system gives the number of a deleted file to the next new one, which may be another process's.
TEST_F(ShareModesTest, NewFilesInheritNoOpensOfDeletedOnes) {
  const std::string name = make_file("file");
  ChildProcess child("worker");
  child.send("churn " + name + ".child");
  EXPECT_EQ(create_and_delete(name + ".own", 1500), 0u);
  EXPECT_EQ(child.receive(), "0");
}

// The side file comes and goes with its users: nobody may be left with one that has lost its name.
TEST_F(ShareModesTest, ThreeProcessesNeverHoldAnUnsharedFileTogether) {
  const std::string name = make_file("file");
  ChildProcess children[] = {ChildProcess("worker"), ChildProcess("worker"), ChildProcess("worker")};
  for (ChildProcess& child : children) child.send("fight - 300 " + name);
  for (ChildProcess& child : children) EXPECT_EQ(child.receive(), "0");
}

TEST_F(ShareModesTest, WithoutARuntimeFolderTheRuleStillHoldsInOneProcess) {
  fs::create_directories(path("runtime/zdr"));
  fs::permissions(path("runtime/zdr"), fs::perms::owner_all);
  fs::create_directory_symlink(folder_.path(), path("runtime/zdr/share"));
  ChildProcess child("worker", {"XDG_RUNTIME_DIR=" + path("runtime")});
  EXPECT_EQ(child.ask("try-pairs " + make_file("file")), "0") << "pairs that broke the rule";
}

TEST_F(ShareModesTest, SideFilesArePrivate) {
  const ScopedHandle file = open_for(make_file("file"), GENERIC_READ);
  const fs::path folder = fs::path(std::getenv("XDG_RUNTIME_DIR")) / "zdr";
  EXPECT_EQ(fs::status(folder).permissions(), fs::perms::owner_all);
  EXPECT_EQ(fs::status(folder / "share").permissions(), fs::perms::owner_all);
  for (const auto& entry : fs::directory_iterator(folder / "share")) {
    EXPECT_EQ(entry.status().permissions(), fs::perms::owner_read | fs::perms::owner_write);
  }
}

}  // namespace

}  // namespace zdr::platform::test
