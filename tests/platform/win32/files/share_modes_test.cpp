// Share modes: every pair of opens, in one process and between two, compared with the rule.
#include "tests/platform/win32/child_process.h"
#include "tests/platform/win32/win32_test_support.h"

namespace zdr::test {

namespace {

namespace fs = std::filesystem;
using ShareModes = Win32Test;

// Bit 0 read, 1 write, 2 delete: as in FILE_SHARE_*. An open requests to read, to write or both.
DWORD access_of(DWORD uses) {
  return ((uses & 1) != 0 ? GENERIC_READ : 0) | ((uses & 2) != 0 ? GENERIC_WRITE : 0);
}

// Two opens are compatible when each requests only what the other allows.
bool are_compatible(DWORD uses_a, DWORD share_a, DWORD uses_b, DWORD share_b) {
  return (uses_a & ~share_b) == 0 && (uses_b & ~share_a) == 0;
}

std::string command(const char* handle, DWORD uses, DWORD share, const std::string& file) {
  return std::string("open-file ") + handle + ' ' + std::to_string(access_of(uses)) + ' ' +
         std::to_string(share) + ' ' + file;
}

// Both opens in one process that has no side files, or the second one in this process.
TEST_F(ShareModes, DecideEveryPairOfOpens) {
  const std::string name = make_file("file");
  ChildProcess alone({without_side_files()});
  ChildProcess other;
  for (ChildProcess* child : {&alone, &other}) {
    for (DWORD pair = 0; pair < 3 * 3 * 8 * 8; ++pair) {
      const DWORD uses[] = {1 + pair % 3, 1 + pair / 3 % 3};
      const DWORD shares[] = {pair / 9 % 8, pair / 72};
      const DWORD expected =
          are_compatible(uses[0], shares[0], uses[1], shares[1]) ? NO_ERROR : ERROR_SHARING_VIOLATION;
      ASSERT_EQ(child->call(command("a", uses[0], shares[0], name)), "0");
      if (child == &alone) {
        ASSERT_EQ(child->call(command("b", uses[1], shares[1], name)), std::to_string(expected)) << pair;
        if (expected == NO_ERROR) child->call("close b");
      } else {
        const ScopedHandle second = open_for(name, access_of(uses[1]), shares[1]);
        ASSERT_EQ(GetLastError(), expected) << pair;
      }
      ASSERT_EQ(child->call("close a"), "1");
    }
  }
}

TEST_F(ShareModes, ThreeOpensMustAllBeCompatible) {
  const std::string name = make_file("file");
  const ScopedHandle reader = open_for(name, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE);
  ScopedHandle writer = open_for(name, GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE);
  EXPECT_EQ(failed_open(open_for(name, GENERIC_READ)), ERROR_SHARING_VIOLATION) << "denies the writer";
  writer.close();
  const ScopedHandle second_reader = open_for(name, GENERIC_READ);
  EXPECT_NE(HANDLE{second_reader}, INVALID_HANDLE_VALUE);
}

TEST_F(ShareModes, AKilledHolderLosesItsLocksAndSideFile) {
  const fs::path folder = fs::path(std::getenv("XDG_RUNTIME_DIR")) / "zdr" / "share";
  const std::string name = make_file("file");
  ChildProcess child;
  ASSERT_EQ(child.call(command("f", 1, 0, name)), "0");
  EXPECT_EQ(failed_open(open_for(name, GENERIC_READ, 7)), ERROR_SHARING_VIOLATION);
  for (const fs::path& each : {folder.parent_path(), folder}) {
    EXPECT_EQ(fs::status(each).permissions(), fs::perms::owner_all);
  }
  ASSERT_EQ(std::distance(fs::directory_iterator(folder), {}), 1);
  EXPECT_EQ(fs::directory_iterator(folder)->status().permissions(),
            fs::perms::owner_read | fs::perms::owner_write);
  child.kill_hard();
  ScopedHandle file = open_for(name, GENERIC_READ, 7);
  EXPECT_NE(HANDLE{file}, INVALID_HANDLE_VALUE);
  file.close();
  EXPECT_TRUE(fs::is_empty(folder));
}

// The file system gives the inode number of a deleted file to the next new one, which may be another
// process's.
TEST_F(ShareModes, NewFilesInheritNoOpensOfDeletedOnes) {
  const std::string name = make_file("file");
  ChildProcess child;
  child.send("churn " + name + ".child");
  EXPECT_EQ(create_and_delete(name + ".own", 1500), 0u);
  EXPECT_EQ(child.receive(), "0");
}

// The side file is created and removed with its users: no process may continue with a removed one.
TEST_F(ShareModes, ThreeProcessesNeverHoldAnUnsharedFileTogether) {
  const std::string name = make_file("file");
  ChildProcess children[3];
  for (ChildProcess& child : children) child.send("compete 300 " + name);
  for (ChildProcess& child : children) EXPECT_EQ(child.receive(), "0");
}

}  // namespace

}  // namespace zdr::test
