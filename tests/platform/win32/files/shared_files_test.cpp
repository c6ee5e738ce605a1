// Files that several programs use. Share modes: every pair of opens, in one process and between two, compared
// with the rule. Read-ahead is invisible: reads match the file's bytes, even when a program that ignores
// share modes makes the file longer or shorter.
#include <algorithm>
#include <random>

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
  fs::remove_all(folder);  // what programs that other tests have killed left
  ChildProcess child;
  ASSERT_EQ(child.call(command("f", 1, 0, name)), "0");
  EXPECT_EQ(failed_open(open_for(name, GENERIC_READ, 7)), ERROR_SHARING_VIOLATION);
  const auto left = [&] { return std::distance(fs::directory_iterator(folder), {}); };
  for (const fs::path& each : {folder.parent_path(), folder}) {
    EXPECT_EQ(fs::status(each).permissions(), fs::perms::owner_all);
  }
  ASSERT_EQ(left(), 1);
  EXPECT_EQ(fs::directory_iterator(folder)->status().permissions(),
            fs::perms::owner_read | fs::perms::owner_write);
  ASSERT_EQ(child.call(command("g", 1, 0, make_file("unused from now on"))), "0");
  child.kill_hard();
  ScopedHandle file = open_for(name, GENERIC_READ, 7);
  EXPECT_NE(HANDLE{file}, INVALID_HANDLE_VALUE);
  file.close();
  EXPECT_EQ(left(), 1);
  const std::string held = make_file("held");
  ChildProcess next;
  ASSERT_EQ(next.call(command("f", 1, 0, held)), "0");
  EXPECT_EQ(left(), 1) << "the first open of a process removes files without locks";
  ChildProcess last;
  EXPECT_EQ(last.call(command("f", 1, 7, held)), std::to_string(ERROR_SHARING_VIOLATION));
  EXPECT_EQ(next.call("close f"), "1");
  EXPECT_EQ(left(), 0);
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

using ReadAhead = Win32Test;

std::string pattern(size_t size) {
  std::mt19937 random(7);
  std::string bytes(size, '\0');
  for (char& byte : bytes) byte = static_cast<char>(random());
  return bytes;
}

std::string read_at(HANDLE file, size_t offset, DWORD count) {
  std::string bytes(count, '\0');
  DWORD got = 0;
  EXPECT_EQ(SetFilePointer(file, static_cast<LONG>(offset), nullptr, FILE_BEGIN), offset);
  EXPECT_TRUE(ReadFile(file, bytes.data(), count, &got, nullptr));
  EXPECT_EQ(SetFilePointer(file, 0, nullptr, FILE_CURRENT), offset + got);
  bytes.resize(got);
  return bytes;
}

// Interleaved runs of reads, with skips, jumps, sizes around the limits, and the end of the file.
TEST_F(ReadAhead, ReadsMatchTheFile) {
  const std::string bytes = pattern(300'000);
  const ScopedHandle file = open_for(make_file("file", bytes), GENERIC_READ);
  std::mt19937 random(11);
  const auto below = [&](size_t bound) { return static_cast<size_t>(random()) % bound; };
  const DWORD sizes[] = {1, 4, 8, 300, 1000, 4095, 4096, 4097, 16384, 16385, 70000};
  size_t runs[6] = {};
  for (int step = 0; step < 30'000; ++step) {
    size_t& offset = runs[below(std::size(runs))];
    const size_t kind = below(100);
    if (kind < 4) offset = below(bytes.size() + 100);
    if (kind < 20) offset += below(5000);
    if (kind == 20) offset += below(70'000);
    if (kind == 21) offset = bytes.size() - below(5000);
    if (offset > bytes.size() + 6000) offset = 0;
    const DWORD count = kind < 90 ? sizes[below(5)] : sizes[below(std::size(sizes))];
    const std::string expected = offset < bytes.size() ? bytes.substr(offset, count) : std::string();
    ASSERT_EQ(read_at(file, offset, count), expected) << "at " << offset << " for " << count;
    offset += expected.size();
  }
}

// The number of read calls of this process, counted by the kernel; read-ahead is meant to reduce it.
size_t read_calls() {
  std::ifstream counters("/proc/self/io");
  for (std::string name; counters >> name;) {
    size_t value = 0;
    counters >> value;
    if (name == "syscr:") return value;
  }
  return 0;
}

TEST_F(ReadAhead, RunsOfSmallReadsCostFewCalls) {
  const ScopedHandle file = open_for(make_file("file", pattern(400'000)), GENERIC_READ);
  const size_t before = read_calls();
  for (size_t i = 0; i < 1000; ++i) {  // two tracks in turns
    read_at(file, i * 100, 100);
    read_at(file, 200'000 + i * 150, 150);
  }
  EXPECT_LT(read_calls() - before, 60u);
}

TEST_F(ReadAhead, AFileOfAnotherLengthIsReadToItsTrueEnd) {
  std::string bytes = pattern(1000);
  const std::string name = make_file("file", bytes);
  const ScopedHandle file = open_for(name, GENERIC_READ);
  size_t offset = 0;
  for (int round = 0; round < 50; ++round) {
    while (offset < bytes.size()) {
      const std::string got = read_at(file, offset, 64);
      ASSERT_EQ(got, bytes.substr(offset, 64)) << round;
      offset += got.size();
    }
    ASSERT_EQ(read_at(file, offset, 64), "");
    bytes += pattern(static_cast<size_t>(100 + round * 37));
    write_file(name, bytes);
  }
  fs::resize_file(name, offset - 10);
  EXPECT_EQ(read_at(file, offset - 20, 50), bytes.substr(offset - 20, 10)) << "nor beyond it";
}

// A handle that lets others write, or that cannot exclude writers of other processes, reads fresh bytes.
TEST_F(ReadAhead, IsOffWhereWritersAreNotExcluded) {
  const std::pair<std::string, const char*> openings[] = {{without_side_files(), " 0 "}, {"UNUSED=", " 3 "}};
  for (const auto& [environment, share] : openings) {
    const std::string name = make_file("file", std::string(50'000, 'a'));
    ChildProcess child({environment});
    ASSERT_EQ(child.call("open-file f " + std::to_string(GENERIC_READ) + share + name), "0");
    ASSERT_EQ(child.call("read f 100"), std::to_string(int{'a'}));
    write_file(name, std::string(50'000, 'b'));
    EXPECT_EQ(child.call("read f 1"), std::to_string(int{'b'}));
    EXPECT_EQ(child.call("close f"), "1");
  }
}

}  // namespace

}  // namespace zdr::test
