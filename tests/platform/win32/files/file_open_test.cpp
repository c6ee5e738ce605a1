// CreateFile, DeleteFile, GetFileAttributes: dispositions, failures, last errors.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/platform/win32/win32_test_support.h"

namespace zdr::platform::test {

namespace {

namespace fs = std::filesystem;
using FileOpenTest = Win32Test;

TEST_F(FileOpenTest, DispositionsDecideAndLeaveTheirLastError) {
  const struct {
    DWORD disposition;
    bool exists;
    DWORD error;  // 0 and 183 come with a handle
    uintmax_t size_after;
  } rows[] = {
      {CREATE_NEW, true, ERROR_FILE_EXISTS, 10},
      {CREATE_NEW, false, NO_ERROR, 0},
      {CREATE_ALWAYS, true, ERROR_ALREADY_EXISTS, 0},
      {CREATE_ALWAYS, false, NO_ERROR, 0},
      {OPEN_EXISTING, true, NO_ERROR, 10},
      {OPEN_EXISTING, false, ERROR_FILE_NOT_FOUND, 0},
      {OPEN_ALWAYS, true, ERROR_ALREADY_EXISTS, 10},
      {OPEN_ALWAYS, false, NO_ERROR, 0},
      {TRUNCATE_EXISTING, true, NO_ERROR, 0},
      {TRUNCATE_EXISTING, false, ERROR_FILE_NOT_FOUND, 0},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(std::to_string(row.disposition) + (row.exists ? " of a file" : " of nothing"));
    const std::string name = path("file");
    fs::remove(name);
    if (row.exists) make_file("file");
    SetLastError(kUntouched);
    const ScopedHandle handle = open_for(name, GENERIC_READ | GENERIC_WRITE, 0, row.disposition);
    const bool opens = row.error == NO_ERROR || row.error == ERROR_ALREADY_EXISTS;
    EXPECT_EQ(GetLastError(), row.error);
    EXPECT_EQ(handle != INVALID_HANDLE_VALUE, opens);
    EXPECT_EQ(fs::exists(name), opens || row.exists);
    EXPECT_TRUE(!fs::exists(name) || fs::file_size(name) == row.size_after);
  }
}

TEST_F(FileOpenTest, FailuresGiveTheirCodeAndInvalidHandleValue) {
  make_file("file");
  make_file("read-only");
  fs::permissions(path("read-only"), fs::perms::owner_read);
  fs::create_directory(path("folder"));
  fs::create_symlink("loop", path("loop"));
  const std::string long_name(300, 'x');
  const struct {
    const char* name;
    DWORD access;
    DWORD disposition;
    DWORD flags;
    DWORD error;
  } rows[] = {
      {"missing", GENERIC_READ, OPEN_EXISTING, 0, ERROR_FILE_NOT_FOUND},
      {"no-folder/missing", GENERIC_READ, OPEN_EXISTING, 0, ERROR_PATH_NOT_FOUND},
      {"file/below", GENERIC_READ, OPEN_EXISTING, 0, ERROR_PATH_NOT_FOUND},
      {"folder", GENERIC_READ, OPEN_EXISTING, 0, ERROR_ACCESS_DENIED},
      {"read-only", GENERIC_WRITE, OPEN_EXISTING, 0, ERROR_ACCESS_DENIED},
      {"read-only", GENERIC_READ, CREATE_ALWAYS, 0, ERROR_ACCESS_DENIED},
      {"file", GENERIC_READ, 0, 0, ERROR_INVALID_PARAMETER},
      {"file", GENERIC_READ, 6, 0, ERROR_INVALID_PARAMETER},
      {"file", GENERIC_READ, TRUNCATE_EXISTING, 0, ERROR_INVALID_PARAMETER},
      {"file", GENERIC_READ, OPEN_EXISTING, FILE_FLAG_OVERLAPPED, ERROR_INVALID_PARAMETER},
      {"file", GENERIC_READ, OPEN_EXISTING, FILE_FLAG_NO_BUFFERING, ERROR_INVALID_PARAMETER},
      {"loop", GENERIC_READ, OPEN_EXISTING, 0, ERROR_CANT_RESOLVE_FILENAME},
      {long_name.c_str(), GENERIC_READ, OPEN_EXISTING, 0, ERROR_FILENAME_EXCED_RANGE},
  };
  for (const auto& row : rows) {
    SetLastError(kUntouched);
    const std::string name = path(row.name);
    EXPECT_EQ(failed_open(CreateFileW(wide(name).c_str(), row.access, 0, nullptr, row.disposition, row.flags,
                                      nullptr)),
              row.error)
        << row.name << ' ' << row.disposition;
  }
  EXPECT_EQ(zdr::tests::read_file(path("file")), "0123456789");
}

TEST_F(FileOpenTest, BadNamesFail) {
  EXPECT_EQ(failed_open(open_for("", GENERIC_READ)), ERROR_PATH_NOT_FOUND);
  EXPECT_EQ(failed_open(CreateFileW(nullptr, GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr)),
            ERROR_PATH_NOT_FOUND);
  // Narrow names end at MAX_PATH; wide ones do not.
  std::string deep = folder_.path().string();
  while (deep.size() < MAX_PATH) deep += "/././.";
  EXPECT_EQ(failed_open(open_for(deep + "/file", GENERIC_WRITE, 0, CREATE_NEW)), ERROR_FILENAME_EXCED_RANGE);
  const ScopedHandle file =
      CreateFileW(wide(deep + "/file").c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, 0, nullptr);
  EXPECT_NE(static_cast<HANDLE>(file), INVALID_HANDLE_VALUE);
}

TEST_F(FileOpenTest, NamesAreMappedAtTheEdge) {
  make_file("plain");
  const std::string folder = folder_.path().string();
  std::string backslashes = folder + "\\plain";
  std::string verbatim = "\\\\?\\" + backslashes;
  for (const std::string& name : {backslashes, verbatim}) {
    const ScopedHandle file = open_for(name, GENERIC_READ);
    EXPECT_NE(static_cast<HANDLE>(file), INVALID_HANDLE_VALUE) << name;
  }
  EXPECT_EQ(failed_open(open_for("Q:\\plain", GENERIC_READ)), ERROR_PATH_NOT_FOUND);
  const ScopedVariable drive("ZDR_DRIVE_Q", folder.c_str());
  const ScopedHandle on_drive = open_for("q:\\plain", GENERIC_READ);
  EXPECT_NE(static_cast<HANDLE>(on_drive), INVALID_HANDLE_VALUE);
  // A wide name is UTF-8 on disk; a lone surrogate travels as three bytes.
  const std::u16string odd = wide(folder) + u"/\u00E9\U0001F3B5" + char16_t{0xD800};
  const ScopedHandle file = CreateFileW(odd.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, 0, nullptr);
  EXPECT_TRUE(fs::exists(folder + "/\xC3\xA9\xF0\x9F\x8E\xB5\xED\xA0\x80"));
}

TEST_F(FileOpenTest, ARefusedTruncationDestroysNothing) {
  const std::string name = make_file("file");
  const ScopedHandle reader = open_for(name, GENERIC_READ, FILE_SHARE_READ);
  for (const DWORD disposition : {CREATE_ALWAYS, TRUNCATE_EXISTING}) {
    EXPECT_EQ(failed_open(open_for(name, GENERIC_READ | GENERIC_WRITE, 7, disposition)),
              ERROR_SHARING_VIOLATION);
  }
  EXPECT_EQ(fs::file_size(name), 10u);
}

TEST_F(FileOpenTest, OpenAlwaysFollowsALinkToNowhere) {
  fs::create_symlink("target", path("link"));
  const ScopedHandle file = open_for(path("link"), GENERIC_WRITE, 0, OPEN_ALWAYS);
  EXPECT_EQ(GetLastError(), NO_ERROR);
  EXPECT_TRUE(fs::exists(path("target")));
}

TEST_F(FileOpenTest, FilesAreNotInheritedByOtherPrograms) {
  const ScopedHandle file = open_for(make_file("file"), GENERIC_READ);
  for (const auto& entry : fs::directory_iterator("/proc/self/fd")) {
    const int number = std::stoi(entry.path().filename().string());
    std::error_code gone;
    const std::string target = fs::read_symlink(entry.path(), gone).string();
    if (target.find("zdr") == std::string::npos) continue;
    EXPECT_NE(fcntl(number, F_GETFD) & FD_CLOEXEC, 0) << target;
  }
}

TEST_F(FileOpenTest, DeletionFollowsTheRules) {
  make_file("file");
  make_file("read-only");
  fs::permissions(path("read-only"), fs::perms::owner_read);
  fs::create_directory(path("folder"));
  fs::create_symlink("file", path("link"));
  const struct {
    const char* name;
    DWORD error;
  } rows[] = {
      {"missing", ERROR_FILE_NOT_FOUND},
      {"none/missing", ERROR_PATH_NOT_FOUND},
      {"folder", ERROR_ACCESS_DENIED},
      {"read-only", ERROR_ACCESS_DENIED},
      {"link", NO_ERROR},
      {"file", NO_ERROR},
  };
  for (const auto& row : rows) {
    SetLastError(kUntouched);
    EXPECT_EQ(DeleteFileW(wide(path(row.name)).c_str()) != FALSE, row.error == NO_ERROR) << row.name;
    EXPECT_EQ(GetLastError(), row.error == NO_ERROR ? kUntouched : row.error) << row.name;
    if (std::string(row.name) == "link") {
      EXPECT_TRUE(fs::exists(path("file")));
    }
  }
  EXPECT_FALSE(fs::exists(path("file")));
}

TEST_F(FileOpenTest, AnOpenFileCanBeDeletedOnlyWhereItIsShared) {
  const std::string name = make_file("file");
  {
    const ScopedHandle guarded = open_for(name, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE);
    EXPECT_EQ(failure(DeleteFileA(name.c_str())), ERROR_SHARING_VIOLATION);
  }
  const ScopedHandle open = open_for(name, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_DELETE);
  EXPECT_TRUE(DeleteFileA(name.c_str()));
  char byte = 0;
  DWORD got = 0;
  EXPECT_TRUE(ReadFile(open, &byte, 1, &got, nullptr) && got == 1) << "what is open stays readable";
}

TEST_F(FileOpenTest, DeleteOnCloseRemovesWithTheLastHandle) {
  const std::string name = make_file("file");
  ScopedHandle other = open_for(name, GENERIC_READ, 7);
  ScopedHandle deleter = open_for(name, GENERIC_READ, 7, OPEN_EXISTING, FILE_FLAG_DELETE_ON_CLOSE);
  deleter.close();
  EXPECT_TRUE(fs::exists(name));
  for (const DWORD access : {GENERIC_READ, DWORD{0}}) {
    EXPECT_EQ(failed_open(open_for(name, access, 7)), ERROR_ACCESS_DENIED) << "waiting to be deleted";
  }
  other.close();
  EXPECT_FALSE(fs::exists(name));
  // The folder that a relative name starts from may have changed by then.
  make_file("file");
  const fs::path before = fs::current_path();
  fs::current_path(folder_.path());
  deleter = open_for("file", GENERIC_READ, 7, OPEN_EXISTING, FILE_FLAG_DELETE_ON_CLOSE);
  fs::current_path(before);
  deleter.close();
  EXPECT_FALSE(fs::exists(name));
}

TEST_F(FileOpenTest, AttributesOfNames) {
  make_file("file");
  const ScopedHandle made = open_for(path("made"), GENERIC_WRITE, 0, CREATE_NEW, FILE_ATTRIBUTE_READONLY);
  SetLastError(kUntouched);
  EXPECT_EQ(GetFileAttributesA(path("file").c_str()), FILE_ATTRIBUTE_ARCHIVE);
  EXPECT_EQ(GetFileAttributesA(path("made").c_str()), FILE_ATTRIBUTE_ARCHIVE | FILE_ATTRIBUTE_READONLY);
  EXPECT_EQ(GetFileAttributesW(wide(folder_.path().string()).c_str()), FILE_ATTRIBUTE_DIRECTORY);
  EXPECT_EQ(GetLastError(), kUntouched);
  EXPECT_EQ(GetFileAttributesA(path("missing").c_str()), INVALID_FILE_ATTRIBUTES);
  EXPECT_EQ(GetLastError(), ERROR_FILE_NOT_FOUND);
}

}  // namespace

}  // namespace zdr::platform::test
