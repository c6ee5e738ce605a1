// Positions and sizes with their ambiguous results and beyond 4 GiB; what is read and written there.
#include <sys/resource.h>
#include <sys/stat.h>

#include <csignal>

#include "tests/platform/win32/win32_test_support.h"

namespace zdr::platform::test {

namespace {

using FileContentTest = Win32Test;

constexpr int64_t kGiB = int64_t{1} << 30;
constexpr LONG kNoHigh = 0x7EADBEEF;  // in a row: call without a high word

int64_t position_of(HANDLE file) {
  LARGE_INTEGER position;
  EXPECT_TRUE(SetFilePointerEx(file, {}, &position, FILE_CURRENT));
  return position.QuadPart;
}

// The file has 5 GiB + 3 bytes; each row starts at position 100.
TEST_F(FileContentTest, SeeksTreatHighWordsAsTold) {
  zdr::tests::write_sparse_file(path("file"), 5 * kGiB + 3);
  const ScopedHandle file = open_for(path("file"), GENERIC_READ);
  constexpr DWORD kFailed = INVALID_SET_FILE_POINTER;
  const struct {
    LONG low;
    LONG high;
    DWORD method;
    DWORD result;
    LONG high_after;
    DWORD error;
    int64_t position;
  } rows[] = {
      // Without a high word: signed 32-bit distance, and the result must fit 32 bits.
      {7, kNoHigh, FILE_BEGIN, 7, 0, kUntouched, 7},
      {7, kNoHigh, FILE_CURRENT, 107, 0, kUntouched, 107},
      {-100, kNoHigh, FILE_CURRENT, 0, 0, kUntouched, 0},
      {-101, kNoHigh, FILE_CURRENT, kFailed, 0, ERROR_NEGATIVE_SEEK, 100},
      {-1, kNoHigh, FILE_BEGIN, kFailed, 0, ERROR_NEGATIVE_SEEK, 100},
      {0, kNoHigh, FILE_END, kFailed, 0, ERROR_INVALID_PARAMETER, 100},
      {-(1 << 30) - 4, kNoHigh, FILE_END, kFailed, 0, NO_ERROR, 4 * kGiB - 1},
      {0, kNoHigh, 3, kFailed, 0, ERROR_INVALID_PARAMETER, 100},
      // With one: 64 bits in and out.
      {3, 1, FILE_BEGIN, 3, 1, kUntouched, 4 * kGiB + 3},
      {-1, 0, FILE_BEGIN, kFailed, 0, NO_ERROR, 4 * kGiB - 1},
      {-1, 1, FILE_BEGIN, kFailed, 1, NO_ERROR, 8 * kGiB - 1},
      {-100, -1, FILE_CURRENT, 0, 0, kUntouched, 0},
      {-101, -1, FILE_CURRENT, kFailed, -1, ERROR_NEGATIVE_SEEK, 100},
      {0, 0, FILE_END, 0x40000003, 1, kUntouched, 5 * kGiB + 3},
      {-1, 0x7FFFFFFF, FILE_BEGIN, kFailed, 0x7FFFFFFF, NO_ERROR, INT64_MAX},
      {-1, 0x7FFFFFFF, FILE_CURRENT, kFailed, 0x7FFFFFFF, ERROR_INVALID_PARAMETER, 100},
      {0, INT32_MIN, FILE_CURRENT, kFailed, INT32_MIN, ERROR_NEGATIVE_SEEK, 100},
      {0, 0, 7, kFailed, 0, ERROR_INVALID_PARAMETER, 100},
  };
  for (const auto& row : rows) {
    SetFilePointer(file, 100, nullptr, FILE_BEGIN);
    LONG high = row.high;
    SetLastError(kUntouched);
    EXPECT_EQ(SetFilePointer(file, row.low, row.high == kNoHigh ? nullptr : &high, row.method), row.result)
        << row.low << ' ' << row.high << ' ' << row.method;
    EXPECT_EQ(GetLastError(), row.error) << row.low << ' ' << row.high << ' ' << row.method;
    if (row.high != kNoHigh) {
      EXPECT_EQ(high, row.high_after) << row.low << ' ' << row.high;
    }
    EXPECT_EQ(position_of(file), row.position) << row.low << ' ' << row.high << ' ' << row.method;
  }
}

TEST_F(FileContentTest, SizesBeyond4GiBAndTheAmbiguousLowWord) {
  const struct {
    int64_t size;
    DWORD low;
    DWORD high;
    DWORD error;
  } rows[] = {{0, 0, 0, kUntouched},
              {4 * kGiB - 1, 0xFFFFFFFF, 0, NO_ERROR},
              {5 * kGiB, 0x40000000, 1, kUntouched},
              {8 * kGiB - 1, 0xFFFFFFFF, 1, NO_ERROR}};
  for (const auto& row : rows) {
    zdr::tests::write_sparse_file(path("file"), static_cast<uint64_t>(row.size));
    const ScopedHandle file = open_for(path("file"), GENERIC_READ);
    SetLastError(kUntouched);
    DWORD high = 77;
    EXPECT_EQ(GetFileSize(file, &high), row.low);
    EXPECT_EQ(high, row.high);
    EXPECT_EQ(GetLastError(), row.error);
    EXPECT_EQ(GetFileSize(file, nullptr), row.low);
    LARGE_INTEGER size;
    EXPECT_TRUE(GetFileSizeEx(file, &size) && size.QuadPart == row.size);
  }
}

TEST_F(FileContentTest, BytesBeyond4GiBAreReachedAndBeyondTheEndNothingGrows) {
  const ScopedHandle file = open_for(path("file"), GENERIC_READ | GENERIC_WRITE, 0, CREATE_NEW);
  LARGE_INTEGER far_away;
  far_away.QuadPart = 6 * kGiB;
  EXPECT_TRUE(SetFilePointerEx(file, far_away, nullptr, FILE_BEGIN));
  EXPECT_EQ(GetFileSize(file, nullptr), 0u);
  DWORD moved = 0;
  EXPECT_TRUE(WriteFile(file, "end", 3, &moved, nullptr) && moved == 3);
  EXPECT_EQ(position_of(file), 6 * kGiB + 3);
  far_away.QuadPart = -5;
  EXPECT_TRUE(SetFilePointerEx(file, far_away, nullptr, FILE_END));
  char bytes[8] = "xxxxxxx";
  EXPECT_TRUE(ReadFile(file, bytes, 8, &moved, nullptr) && moved == 5);
  EXPECT_EQ(std::string(bytes, 5), std::string("\0\0end", 5)) << "the gap reads as zeros";
}

TEST_F(FileContentTest, APipeHasNoPosition) {
  ASSERT_EQ(mkfifo(path("pipe").c_str(), 0600), 0);
  // Opened for both directions a pipe waits for nobody.
  const ScopedHandle pipe = open_for(path("pipe"), GENERIC_READ | GENERIC_WRITE);
  EXPECT_EQ(SetFilePointer(pipe, 0, nullptr, FILE_CURRENT), INVALID_SET_FILE_POINTER);
  EXPECT_EQ(GetLastError(), ERROR_SEEK_ON_DEVICE);
  DWORD moved = 0;
  EXPECT_TRUE(WriteFile(pipe, "ab", 2, &moved, nullptr));
  char bytes[2] = {};
  EXPECT_TRUE(ReadFile(pipe, bytes, 2, &moved, nullptr) && moved == 2 && bytes[1] == 'b');
}

TEST_F(FileContentTest, APipeWithoutReaderFailsTheWriteAndNotTheProcess) {
  ASSERT_EQ(mkfifo(path("pipe").c_str(), 0600), 0);
  ScopedHandle reader = open_for(path("pipe"), GENERIC_READ, 7);
  const ScopedHandle writer = open_for(path("pipe"), GENERIC_WRITE, 7);
  reader.close();
  DWORD moved = 77;
  EXPECT_EQ(failure(WriteFile(writer, "ab", 2, &moved, nullptr)), ERROR_BROKEN_PIPE);
  EXPECT_EQ(moved, 0u);
  sigset_t pending;
  sigset_t blocked;
  sigpending(&pending);
  pthread_sigmask(SIG_BLOCK, nullptr, &blocked);
  EXPECT_FALSE(sigismember(&pending, SIGPIPE) || sigismember(&blocked, SIGPIPE));
}

TEST_F(FileContentTest, SetEndOfFileCutsAndExtends) {
  const std::string name = make_file("file");
  const ScopedHandle file = open_for(name, GENERIC_READ | GENERIC_WRITE);
  for (const LONG size : {4, 6}) {
    SetFilePointer(file, size, nullptr, FILE_BEGIN);
    EXPECT_TRUE(SetEndOfFile(file));
    EXPECT_EQ(zdr::tests::read_file(name), std::string("0123\0\0", static_cast<size_t>(size)));
  }
}

TEST_F(FileContentTest, TheEndIsAShortReadAndThenNothing) {
  const ScopedHandle file = open_for(make_file("file"), GENERIC_READ);
  char bytes[16];
  DWORD got = 99;
  EXPECT_TRUE(ReadFile(file, bytes, 16, &got, nullptr) && got == 10);
  got = 99;
  SetLastError(kUntouched);
  EXPECT_TRUE(ReadFile(file, bytes, 16, &got, nullptr) && got == 0);
  SetFilePointer(file, 50, nullptr, FILE_BEGIN);
  EXPECT_TRUE(ReadFile(file, bytes, 16, &got, nullptr) && got == 0) << "beyond the end";
  LARGE_INTEGER last;
  last.QuadPart = INT64_MAX - 1;
  EXPECT_TRUE(SetFilePointerEx(file, last, nullptr, FILE_BEGIN));
  EXPECT_TRUE(ReadFile(file, bytes, 16, &got, nullptr) && got == 0) << "at the last position there is";
  EXPECT_EQ(GetLastError(), kUntouched);
}

TEST_F(FileContentTest, CountsAreClearedBeforeAnythingElse) {
  const ScopedHandle reader = open_for(make_file("r"), GENERIC_READ);
  const ScopedHandle writer = open_for(make_file("w"), GENERIC_WRITE);
  char byte = 0;
  DWORD count = 99;
  EXPECT_EQ(failure(WriteFile(reader, &byte, 1, &count, nullptr)), ERROR_ACCESS_DENIED);
  EXPECT_EQ(count, 0u);
  count = 99;
  EXPECT_EQ(failure(ReadFile(writer, &byte, 1, &count, nullptr)), ERROR_ACCESS_DENIED);
  EXPECT_EQ(count, 0u);
  count = 99;
  EXPECT_EQ(failure(FlushFileBuffers(reader)), ERROR_ACCESS_DENIED);
  EXPECT_EQ(failure(SetEndOfFile(reader)), ERROR_ACCESS_DENIED);
  EXPECT_TRUE(FlushFileBuffers(writer));
  EXPECT_FALSE(ReadFile(nullptr, &byte, 1, &count, nullptr));
  EXPECT_EQ(count, 0u);
  EXPECT_EQ(failure(ReadFile(reader, &byte, 1, nullptr, nullptr)), ERROR_INVALID_PARAMETER);
  count = 99;
  EXPECT_TRUE(WriteFile(writer, nullptr, 0, &count, nullptr) && count == 0);
  EXPECT_EQ(GetFileSize(writer, nullptr), 10u) << "a write of nothing neither cuts nor extends";
  EXPECT_EQ(failure(ReadFile(reader, nullptr, 1, &count, nullptr)), ERROR_NOACCESS);
}

TEST_F(FileContentTest, AnOverlappedNamesTheOffsetAndIsMovedOn) {
  const ScopedHandle file = open_for(make_file("file"), GENERIC_READ | GENERIC_WRITE);
  char bytes[4];
  OVERLAPPED at{};
  at.Offset = 6;
  DWORD got = 0;
  EXPECT_TRUE(ReadFile(file, bytes, 3, &got, &at) && got == 3);
  EXPECT_EQ(std::string(bytes, 3), "678");
  EXPECT_EQ(at.Offset, 9u);
  EXPECT_TRUE(ReadFile(file, bytes, 3, nullptr, &at)) << "the count is optional here";
  EXPECT_EQ(at.Offset, 10u);
  EXPECT_EQ(failure(ReadFile(file, bytes, 3, &got, &at)), ERROR_HANDLE_EOF);
  at.Offset = 0xFFFFFFFE;
  EXPECT_TRUE(WriteFile(file, "abcd", 4, &got, &at) && got == 4);
  EXPECT_EQ(at.OffsetHigh, 1u);
  EXPECT_EQ(at.Offset, 2u);
  at.OffsetHigh = 0x80000000;
  EXPECT_EQ(failure(WriteFile(file, "abcd", 4, &got, &at)), ERROR_INVALID_PARAMETER);
}

TEST_F(FileContentTest, AFullDeviceIs112AndAFileTooLargeTellsWhatMoved) {
  const ScopedHandle full = open_for("/dev/full", GENERIC_WRITE);
  DWORD put = 99;
  EXPECT_EQ(failure(WriteFile(full, "abcd", 4, &put, nullptr)), ERROR_DISK_FULL);
  EXPECT_EQ(put, 0u);

  rlimit before;
  getrlimit(RLIMIT_FSIZE, &before);
  const rlimit small = {6, before.rlim_max};
  signal(SIGXFSZ, SIG_IGN);
  const ScopedHandle file = open_for(path("file"), GENERIC_WRITE, 0, CREATE_NEW);
  setrlimit(RLIMIT_FSIZE, &small);
  const BOOL written = WriteFile(file, "abcdefgh", 8, &put, nullptr);
  const DWORD error = GetLastError();
  setrlimit(RLIMIT_FSIZE, &before);
  EXPECT_FALSE(written);
  EXPECT_EQ(error, ERROR_FILE_TOO_LARGE);
  EXPECT_EQ(put, 6u);
  EXPECT_EQ(SetFilePointer(file, 0, nullptr, FILE_CURRENT), 6u);
}

}  // namespace

}  // namespace zdr::platform::test
