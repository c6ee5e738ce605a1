// The status-returning face, on narrow and on wide paths alike.
#include <gtest/gtest.h>
#include <windows.h>

#include <memory>

#include "fault_injection.h"
#include "mediakit/files/temp_folder.h"
#include "os/open_file.h"
#include "os/path_calls.h"
#include "tests/os/free_space.h"

namespace {

using zdr::tests::TempFolder;
using zdr::tests::write_file;
using zdr::tests::write_sparse_file;

struct Closer {
  void operator()(void* handle) const { EXPECT_EQ(OS_FileClose(handle), FMGR_OK); }
};

class StatusFile : public testing::TestWithParam<bool> {
 protected:
  int32_t open(const std::filesystem::path& path, uint32_t mode) {
    file_.reset();
    void* handle = this;
    const int32_t status = GetParam() ? OS_FileOpenW(&handle, path.u16string().c_str(), mode)
                                      : OS_FileOpen(&handle, path.c_str(), mode);
    file_.reset(handle);
    return status;
  }

  uint64_t tell() {
    uint64_t position = 77;
    EXPECT_EQ(OS_FileTell(file_.get(), &position), FMGR_OK);
    return position;
  }

  TempFolder folder_;
  std::unique_ptr<void, Closer> file_;
};

INSTANTIATE_TEST_SUITE_P(Paths, StatusFile, testing::Values(false, true));

// Whether a handle with this access that forbids nothing is let in beside the ones that are open.
bool lets_in(const std::filesystem::path& path, DWORD access) {
  const HANDLE other = CreateFileA(path.c_str(), access, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                   OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
  return other != INVALID_HANDLE_VALUE && CloseHandle(other);
}

struct ModeCase {
  uint32_t mode;
  bool creates;
  uint64_t start;  // on a file of 10 bytes
  bool reads;
  bool writes;
  bool others_read;
  bool others_write;
  uint64_t size_after;  // reading one byte and writing one, as far as the mode allows
};

TEST_P(StatusFile, OpenModesDecideAccessSharingAndDisposition) {
  static constexpr ModeCase kCases[] = {
      {OS_OPEN_READ, false, 0, true, false, true, false, 10},
      {OS_OPEN_READWRITE, true, 0, true, true, true, true, 10},
      {OS_OPEN_WRITE, true, 0, false, true, false, true, 1},
      {OS_OPEN_CREATE_READWRITE, true, 0, true, true, true, true, 1},
      {OS_OPEN_APPEND, true, 10, true, true, false, true, 11},
  };
  for (const ModeCase& expected : kCases) {
    SCOPED_TRACE(expected.mode);
    const auto path = folder_ / std::to_string(expected.mode);
    EXPECT_EQ(open(path, expected.mode), expected.creates ? FMGR_OK : FMGR_ERR_OPEN) << GetLastError();
    EXPECT_EQ(file_ != nullptr, expected.creates);
    file_.reset();
    write_file(path, "0123456789");
    SetLastError(ERROR_ACCESS_DENIED);  // must not leak into the verdict on the open
    ASSERT_EQ(open(path, expected.mode), FMGR_OK);
    EXPECT_EQ(tell(), expected.start);
    EXPECT_EQ(lets_in(path, GENERIC_READ), expected.others_read);
    EXPECT_EQ(lets_in(path, GENERIC_WRITE), expected.others_write);
    char byte = 0;
    uint32_t moved = 77;
    EXPECT_EQ(OS_FileRead(file_.get(), &byte, 1, &moved), expected.reads ? FMGR_OK : FMGR_ERR_READ);
    EXPECT_EQ(OS_FileRead(file_.get(), &byte, 0, &moved), FMGR_OK) << "required also of files not to be read";
    EXPECT_EQ(moved, 0u);
    EXPECT_EQ(OS_FileWrite(file_.get(), "w", 1, &moved), expected.writes ? FMGR_OK : FMGR_ERR_WRITE);
    EXPECT_EQ(OS_FileWrite(file_.get(), "w", 0, &moved), FMGR_ERR_BAD_ARGUMENT) << "required";
    EXPECT_EQ(OS_FileFlush(file_.get()), expected.writes ? FMGR_OK : FMGR_ERR_GENERIC);
    EXPECT_EQ(std::filesystem::file_size(path), expected.size_after);
  }
}

TEST_P(StatusFile, FailedOpensStoreNoHandleAndTheReason) {
  EXPECT_EQ(open(folder_ / "missing", OS_OPEN_READ), FMGR_ERR_OPEN);
  EXPECT_EQ(file_, nullptr);
  EXPECT_EQ(GetLastError(), DWORD{ERROR_FILE_NOT_FOUND});
}

TEST_P(StatusFile, SeeksFromEveryOrigin) {
  write_file(folder_ / "file", "0123456789");
  ASSERT_EQ(open(folder_ / "file", OS_OPEN_READ), FMGR_OK);
  const std::tuple<int64_t, int32_t, int32_t, uint64_t> kSeeks[] = {
      {3, OS_SEEK_BEGIN, FMGR_OK, 3},        {-1, OS_SEEK_CURRENT, FMGR_OK, 2},
      {-4, OS_SEEK_END, FMGR_OK, 6},         {1, 9, FMGR_OK, 1},  // required: 9 is the beginning
      {-1, OS_SEEK_BEGIN, FMGR_ERR_SEEK, 1}, {50, OS_SEEK_END, FMGR_OK, 60}};
  for (const auto& [offset, whence, status, position] : kSeeks) {
    const auto words = static_cast<uint64_t>(offset);
    EXPECT_EQ(
        OS_FileSeek(file_.get(), static_cast<uint32_t>(words), static_cast<uint32_t>(words >> 32), whence),
        status);
    EXPECT_EQ(tell(), position);
  }
}

TEST_P(StatusFile, PositionsFrom4GiBAreToldAs0AsRequired) {
  constexpr uint64_t kSize = 0x1FFFFFFFF;  // its low word looks like a failure
  write_sparse_file(folder_ / "file", kSize);
  ASSERT_EQ(open(folder_ / "file", OS_OPEN_READ), FMGR_OK);
  SetLastError(ERROR_SEEK);
  uint64_t size = 0;
  EXPECT_EQ(OS_FileSize(file_.get(), &size), FMGR_OK);
  EXPECT_EQ(size, kSize);
  for (const uint64_t position : {0xFFFFFFFFu + 0ull, 0x100000000ull, 0x140000000ull, 0x1FFFFFFFFull}) {
    SetLastError(ERROR_SEEK);
    EXPECT_EQ(OS_FileSeek(file_.get(), static_cast<uint32_t>(position), static_cast<uint32_t>(position >> 32),
                          OS_SEEK_BEGIN),
              FMGR_OK);
    SetLastError(ERROR_SEEK);
    EXPECT_EQ(tell(), position >> 32 ? 0 : position);
  }
}

// The functions that take a path, for one kind of path.
template <class Path, class Char>
void use_paths(const Path& path, int32_t (*remove)(const Char*),
               Char* (*temp_name)(const Char*, OS_ReleaseFunction*),
               int32_t (*disk_free)(const Char*, uint64_t*), const TempFolder& folder) {
  OS_ReleaseFunction release = nullptr;
  Char* name = temp_name(path.c_str(), &release);
  const Path expected = path + Path{'.', 't', 'm', 'p'};
  EXPECT_EQ(name, expected);
  write_file(name, "x");
  EXPECT_EQ(remove(name), FMGR_OK);
  EXPECT_EQ(remove(name), FMGR_ERR_GENERIC);
  release(name);
  uint64_t bytes = 0;
  zdr::tests::expect_free_space(folder, [&] {
    EXPECT_EQ(disk_free(path.c_str(), &bytes), FMGR_OK);
    return bytes;
  });
  const Path below_missing = path + Path{'/', 'x'};
  EXPECT_EQ(disk_free(below_missing.c_str(), &bytes), FMGR_ERR_GENERIC);
  EXPECT_EQ(disk_free(Path(300, 'x').c_str(), &bytes), FMGR_ERR_GENERIC) << "too long";
}

TEST(StatusFilePaths, NamesDeletionAndFreeSpace) {
  const TempFolder folder;
  const auto path = folder / u"n\u00e4me";
  use_paths(path.string(), &OS_FileDelete, &OS_TempName, &OS_DiskFreeBytes, folder);
  use_paths(path.u16string(), &OS_FileDeleteW, &OS_TempNameW, &OS_DiskFreeBytesW, folder);
}

// Creates the file and leaves a last error that no real call leaves beside a handle.
struct CallsWithError : zdr::os::NarrowCalls {
  static inline DWORD error;
  static inline HANDLE made;
  template <class... Arguments>
  static HANDLE kCreateFile(Arguments... arguments) {
    made = CreateFileA(arguments...);
    SetLastError(error);
    return made;
  }
};

TEST(StatusFileErrors, BesideAHandleDecideAndLeaveItOpenAsRequired) {
  const TempFolder folder;
  for (const DWORD error : {ERROR_SUCCESS, ERROR_ALREADY_EXISTS, ERROR_FILE_NOT_FOUND, ERROR_FILE_EXISTS}) {
    const bool opens = error == ERROR_SUCCESS || error == ERROR_ALREADY_EXISTS;
    CallsWithError::error = error;
    void* handle = nullptr;
    EXPECT_EQ(zdr::os::open_file<CallsWithError>(&handle, (folder / "file").c_str(), OS_OPEN_READWRITE),
              opens ? FMGR_OK : FMGR_ERR_OPEN)
        << error;
    EXPECT_EQ(handle, opens ? CallsWithError::made : nullptr) << error;
    EXPECT_TRUE(CloseHandle(CallsWithError::made)) << "closed by the open that failed with " << error;
  }
  CallsWithError::made = nullptr;
  void* handle = nullptr;
  EXPECT_EQ(zdr::os::open_file<CallsWithError>(&handle, "x", OS_OPEN_APPEND + 1), FMGR_ERR_OPEN);
  EXPECT_EQ(CallsWithError::made, nullptr) << "an unknown mode must not get as far as the system";
}

TEST(NullArguments, AreRefusedBeforeAnythingElse) {
  char byte = 0;
  uint32_t moved = 0;
  uint64_t number = 0;
  void* handle = &byte;
  OS_ReleaseFunction release = nullptr;
  const std::vector<int32_t> statuses = {OS_FileOpen(nullptr, "x", OS_OPEN_READ),
                                         OS_FileOpen(&handle, nullptr, OS_OPEN_READ),
                                         OS_FileOpenW(&handle, nullptr, OS_OPEN_READ),
                                         OS_FileRead(nullptr, &byte, 1, &moved),
                                         OS_FileRead(&byte, &byte, 0, nullptr),
                                         OS_FileWrite(nullptr, &byte, 1, &moved),
                                         OS_FileWrite(&byte, &byte, 1, nullptr),
                                         OS_FileSeek(nullptr, 0, 0, OS_SEEK_BEGIN),
                                         OS_FileTell(nullptr, &number),
                                         OS_FileTell(&byte, nullptr),
                                         OS_FileSize(nullptr, &number),
                                         OS_FileSize(&byte, nullptr),
                                         OS_FileFlush(nullptr),
                                         OS_FileClose(nullptr),
                                         OS_FileDelete(nullptr),
                                         OS_DiskFreeBytes(nullptr, &number),
                                         OS_DiskFreeBytes("/", nullptr),
                                         OS_MutexLock(nullptr),
                                         OS_MutexUnlock(nullptr),
                                         OS_MutexDestroy(nullptr)};
  EXPECT_EQ(statuses, std::vector<int32_t>(statuses.size(), FMGR_ERR_BAD_ARGUMENT));
  EXPECT_EQ(handle, nullptr) << "cleared first";
  EXPECT_EQ(OS_TempName(nullptr, &release), nullptr);
  EXPECT_EQ(OS_TempName("x", nullptr), nullptr);
}

TEST(StatusFileFaults, EveryFailureOfTheSystemHasItsStatus) {
  using zdr::platform::set_fault_hook;
  const TempFolder folder;
  const auto path = folder / "file";
  void* handle = nullptr;
  ASSERT_EQ(OS_FileOpen(&handle, path.c_str(), OS_OPEN_READWRITE), FMGR_OK);
  char byte = 0;
  uint32_t moved = 0;
  uint64_t number = 77;
  void* other = &byte;
  set_fault_hook([](zdr::platform::FaultPoint, void*) { return true; }, nullptr);
  EXPECT_EQ(OS_FileRead(handle, &byte, 1, &moved), FMGR_ERR_READ);
  EXPECT_EQ(OS_FileWrite(handle, &byte, 1, &moved), FMGR_ERR_WRITE);
  EXPECT_EQ(OS_FileSeek(handle, 1, 0, OS_SEEK_BEGIN), FMGR_ERR_SEEK);
  EXPECT_EQ(OS_FileTell(handle, &number), FMGR_ERR_SEEK);
  EXPECT_EQ(OS_FileSize(handle, &number), FMGR_ERR_GENERIC);
  EXPECT_EQ(number, 0u) << "cleared first";
  EXPECT_EQ(OS_FileOpen(&other, path.c_str(), OS_OPEN_READWRITE), FMGR_ERR_OPEN);
  EXPECT_EQ(other, nullptr);
  EXPECT_EQ(OS_MutexCreate(), nullptr);
  set_fault_hook(nullptr, nullptr);
  EXPECT_EQ(OS_FileClose(handle), FMGR_OK);
  EXPECT_EQ(OS_FileClose(handle), FMGR_ERR_GENERIC);
}

}  // namespace
