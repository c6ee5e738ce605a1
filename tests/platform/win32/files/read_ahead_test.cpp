// Read-ahead is invisible: reads match the file's bytes, even when a program that ignores share modes makes
// the file longer or shorter.
#include <algorithm>
#include <random>

#include "tests/platform/win32/child_process.h"
#include "tests/platform/win32/win32_test_support.h"

namespace zdr::test {

namespace {

namespace fs = std::filesystem;
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
