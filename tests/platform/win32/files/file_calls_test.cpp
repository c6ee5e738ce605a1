// Opening and deleting by name, positions, pipes, and transfers that fail; full paths, temporary names,
// module names. The tests of the OS layer cover dispositions, sizes and the end of a file.
#include <dlfcn.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <csignal>

#include "platform/win32/debug_output.h"
#include "platform/win32/new_file.h"
#include "platform/win32/read_failures.h"
#include "tests/platform/win32/child_process.h"
#include "tests/platform/win32/win32_test_support.h"
#include "tests/support/registry_file.h"

namespace zdr::test {

namespace {

namespace fs = std::filesystem;
using FileOpen = Win32Test;
using FileContent = Win32Test;

TEST_F(FileOpen, FailuresReturnTheirCodeAndDestroyNothing) {
  make_file("file");
  make_file("read-only");
  fs::permissions(path("read-only"), fs::perms::owner_read);
  fs::create_directory(path("folder"));
  fs::create_symlink("loop", path("loop"));
  const ScopedHandle reader = open_for(make_file("in use"), GENERIC_READ);
  const std::tuple<std::string, DWORD, DWORD, DWORD, DWORD> rows[] = {
      {path("missing"), GENERIC_READ, OPEN_EXISTING, 0, ERROR_FILE_NOT_FOUND},
      {path("no-folder/missing"), GENERIC_READ, OPEN_EXISTING, 0, ERROR_PATH_NOT_FOUND},
      {path("file/below"), GENERIC_READ, OPEN_EXISTING, 0, ERROR_PATH_NOT_FOUND},
      {path("folder"), GENERIC_READ, OPEN_EXISTING, 0, ERROR_ACCESS_DENIED},
      {path("read-only"), GENERIC_WRITE, OPEN_EXISTING, 0, ERROR_ACCESS_DENIED},
      {path("read-only"), GENERIC_READ, CREATE_ALWAYS, 0, ERROR_ACCESS_DENIED},
      {path("in use"), GENERIC_WRITE, CREATE_ALWAYS, 0, ERROR_SHARING_VIOLATION},
      {path("file"), 0x00010000, OPEN_EXISTING, 0, ERROR_INVALID_PARAMETER},
      {path("file"), GENERIC_READ, 1, 0, ERROR_INVALID_PARAMETER},
      {path("file"), GENERIC_READ, OPEN_EXISTING, 0x40000000, ERROR_INVALID_PARAMETER},
      {path("loop"), GENERIC_READ, OPEN_EXISTING, 0, ERROR_CANT_RESOLVE_FILENAME},
      {path(std::string(300, 'x')), GENERIC_READ, OPEN_EXISTING, 0, ERROR_FILENAME_EXCED_RANGE},
      {"", GENERIC_READ, OPEN_EXISTING, 0, ERROR_PATH_NOT_FOUND},
      {"Q:\\plain", GENERIC_READ, OPEN_EXISTING, 0, ERROR_PATH_NOT_FOUND},
  };
  for (const auto& [name, access, disposition, flags, error] : rows) {
    EXPECT_EQ(failed_open(CreateFileW(wide(name).c_str(), access, FILE_SHARE_READ, nullptr, disposition,
                                      flags, nullptr)),
              error)
        << name << ' ' << disposition;
  }
  for (const char* name : {"file", "in use"}) EXPECT_EQ(read_file(path(name)), "0123456789");
}

TEST_F(FileOpen, NamesAreMappedToThoseOfTheSystem) {
  make_file("plain");
  const std::string folder = folder_.path().string();
  const ScopedVariable first("ZDR_DRIVE_A", folder.c_str());
  const ScopedVariable last("ZDR_DRIVE_Z", folder.c_str());
  const std::string backslashes = folder + "\\plain";
  std::vector<std::string> names = {backslashes, "\\\\?\\" + backslashes};
  for (const char letter : {'A', 'Z', 'a', 'z'}) names.push_back(letter + std::string(":\\plain"));
  for (const std::string& name : names) {
    const ScopedHandle file = open_for(name, GENERIC_READ);
    EXPECT_NE(HANDLE{file}, INVALID_HANDLE_VALUE) << name;
  }
  // A wide name is UTF-8 on disk; a lone surrogate becomes three bytes, or the one byte that it stands for.
  const std::u16string odd = wide(folder) + u"/\u00E9\U0001F3B5" + char16_t{0xD800} + u'.' +
                             char16_t{0xDC80} + char16_t{0xDCFF} + char16_t{0xDC7F};
  ScopedHandle file = CreateFileW(odd.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
  EXPECT_TRUE(fs::exists(folder + "/\xC3\xA9\xF0\x9F\x8E\xB5\xED\xA0\x80.\x80\xFF\xED\xB1\xBF"));
  // Narrow names end at MAX_PATH; wide ones do not.
  std::string deep = folder;
  while (deep.size() < MAX_PATH) deep += "/././.";
  EXPECT_EQ(failed_open(open_for(deep + "/plain", GENERIC_READ)), ERROR_FILENAME_EXCED_RANGE);
  file = CreateFileW(wide(deep + "/plain").c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
  EXPECT_NE(HANDLE{file}, INVALID_HANDLE_VALUE);
}

TEST_F(FileOpen, OpenAlwaysCreatesTheTargetOfALink) {
  fs::create_symlink("target", path("link"));
  const ScopedHandle file = open_for(path("link"), GENERIC_WRITE, 0, OPEN_ALWAYS);
  EXPECT_EQ(GetLastError(), NO_ERROR);
  EXPECT_TRUE(fs::exists(path("target")));
}

TEST_F(FileOpen, ANewFileIsPublishedUnderItsNameOnce) {
  platform::NewFile file;
  platform::NewFile other;
  EXPECT_EQ(file.create(path("part"), false), 0);
  EXPECT_EQ(other.create(path("part"), true), EBUSY);
  uint64_t written = 0;
  const uint8_t text[] = {'n', 'e', 'w'};
  EXPECT_EQ(file.write(0, {text, 1}, {text + 1, 2}, written), 0);
  make_file("final");
  EXPECT_EQ(file.publish(path("final"), false), EEXIST);
  EXPECT_EQ(file.publish(path("final"), true), 0);
  EXPECT_EQ(read_file(path("final")), "new");
  EXPECT_EQ(file.publish(path("final"), true), ESTALE) << "the temporary name is free";
}

TEST_F(FileOpen, NothingIsInheritedByOtherPrograms) {
  const RegistryFile registry;  // not that of the user
  ChildProcess child;
  const std::string before = child.call("inheritable");
  EXPECT_EQ(child.call("open-file f 2147483648 1 " + make_file("file")), "0");
  EXPECT_EQ(child.call("event e Inherited"), "0");
  EXPECT_EQ(child.call("registry-set Inherited text"), "0");
  EXPECT_EQ(child.call("inheritable"), before);
}

TEST_F(FileOpen, DeletionRefusesFoldersAndReadOnlyOrUnsharedFiles) {
  make_file("file");
  make_file("read-only");
  fs::permissions(path("read-only"), fs::perms::owner_read);
  fs::create_directory(path("folder"));
  fs::create_symlink("file", path("link"));
  const ScopedHandle guarded =
      open_for(make_file("guarded"), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE);
  const ScopedHandle shared =
      open_for(make_file("shared"), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_DELETE);
  const std::pair<const char*, DWORD> rows[] = {
      {"missing", ERROR_FILE_NOT_FOUND},    {"folder", ERROR_ACCESS_DENIED},
      {"read-only", ERROR_ACCESS_DENIED},   {"link", kNoFailure},
      {"guarded", ERROR_SHARING_VIOLATION}, {"shared", kNoFailure},
  };
  for (const auto& [name, error] : rows) {
    EXPECT_EQ(failure(DeleteFileW(wide(path(name)).c_str())), error) << name;
    EXPECT_EQ(fs::exists(fs::symlink_status(path(name))),
              error == ERROR_ACCESS_DENIED || error == ERROR_SHARING_VIOLATION);
  }
  EXPECT_TRUE(fs::exists(path("file"))) << "the target of the link";
}

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
  const std::tuple<LONG, LONG, DWORD, DWORD, int64_t> rows[] = {
      // Without a high word: a signed 32-bit distance, and the result must fit 32 bits.
      {-101, kNoHigh, FILE_CURRENT, ERROR_NEGATIVE_SEEK, 100},
      {0, kNoHigh, FILE_END, ERROR_INVALID_PARAMETER, 100},
      {-(1 << 30) - 4, kNoHigh, FILE_END, NO_ERROR, 4 * kGiB - 1},
      {0, kNoHigh, 3, ERROR_INVALID_PARAMETER, 100},
      // With one: 64 bits in and out.
      {-100, -1, FILE_CURRENT, kUntouched, 0},
      {0, 0, FILE_END, kUntouched, 5 * kGiB + 3},
      {-1, 0x7FFFFFFF, FILE_BEGIN, NO_ERROR, INT64_MAX},
      {-1, 0x7FFFFFFF, FILE_CURRENT, ERROR_INVALID_PARAMETER, 100},
  };
  for (const auto& [low, high_word, method, error, position] : rows) {
    SCOPED_TRACE(position);
    SetFilePointer(file, 100, nullptr, FILE_BEGIN);
    LONG high = high_word;
    SetLastError(kUntouched);
    const DWORD result = SetFilePointer(file, low, high_word == kNoHigh ? nullptr : &high, method);
    const bool succeeds = error == kUntouched || error == NO_ERROR;
    EXPECT_EQ(GetLastError(), error);
    EXPECT_EQ(result, succeeds ? static_cast<DWORD>(position) : kFailed);
    EXPECT_EQ(high, succeeds && high_word != kNoHigh ? static_cast<LONG>(position >> 32) : high_word);
    EXPECT_EQ(position_of(file), position);
  }
  // A read that would end after the largest position is shortened.
  LONG high = 0x7FFFFFFF;
  SetFilePointer(file, -2, &high, FILE_BEGIN);
  char bytes[16];
  DWORD got = 99;
  EXPECT_TRUE(ReadFile(file, bytes, 16, &got, nullptr) && got == 0);
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

TEST_F(FileContent, CountsAreClearedBeforeATransferIsRefused) {
  const ScopedHandle reader = open_for(make_file("r"), GENERIC_READ);
  const ScopedHandle writer = open_for(make_file("w"), GENERIC_WRITE);
  char byte = 0;
  DWORD counts[] = {99, 99};
  EXPECT_EQ(failure(WriteFile(reader, &byte, 1, &counts[0], nullptr)), ERROR_ACCESS_DENIED);
  EXPECT_EQ(failure(ReadFile(writer, &byte, 1, &counts[1], nullptr)), ERROR_ACCESS_DENIED);
  EXPECT_EQ(counts[0] + counts[1], 0u);
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

TEST_F(FileContent, AFileThatHasBecomeShorterIsLogged) {
  const ScopedHandle file = open_for(make_file("file"), GENERIC_READ);
  fs::resize_file(path("file"), 4);
  for (const bool by_reading : {false, true}) {
    platform::forget_read_failures();
    char bytes[10];
    DWORD got = 0;
    by_reading ? ReadFile(file, bytes, 10, &got, nullptr) : GetFileSize(file, nullptr);
    platform::ReadFailure failure{};
    EXPECT_TRUE(platform::first_read_failure(failure) && failure.offset == 4) << by_reading;
  }
}

using Paths = Win32Test;

TEST_F(Paths, FullPathsAreFolded) {
  const std::string here = fs::current_path().string();
  const std::pair<std::string, std::string> rows[] = {
      {"/a/b", "/a/b"},     {"\\a\\b", "/a/b"}, {"/a//./b/../c", "/a/c"},
      {"/..//../x", "/x"},  {"/a/b/", "/a/b/"}, {"/a/b/..", "/a"},
      {"/", "/"},           {"/..", "/"},       {"f", here + "/f"},
      {"./f", here + "/f"}, {".", here},        {"..", fs::current_path().parent_path().string()}};
  for (const auto& [name, full] : rows) {
    char buffer[1000];
    char* last = buffer;
    EXPECT_EQ(GetFullPathNameA(name.c_str(), sizeof buffer, buffer, &last), full.size());
    EXPECT_EQ(buffer, full) << name;
    EXPECT_EQ(last, full.back() == '/' ? nullptr : buffer + full.rfind('/') + 1);
  }
  EXPECT_EQ(GetFullPathNameA("", 0, nullptr, nullptr), 0u);
  EXPECT_EQ(GetLastError(), ERROR_INVALID_NAME);
}

TEST_F(Paths, TheTemporaryFolderComesFromTheEnvironment) {
  const ScopedVariable drive("ZDR_DRIVE_T", "/first");
  ScopedVariable tmp("TMP", "T:\\");
  const ScopedVariable temp("TEMP", "/second/");
  WCHAR buffer[100];
  EXPECT_EQ(GetTempPathW(7, buffer), 8u) << "too small: with the NUL";
  EXPECT_EQ(GetTempPathW(8, buffer), 7u);
  EXPECT_EQ(std::u16string(buffer), u"/first/");
  tmp.set("");
  EXPECT_EQ(GetTempPathW(100, buffer), 8u);
  EXPECT_EQ(std::u16string(buffer), u"/second/");
}

TEST_F(Paths, TemporaryNamesAreBuiltOrCreated) {
  WCHAR name[MAX_PATH];
  EXPECT_EQ(GetTempFileNameW(u"/none", u"abcdef", 0x123AB, name), 0x123ABu);
  EXPECT_EQ(std::u16string(name), u"/none/abc23ab.TMP") << "neither checked nor created";
  const std::u16string folder = folder_.path().u16string();
  EXPECT_NE(GetTempFileNameW(folder.c_str(), u"z", 0, name), 0u);
  const std::u16string first = name;
  EXPECT_EQ(fs::file_size(first), 0u);
  EXPECT_NE(GetTempFileNameW(folder.c_str(), u"z", 0, name), 0u);
  EXPECT_NE(name, first);
  EXPECT_EQ(GetTempFileNameW((folder + u"/none").c_str(), u"z", 0, name), 0u);
  EXPECT_EQ(GetLastError(), ERROR_DIRECTORY);
  EXPECT_EQ(GetTempFileNameW(std::u16string(MAX_PATH - 13, 'x').c_str(), u"z", 1, name), 0u);
  EXPECT_EQ(GetLastError(), ERROR_BUFFER_OVERFLOW);
}

TEST_F(Paths, ModuleNamesAreAbsoluteAndCutToTheBuffer) {
  const std::u16string self = fs::read_symlink("/proc/self/exe").u16string();
  WCHAR buffer[1000];
  EXPECT_EQ(GetModuleFileNameW(nullptr, buffer, 1000), self.size());
  EXPECT_EQ(buffer, self);
  Dl_info runtime;
  ASSERT_NE(dladdr(reinterpret_cast<void*>(&platform::set_debug_output_hook), &runtime), 0);
  const DWORD length = GetModuleFileNameW(runtime.dli_fbase, buffer, 1000);
  EXPECT_EQ(fs::path(std::u16string(buffer, length)).parent_path(), fs::path(self).parent_path());
  EXPECT_EQ(GetModuleFileNameW(nullptr, buffer, 5), 5u);
  EXPECT_EQ(GetLastError(), ERROR_INSUFFICIENT_BUFFER);
  EXPECT_EQ(std::u16string(buffer), self.substr(0, 4));
}

}  // namespace

}  // namespace zdr::test
