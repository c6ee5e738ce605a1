// Files through both interfaces of the OS layer: the status-returning one, on narrow and wide paths, and the
// stdio-style one.
#include <gtest/gtest.h>
#include <windows.h>

#include <algorithm>
#include <memory>

#include "mediakit/files/temp_folder.h"
#include "os/open_file.h"
#include "os/path_calls.h"
#include "tests/platform/fault_at.h"

namespace zdr::test {
namespace {

struct Closer {
  void operator()(void* handle) const { EXPECT_EQ(OS_FileClose(handle), FMGR_OK); }
};
using File = std::unique_ptr<void, Closer>;

// Null on failure. `wide` chooses the kind of path.
File open(const std::filesystem::path& path, uint32_t mode, bool wide = false) {
  void* handle = &handle;
  const int32_t status =
      wide ? OS_FileOpenW(&handle, path.u16string().c_str(), mode) : OS_FileOpen(&handle, path.c_str(), mode);
  EXPECT_EQ(status, handle != nullptr ? FMGR_OK : FMGR_ERR_OPEN);
  return File(handle);
}
File open(const std::filesystem::path& path, const char* mode) {
  return File(OS_fopen(path.u16string().c_str(), mode));
}

int32_t seek(const File& file, int64_t offset, int32_t whence) {
  const auto words = static_cast<uint64_t>(offset);
  return OS_FileSeek(file.get(), static_cast<uint32_t>(words), static_cast<uint32_t>(words >> 32), whence);
}

uint64_t position(const File& file) {
  uint64_t bytes = 77;
  EXPECT_EQ(OS_FileTell(file.get(), &bytes), FMGR_OK);
  return bytes;
}

// True if a handle with this access that shares everything can be opened beside the open ones.
bool can_open(const std::filesystem::path& path, DWORD access) {
  const HANDLE other = CreateFileA(path.c_str(), access, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                   OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
  return other != INVALID_HANDLE_VALUE && CloseHandle(other);
}

struct ModeCase {
  // Of the stdio-style interface; empty for `mode` of the status-returning one.
  std::vector<const char*> strings;
  uint32_t mode;
  bool creates;
  bool empties;
  uint64_t start;  // on a file of 10 bytes
  bool reads;
  bool writes;
  bool others_read = true;
  bool others_write = false;
};

const ModeCase kModes[] = {
    {{}, OS_OPEN_READ, false, false, 0, true, false},
    {{}, OS_OPEN_READWRITE, true, false, 0, true, true, true, true},
    {{}, OS_OPEN_WRITE, true, true, 0, false, true, false, true},
    {{}, OS_OPEN_CREATE_READWRITE, true, true, 0, true, true, true, true},
    {{}, OS_OPEN_APPEND, true, false, 10, true, true, false, true},
    {{"w", "wb", ""}, 0, true, true, 0, false, true},
    {{"r", "rb"}, 0, false, false, 0, true, false},
    {{"a"}, 0, true, false, 10, false, true},
    {{"ab"}, 0, true, false, 0, false, true},
    {{"r+", "r+b", "rb+"}, 0, false, false, 0, true, true},
    {{"w+", "w+b", "wb+"}, 0, true, true, 0, true, true},
    {{"a+"}, 0, true, false, 10, true, true},
    {{"a+b", "ab+"}, 0, true, false, 0, true, true},
};

// `open_it` opens the path in the mode of the row.
template <class Open>
void expect_mode(const ModeCase& c, Open open_it) {
  const TempFolder folder;
  const auto path = folder / u"f\u00efle";
  EXPECT_EQ(open_it(path) != nullptr, c.creates);
  write_file(path, "0123456789");
  SetLastError(ERROR_ACCESS_DENIED);  // must not affect the result of the open
  const File file = open_it(path);
  ASSERT_NE(file, nullptr);
  EXPECT_EQ(position(file), c.start);
  EXPECT_EQ(can_open(path, GENERIC_READ), c.others_read);
  EXPECT_EQ(can_open(path, GENERIC_WRITE), c.others_write);
  char byte = 0;
  uint32_t moved = 77;
  EXPECT_EQ(OS_FileRead(file.get(), &byte, 0, &moved), FMGR_OK) << "even where reading is not allowed";
  EXPECT_EQ(moved, 0u);
  EXPECT_EQ(OS_FileWrite(file.get(), "w", 0, &moved), FMGR_ERR_BAD_ARGUMENT);
  EXPECT_EQ(OS_FileWrite(file.get(), "w", 1, &moved), c.writes ? FMGR_OK : FMGR_ERR_WRITE);
  EXPECT_EQ(OS_FileFlush(file.get()), c.writes ? FMGR_OK : FMGR_ERR_GENERIC);
  EXPECT_EQ(seek(file, 0, OS_SEEK_BEGIN), FMGR_OK);
  EXPECT_EQ(OS_FileRead(file.get(), &byte, 1, &moved), c.reads ? FMGR_OK : FMGR_ERR_READ);
  EXPECT_EQ(std::filesystem::file_size(path), c.empties ? 1 : std::max<uint64_t>(10, c.start + c.writes));
}

TEST(Files, KeptModesDecideAccessSharingDispositionAndStart) {
  for (const ModeCase& c : kModes) {
    for (const bool wide : {false, true}) {
      SCOPED_TRACE(c.mode);
      if (c.strings.empty()) expect_mode(c, [&](const auto& path) { return open(path, c.mode, wide); });
    }
    for (const char* string : c.strings) {
      SCOPED_TRACE(string);
      expect_mode(c, [&](const auto& path) { return open(path, string); });
    }
  }
  const TempFolder folder;
  write_file(folder / "file", "");
  for (const char* mode : {"x", "rw", "br", "r ", "wb++"})
    EXPECT_EQ(open(folder / "file", mode), nullptr) << mode;
}

// Opens the file and sets a last error that no real call leaves beside a valid handle.
struct CallsWithError : os::NarrowCalls {
  static inline DWORD error;
  static inline HANDLE opened;
  template <class... Arguments>
  static HANDLE kCreateFile(Arguments... arguments) {
    opened = CreateFileA(arguments...);
    SetLastError(error);
    return opened;
  }
};

TEST(Files, KeptALastErrorBesideAValidHandleRefusesItAndLeavesItOpen) {
  const TempFolder folder;
  for (const DWORD error : {ERROR_SUCCESS, ERROR_ALREADY_EXISTS, ERROR_FILE_NOT_FOUND, ERROR_FILE_EXISTS}) {
    const bool opens = error == ERROR_SUCCESS || error == ERROR_ALREADY_EXISTS;
    CallsWithError::error = error;
    void* handle = nullptr;
    EXPECT_EQ(os::open_file<CallsWithError>(&handle, (folder / "file").c_str(), OS_OPEN_READWRITE),
              opens ? FMGR_OK : FMGR_ERR_OPEN)
        << error;
    EXPECT_EQ(handle, opens ? CallsWithError::opened : nullptr) << error;
    EXPECT_TRUE(CloseHandle(CallsWithError::opened)) << "closed by the open that failed with " << error;
  }
  EXPECT_EQ(open(folder / "other", OS_OPEN_APPEND + 1), nullptr);
  EXPECT_FALSE(std::filesystem::exists(folder / "other")) << "an unknown mode reaches the system";
}

TEST(Files, KeptAnUnknownOriginIsTheBeginningAndPositionsFrom4GiBAreReportedAs0) {
  constexpr uint64_t kSize = 0x1FFFFFFFF;  // its low word looks like a failure
  const TempFolder folder;
  write_sparse_file(folder / "file", kSize);
  const File file = open(folder / "file", OS_OPEN_READ);
  SetLastError(ERROR_SEEK);
  uint64_t size = 0;
  EXPECT_EQ(OS_FileSize(file.get(), &size), FMGR_OK);
  EXPECT_EQ(size, kSize);
  const std::tuple<int64_t, int32_t, uint64_t> kSeeks[] = {
      {0xFFFFFFFF, OS_SEEK_BEGIN, 0xFFFFFFFF}, {0x140000000, OS_SEEK_BEGIN, 0}, {0, OS_SEEK_END, 0},
      {-0x1FFFFFFFB, OS_SEEK_END, 4},          {-1, OS_SEEK_CURRENT, 3},        {5, 9, 5}};
  for (const auto& [offset, whence, expected] : kSeeks) {
    SetLastError(ERROR_SEEK);
    EXPECT_EQ(seek(file, offset, whence), FMGR_OK) << offset;
    SetLastError(ERROR_SEEK);
    EXPECT_EQ(position(file), expected) << offset;
  }
  EXPECT_EQ(seek(file, -1, OS_SEEK_BEGIN), FMGR_ERR_SEEK);
  EXPECT_EQ(position(file), 5u);
}

TEST(StdioFiles, PositionsHave32Bits) {
  const TempFolder folder;
  write_sparse_file(folder / "file", 3u << 30);
  const File file = open(folder / "file", "rb");
  EXPECT_EQ(OS_fseek(file.get(), INT32_MAX, OS_SEEK_BEGIN), 0);
  EXPECT_EQ(OS_ftell(file.get()), INT32_MAX);
  EXPECT_EQ(OS_fseek(file.get(), 0, OS_SEEK_END), 0);
  EXPECT_EQ(OS_ftell(file.get()), -1) << "3 GiB does not fit";
  EXPECT_EQ(OS_fseek(file.get(), 0x3FFFFFFF, OS_SEEK_CURRENT), 0) << "4 GiB - 1 is a position, not a failure";
  EXPECT_EQ(OS_fseek(file.get(), 1, OS_SEEK_CURRENT), 1);
  EXPECT_EQ(OS_fseek(file.get(), -1, OS_SEEK_BEGIN), 1);
  EXPECT_EQ(OS_fseek(file.get(), 0, 3), 1);
}

TEST(StdioFiles, TransfersCountWholeItems) {
  const TempFolder folder;
  write_file(folder / "file", "0123456789");
  const File file = open(folder / "file", "r+");
  // On the heap: the size claimed below reaches beyond the address space from a stack.
  std::string buffer(16, '\0');
  EXPECT_EQ(OS_fread(buffer.data(), 4, 3, file.get()), 2u);
  EXPECT_EQ(buffer.substr(0, 11), std::string("0123456789\0", 11));
  EXPECT_EQ(OS_ftell(file.get()), 10);
  EXPECT_EQ(OS_fread(buffer.data(), 4, 3, file.get()), 0u);
  EXPECT_EQ(OS_fread(buffer.data(), 0, 3, file.get()), 0u);
  EXPECT_EQ(OS_fseek(file.get(), -8, OS_SEEK_END), 0);
  // 2^32 bytes do not wrap to 0: everything up to the end is read.
  EXPECT_EQ(OS_fread(buffer.data(), 0x10000, 0x10000, file.get()), 0u);
  EXPECT_EQ(OS_ftell(file.get()), 10);
  EXPECT_EQ(OS_fwrite("abcdef", 3, 2, file.get()), 2u);
  EXPECT_EQ(OS_fwrite("abcdef", 0, 3, file.get()), 0u);
  EXPECT_EQ(read_file(folder / "file"), "0123456789abcdef");
}

// Within 1 GiB, because other programs use the disk too.
void expect_free_space(const TempFolder& folder, uint64_t bytes) {
  const uint64_t available = std::filesystem::space(folder.path()).available;
  EXPECT_NEAR(static_cast<double>(bytes), static_cast<double>(available), 1 << 30);
}

// The functions that take a path, for one kind of path.
template <class Path, class Char>
void use_paths(const Path& path, int32_t (*remove)(const Char*),
               Char* (*temp_name)(const Char*, OS_ReleaseFunction*),
               int32_t (*disk_free)(const Char*, uint64_t*), const TempFolder& folder) {
  OS_ReleaseFunction release = nullptr;
  Char* name = temp_name(path.c_str(), &release);
  EXPECT_EQ(name, (path + Path{'.', 't', 'm', 'p'}));
  write_file(name, "x");
  EXPECT_EQ(remove(name), FMGR_OK);
  EXPECT_EQ(remove(name), FMGR_ERR_GENERIC);
  release(name);
  uint64_t bytes = 0;
  EXPECT_EQ(disk_free(path.c_str(), &bytes), FMGR_OK);
  expect_free_space(folder, bytes);
  EXPECT_EQ(disk_free((path + Path{'/', 'x'}).c_str(), &bytes), FMGR_ERR_GENERIC) << "below a missing file";
  EXPECT_EQ(disk_free(Path(300, 'x').c_str(), &bytes), FMGR_ERR_GENERIC) << "too long";
}

TEST(Paths, NarrowAndWideFunctionsBehaveAlike) {
  const TempFolder folder;
  const auto path = folder / u"n\u00e4me";
  use_paths(path.string(), &OS_FileDelete, &OS_TempName, &OS_DiskFreeBytes, folder);
  use_paths(path.u16string(), &OS_FileDeleteW, &OS_TempNameW, &OS_DiskFreeBytesW, folder);
}

TEST(Paths, KeptOnlyABackslashEndsTheFolderAndTheTemporaryPathIsFixed) {
  const TempFolder folder;
  uint32_t words[2] = {};
  EXPECT_EQ(OS_GetFreeSpace(words, (folder.path().u16string() + u"\\file").c_str()), 0);
  expect_free_space(folder, uint64_t{words[0]} << 32 | words[1]);
  EXPECT_EQ(OS_GetFreeSpace(words, u"/no-such-folder/file"), 0);
  EXPECT_EQ(OS_GetFreeSpace(words, u"/no-such-folder\\file"), -1);
  EXPECT_EQ(std::u16string(OS_GetTempFilePath()), u"\\temp.tmp");
}

TEST(Paths, AnsiNamesAreDeleted) {
  const TempFolder folder("/tmp");  // the rest of the name is ASCII
  write_file(folder / u"\u20ac", "x");
  const std::string name = folder.path().string() + "/\x80";  // the euro sign in windows-1252
  EXPECT_NE(OS_DeleteFileMB(name.c_str()), 0);
  EXPECT_FALSE(std::filesystem::exists(folder / u"\u20ac"));
  EXPECT_EQ(OS_DeleteFileMB(name.c_str()), 0);
  EXPECT_EQ(OS_DeleteFileMB(std::string(300, 'x').c_str()), 0);
}

TEST(Files, NullArgumentsAreRefused) {
  char byte = 0;
  uint32_t moved = 0;
  uint64_t number = 0;
  void* handle = &byte;
  OS_ReleaseFunction release = nullptr;
  const int32_t statuses[] = {
      OS_FileOpen(nullptr, "x", OS_OPEN_READ), OS_FileOpen(&handle, nullptr, OS_OPEN_READ),
      OS_FileRead(nullptr, &byte, 1, &moved),  OS_FileRead(&byte, &byte, 0, nullptr),
      OS_FileWrite(nullptr, &byte, 1, &moved), OS_FileWrite(&byte, &byte, 1, nullptr),
      OS_FileTell(nullptr, &number),           OS_FileTell(&byte, nullptr),
      OS_FileSize(nullptr, &number),           OS_FileSize(&byte, nullptr),
      OS_DiskFreeBytes(nullptr, &number),      OS_DiskFreeBytes("/", nullptr)};
  for (const int32_t status : statuses) EXPECT_EQ(status, FMGR_ERR_BAD_ARGUMENT);
  EXPECT_EQ(handle, nullptr) << "cleared first";
  EXPECT_EQ(OS_TempName(nullptr, &release), nullptr);
  EXPECT_EQ(OS_TempName("x", nullptr), nullptr);
  EXPECT_EQ(OS_fopen(nullptr, "r"), nullptr);
  EXPECT_EQ(OS_fopen(u"x", nullptr), nullptr);
}

TEST(Files, FailuresOfTheSystemReturnTheirStatuses) {
  const TempFolder folder;
  void* const handle = open(folder / "file", OS_OPEN_READWRITE).release();
  char byte = 0;
  uint64_t number = 77;
  set_fault_hook([](platform::FaultPoint, void*) { return true; }, nullptr);
  EXPECT_EQ(OS_FileTell(handle, &number), FMGR_ERR_SEEK);
  EXPECT_EQ(OS_FileSize(handle, &number), FMGR_ERR_GENERIC);
  EXPECT_EQ(number, 0u) << "cleared first";
  EXPECT_EQ(OS_fread(&byte, 1, 1, handle) + OS_fwrite(&byte, 1, 1, handle), 0u);
  EXPECT_EQ(OS_fseek(handle, 1, OS_SEEK_BEGIN), 1);
  EXPECT_EQ(OS_ftell(handle), -1);
  set_fault_hook(nullptr, nullptr);
  EXPECT_EQ(OS_fclose(handle), 0);
  EXPECT_EQ(OS_fclose(handle), -1);
  EXPECT_EQ(OS_FileClose(handle), FMGR_ERR_GENERIC);
}

}  // namespace
}  // namespace zdr::test
