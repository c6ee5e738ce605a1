// ReadFile and WriteFile: counts, ends, errors, OVERLAPPED offsets, and a random run against a plain model.
#include <sys/resource.h>
#include <csignal>

#include <random>
#include <vector>

#include "win32_test_support.h"

namespace zdr::platform::test {

namespace {

using FileTransferTest = Win32Test;

TEST_F(FileTransferTest, TheEndIsAShortReadAndThenNothing) {
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

TEST_F(FileTransferTest, CountsAreClearedBeforeAnythingElse) {
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
  EXPECT_TRUE(FlushFileBuffers(writer));
  EXPECT_FALSE(ReadFile(nullptr, &byte, 1, &count, nullptr));
  EXPECT_EQ(count, 0u);
  EXPECT_EQ(failure(ReadFile(reader, &byte, 1, nullptr, nullptr)), ERROR_INVALID_PARAMETER);
  count = 99;
  EXPECT_TRUE(WriteFile(writer, nullptr, 0, &count, nullptr) && count == 0);
  EXPECT_EQ(GetFileSize(writer, nullptr), 10u) << "a write of nothing neither cuts nor extends";
  EXPECT_EQ(failure(ReadFile(reader, nullptr, 1, &count, nullptr)), ERROR_NOACCESS);
}

TEST_F(FileTransferTest, AnOverlappedNamesTheOffsetAndIsMovedOn) {
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

TEST_F(FileTransferTest, AFullDeviceIs112AndAFileTooLargeTellsWhatMoved) {
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

// A vector and a position stand for the file.
class FileModel {
 public:
  std::string read(size_t count) {
    const size_t start = std::min(position_, bytes_.size());
    std::string result = bytes_.substr(start, count);
    position_ += result.size();
    return result;
  }
  void write(const std::string& text) {
    if (text.empty()) return;
    if (bytes_.size() < position_ + text.size()) bytes_.resize(position_ + text.size());
    bytes_.replace(position_, text.size(), text);
    position_ += text.size();
  }
  bool seek(int64_t target) {
    if (target < 0) return false;
    position_ = static_cast<size_t>(target);
    return true;
  }
  void cut() { bytes_.resize(position_); }
  int64_t position() const { return static_cast<int64_t>(position_); }
  int64_t size() const { return static_cast<int64_t>(bytes_.size()); }
  const std::string& bytes() const { return bytes_; }

 private:
  std::string bytes_;
  size_t position_ = 0;
};

TEST_F(FileTransferTest, RandomUseMatchesAPlainModel) {
  std::mt19937 random(20240501);
  const auto below = [&](uint32_t bound) { return static_cast<uint32_t>(random()) % bound; };
  const std::string name = path("file");
  const ScopedHandle file = open_for(name, GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ, CREATE_NEW);
  FileModel model;
  std::string buffer(5000, '\0');
  for (int step = 0; step < 5000; ++step) {
    DWORD moved = 0;
    const DWORD count = below(100) < 10 ? below(5000) : below(40);
    const DWORD action = below(10);
    if (action < 4) {
      ASSERT_TRUE(ReadFile(file, buffer.data(), count, &moved, nullptr));
      ASSERT_EQ(buffer.substr(0, moved), model.read(count)) << step;
    } else if (action < 7) {
      const std::string text(count, static_cast<char>('a' + below(26)));
      ASSERT_TRUE(WriteFile(file, text.data(), count, &moved, nullptr));
      model.write(text);
    } else if (action < 9) {
      const DWORD method = below(3);
      const int64_t base = method == FILE_BEGIN     ? 0
                           : method == FILE_CURRENT ? model.position()
                                                    : model.size();
      const auto distance = static_cast<LONG>(below(6000)) - (method == FILE_BEGIN ? 50 : 3000);
      const bool moves = model.seek(base + distance);
      ASSERT_EQ(SetFilePointer(file, distance, nullptr, method) != INVALID_SET_FILE_POINTER, moves) << step;
    } else {
      ASSERT_TRUE(SetEndOfFile(file));
      model.cut();
    }
    ASSERT_EQ(GetFileSize(file, nullptr), static_cast<DWORD>(model.size())) << step;
  }
  EXPECT_EQ(zdr::tests::read_file(name), model.bytes());
}

}  // namespace

}  // namespace zdr::platform::test
