// Positions, the end of a file, pipes, and transfers that fail. The tests of the OS layer cover sizes.
#include <sys/resource.h>
#include <sys/stat.h>

#include <csignal>

#include "tests/platform/win32/win32_test_support.h"

namespace zdr::test {

namespace {

using FileContent = Win32Test;

constexpr int64_t kGiB = int64_t{1} << 30;
constexpr LONG kNoHigh = 0x7EADBEEF;  // in a row: call without a high word

int64_t position_of(HANDLE file) {
  LONG high = 0;
  const DWORD low = SetFilePointer(file, 0, &high, FILE_CURRENT);
  return int64_t{high} << 32 | low;
}

// The file has 5 GiB + 3 bytes; each row starts at position 100.
TEST_F(FileContent, SeeksUseTheHighWordIfGiven) {
  write_sparse_file(path("file"), 5 * kGiB + 3);
  const ScopedHandle file = open_for(path("file"), GENERIC_READ);
  constexpr DWORD kFailed = INVALID_SET_FILE_POINTER;
  const struct {
    LONG low;
    LONG high;
    DWORD method;
    DWORD error;
    int64_t position;
  } rows[] = {
      // Without a high word: a signed 32-bit distance, and the result must fit 32 bits.
      {7, kNoHigh, FILE_CURRENT, kUntouched, 107},
      {-101, kNoHigh, FILE_CURRENT, ERROR_NEGATIVE_SEEK, 100},
      {0, kNoHigh, FILE_END, ERROR_INVALID_PARAMETER, 100},
      {-(1 << 30) - 4, kNoHigh, FILE_END, NO_ERROR, 4 * kGiB - 1},
      {0, kNoHigh, 3, ERROR_INVALID_PARAMETER, 100},
      // With one: 64 bits in and out.
      {-1, 0, FILE_BEGIN, NO_ERROR, 4 * kGiB - 1},
      {-100, -1, FILE_CURRENT, kUntouched, 0},
      {0, 0, FILE_END, kUntouched, 5 * kGiB + 3},
      {-1, 0x7FFFFFFF, FILE_BEGIN, NO_ERROR, INT64_MAX},
      {-1, 0x7FFFFFFF, FILE_CURRENT, ERROR_INVALID_PARAMETER, 100},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(std::to_string(row.low) + ' ' + std::to_string(row.high) + ' ' + std::to_string(row.method));
    SetFilePointer(file, 100, nullptr, FILE_BEGIN);
    LONG high = row.high;
    SetLastError(kUntouched);
    const DWORD result = SetFilePointer(file, row.low, row.high == kNoHigh ? nullptr : &high, row.method);
    const bool succeeds = row.error == kUntouched || row.error == NO_ERROR;
    EXPECT_EQ(GetLastError(), row.error);
    EXPECT_EQ(result, succeeds ? static_cast<DWORD>(row.position) : kFailed);
    if (row.high != kNoHigh) {
      EXPECT_EQ(high, succeeds ? static_cast<LONG>(row.position >> 32) : row.high);
    }
    EXPECT_EQ(position_of(file), row.position);
  }
}

TEST_F(FileContent, APipeHasNoPositionAndAWriteWithoutReaderFails) {
  ASSERT_EQ(mkfifo(path("pipe").c_str(), 0600), 0);
  ScopedHandle reader = open_for(path("pipe"), GENERIC_READ, 7);
  const ScopedHandle writer = open_for(path("pipe"), GENERIC_WRITE, 7);
  EXPECT_EQ(SetFilePointer(reader, 0, nullptr, FILE_CURRENT), INVALID_SET_FILE_POINTER);
  EXPECT_EQ(GetLastError(), ERROR_SEEK_ON_DEVICE);
  DWORD moved = 0;
  EXPECT_TRUE(WriteFile(writer, "ab", 2, &moved, nullptr));
  char bytes[2] = {};
  EXPECT_TRUE(ReadFile(reader, bytes, 2, &moved, nullptr) && moved == 2 && bytes[1] == 'b');
  reader.close();
  moved = 77;
  EXPECT_EQ(failure(WriteFile(writer, "ab", 2, &moved, nullptr)), ERROR_BROKEN_PIPE);
  EXPECT_EQ(moved, 0u);
  sigset_t pending;
  sigset_t blocked;
  sigpending(&pending);
  pthread_sigmask(SIG_BLOCK, nullptr, &blocked);
  EXPECT_FALSE(sigismember(&pending, SIGPIPE) || sigismember(&blocked, SIGPIPE));
}

TEST_F(FileContent, TheEndIsAShortReadAndThenAnEmptyOne) {
  const ScopedHandle file = open_for(make_file("file"), GENERIC_READ);
  char bytes[16];
  DWORD got = 99;
  EXPECT_TRUE(ReadFile(file, bytes, 16, &got, nullptr) && got == 10);
  const std::pair<LONG, LONG> places[] = {
      {10, 0}, {50, 0}, {-2, 0x7FFFFFFF}};  // the last one is INT64_MAX - 1
  for (auto [low, high] : places) {
    SetFilePointer(file, low, &high, FILE_BEGIN);
    got = 99;
    SetLastError(kUntouched);
    EXPECT_TRUE(ReadFile(file, bytes, 16, &got, nullptr) && got == 0) << low;
    EXPECT_EQ(GetLastError(), kUntouched);
  }
}

TEST_F(FileContent, CountsAreClearedBeforeAnythingFails) {
  const ScopedHandle reader = open_for(make_file("r"), GENERIC_READ);
  const ScopedHandle writer = open_for(make_file("w"), GENERIC_WRITE);
  const ScopedHandle full = open_for("/dev/full", GENERIC_WRITE);
  char byte = 0;
  LPOVERLAPPED overlapped = reinterpret_cast<LPOVERLAPPED>(&byte);
  DWORD count = 99;
  const auto expect = [&](BOOL succeeded, DWORD error) {
    EXPECT_EQ(failure(succeeded), error);
    EXPECT_EQ(std::exchange(count, 99), 0u);
  };
  expect(WriteFile(reader, &byte, 1, &count, nullptr), ERROR_ACCESS_DENIED);
  expect(ReadFile(writer, &byte, 1, &count, nullptr), ERROR_ACCESS_DENIED);
  expect(ReadFile(nullptr, &byte, 1, &count, nullptr), ERROR_INVALID_HANDLE);
  expect(ReadFile(reader, nullptr, 1, &count, nullptr), ERROR_NOACCESS);
  expect(ReadFile(reader, &byte, 1, &count, overlapped), ERROR_INVALID_PARAMETER);
  expect(WriteFile(writer, nullptr, 0, &count, nullptr), kNoFailure);
  expect(WriteFile(writer, nullptr, 1, &count, nullptr), ERROR_NOACCESS);
  expect(WriteFile(full, "abcd", 4, &count, nullptr), ERROR_DISK_FULL);
  EXPECT_EQ(GetFileSize(writer, nullptr), 10u) << "a write of no bytes changes nothing";
  EXPECT_EQ(failure(ReadFile(reader, &byte, 1, nullptr, nullptr)), ERROR_INVALID_PARAMETER);
  EXPECT_EQ(failure(FlushFileBuffers(reader)), ERROR_ACCESS_DENIED);
  EXPECT_TRUE(FlushFileBuffers(writer));
}

TEST_F(FileContent, AFailedWriteCountsWhatMovedBefore) {
  rlimit before;
  getrlimit(RLIMIT_FSIZE, &before);
  const rlimit small = {6, before.rlim_max};
  signal(SIGXFSZ, SIG_IGN);
  const ScopedHandle file = open_for(path("file"), GENERIC_WRITE, 0, CREATE_ALWAYS);
  setrlimit(RLIMIT_FSIZE, &small);
  DWORD put = 99;
  const DWORD error = failure(WriteFile(file, "abcdefgh", 8, &put, nullptr));
  setrlimit(RLIMIT_FSIZE, &before);
  EXPECT_EQ(error, ERROR_FILE_TOO_LARGE);
  EXPECT_EQ(put, 6u);
  EXPECT_EQ(position_of(file), 6);
}

}  // namespace

}  // namespace zdr::test
