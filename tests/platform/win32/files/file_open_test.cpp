// CreateFile and DeleteFile: names, failures, last errors. The tests of the OS layer cover the dispositions.
#include <fcntl.h>

#include "tests/platform/win32/win32_test_support.h"

namespace zdr::test {

namespace {

namespace fs = std::filesystem;
using FileOpen = Win32Test;

TEST_F(FileOpen, FailuresReturnTheirCodeAndDestroyNothing) {
  make_file("file");
  make_file("read-only");
  fs::permissions(path("read-only"), fs::perms::owner_read);
  fs::create_directory(path("folder"));
  fs::create_symlink("loop", path("loop"));
  const ScopedHandle reader = open_for(make_file("in use"), GENERIC_READ);
  const struct {
    std::string name;
    DWORD access;
    DWORD disposition;
    DWORD flags;
    DWORD error;
  } rows[] = {
      {path("missing"), GENERIC_READ, OPEN_EXISTING, 0, ERROR_FILE_NOT_FOUND},
      {path("no-folder/missing"), GENERIC_READ, OPEN_EXISTING, 0, ERROR_PATH_NOT_FOUND},
      {path("file/below"), GENERIC_READ, OPEN_EXISTING, 0, ERROR_PATH_NOT_FOUND},
      {path("folder"), GENERIC_READ, OPEN_EXISTING, 0, ERROR_ACCESS_DENIED},
      {path("read-only"), GENERIC_WRITE, OPEN_EXISTING, 0, ERROR_ACCESS_DENIED},
      {path("read-only"), GENERIC_READ, CREATE_ALWAYS, 0, ERROR_ACCESS_DENIED},
      {path("in use"), GENERIC_WRITE, CREATE_ALWAYS, 0, ERROR_SHARING_VIOLATION},
      {path("file"), 0, OPEN_EXISTING, 0, ERROR_INVALID_PARAMETER},
      {path("file"), 0x00010000, OPEN_EXISTING, 0, ERROR_INVALID_PARAMETER},
      {path("file"), GENERIC_READ, 1, 0, ERROR_INVALID_PARAMETER},
      {path("file"), GENERIC_READ, OPEN_EXISTING, 0x40000000, ERROR_INVALID_PARAMETER},
      {path("loop"), GENERIC_READ, OPEN_EXISTING, 0, ERROR_CANT_RESOLVE_FILENAME},
      {path(std::string(300, 'x')), GENERIC_READ, OPEN_EXISTING, 0, ERROR_FILENAME_EXCED_RANGE},
      {"", GENERIC_READ, OPEN_EXISTING, 0, ERROR_PATH_NOT_FOUND},
      {"Q:\\plain", GENERIC_READ, OPEN_EXISTING, 0, ERROR_PATH_NOT_FOUND},
  };
  for (const auto& row : rows) {
    SetLastError(kUntouched);
    EXPECT_EQ(failed_open(CreateFileW(wide(row.name).c_str(), row.access, FILE_SHARE_READ, nullptr,
                                      row.disposition, row.flags, nullptr)),
              row.error)
        << row.name << ' ' << row.disposition;
  }
  EXPECT_EQ(failed_open(CreateFileW(nullptr, GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr)),
            ERROR_PATH_NOT_FOUND);
  for (const char* name : {"file", "in use"}) EXPECT_EQ(read_file(path(name)), "0123456789");
}

TEST_F(FileOpen, NamesAreMappedToThoseOfTheSystem) {
  make_file("plain");
  const std::string folder = folder_.path().string();
  const ScopedVariable drive("ZDR_DRIVE_Q", folder.c_str());
  const std::string backslashes = folder + "\\plain";
  for (const std::string& name : {backslashes, "\\\\?\\" + backslashes, std::string("q:\\plain")}) {
    const ScopedHandle file = open_for(name, GENERIC_READ);
    EXPECT_NE(HANDLE{file}, INVALID_HANDLE_VALUE) << name;
  }
  // A wide name is UTF-8 on disk; a lone surrogate becomes three bytes.
  const std::u16string odd = wide(folder) + u"/\u00E9\U0001F3B5" + char16_t{0xD800};
  ScopedHandle file = CreateFileW(odd.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
  EXPECT_TRUE(fs::exists(folder + "/\xC3\xA9\xF0\x9F\x8E\xB5\xED\xA0\x80"));
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

TEST_F(FileOpen, FilesAreNotInheritedByOtherPrograms) {
  const ScopedHandle file = open_for(make_file("file"), GENERIC_READ);
  int found = 0;
  for (const auto& entry : fs::directory_iterator("/proc/self/fd")) {
    std::error_code gone;
    if (fs::read_symlink(entry.path(), gone).string().find("zdr") == std::string::npos) continue;
    EXPECT_NE(fcntl(std::stoi(entry.path().filename().string()), F_GETFD) & FD_CLOEXEC, 0) << entry.path();
    ++found;
  }
  EXPECT_GT(found, 1) << "the file and its side file";
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
      {"missing", ERROR_FILE_NOT_FOUND},
      {"none/missing", ERROR_PATH_NOT_FOUND},
      {"folder", ERROR_ACCESS_DENIED},
      {"read-only", ERROR_ACCESS_DENIED},
      {"link", NO_ERROR},
      {"guarded", ERROR_SHARING_VIOLATION},
      {"shared", NO_ERROR},
  };
  for (const auto& [name, error] : rows) {
    SetLastError(kUntouched);
    EXPECT_EQ(DeleteFileW(wide(path(name)).c_str()) != FALSE, error == NO_ERROR) << name;
    EXPECT_EQ(GetLastError(), error == NO_ERROR ? kUntouched : error) << name;
    EXPECT_EQ(fs::exists(fs::symlink_status(path(name))),
              error == ERROR_ACCESS_DENIED || error == ERROR_SHARING_VIOLATION);
  }
  EXPECT_TRUE(fs::exists(path("file"))) << "the target of the link";
  char byte = 0;
  DWORD got = 0;
  EXPECT_TRUE(ReadFile(shared, &byte, 1, &got, nullptr) && got == 1) << "an open file stays readable";
}

}  // namespace

}  // namespace zdr::test
