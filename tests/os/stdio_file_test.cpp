// The stdio-style face.
#include <gtest/gtest.h>
#include <windows.h>

#include <memory>

#include "fault_injection.h"
#include "mediakit/files/temp_folder.h"
#include "os/os.h"
#include "tests/os/free_space.h"

namespace {

using zdr::tests::read_file;
using zdr::tests::TempFolder;
using zdr::tests::write_file;
using zdr::tests::write_sparse_file;

struct Closer {
  void operator()(void* handle) const { EXPECT_EQ(OS_fclose(handle), 0); }
};
using File = std::unique_ptr<void, Closer>;

File open(const std::filesystem::path& path, const char* mode) {
  return File(OS_fopen(path.u16string().c_str(), mode));
}

struct ModeCase {
  const char* mode;
  bool opens_missing;
  bool empties;
  int32_t start;  // on a file of 10 bytes
  bool reads;
  bool writes;
};

TEST(StdioFile, ModeStringsDecideAsRequired) {
  static constexpr ModeCase kCases[] = {
      {"w", true, true, 0, false, true},    {"wb", true, true, 0, false, true},
      {"", true, true, 0, false, true},  // required: an empty mode empties the file
      {"r", false, false, 0, true, false},  {"rb", false, false, 0, true, false},
      {"a", true, false, 10, false, true},  // required: only the short forms go to the end
      {"ab", true, false, 0, false, true},  {"r+", false, false, 0, true, true},
      {"r+b", false, false, 0, true, true}, {"rb+", false, false, 0, true, true},
      {"w+", true, true, 0, true, true},    {"w+b", true, true, 0, true, true},
      {"wb+", true, true, 0, true, true},   {"a+", true, false, 10, true, true},
      {"a+b", true, false, 0, true, true},  {"ab+", true, false, 0, true, true},
  };
  const TempFolder folder;
  const auto path = folder / "file";
  for (const ModeCase& expected : kCases) {
    SCOPED_TRACE(expected.mode);
    std::filesystem::remove(path);
    EXPECT_EQ(open(path, expected.mode) != nullptr, expected.opens_missing);
    write_file(path, "0123456789");
    {
      const File file = open(path, expected.mode);
      ASSERT_NE(file, nullptr);
      EXPECT_EQ(OS_ftell(file.get()), expected.start);
      EXPECT_EQ(std::filesystem::file_size(path), expected.empties ? 0u : 10u);
      EXPECT_EQ(OS_fwrite("w", 1, 1, file.get()), expected.writes ? 1u : 0u);
      char byte = 0;
      EXPECT_EQ(OS_fseek(file.get(), 0, 0), 0);
      EXPECT_EQ(OS_fread(&byte, 1, 1, file.get()), expected.reads ? 1u : 0u);
      EXPECT_EQ(open(path, "r+"), nullptr) << "others may only read";
    }
  }
  for (const char* mode : {"x", "rw", "br", "r ", "R", "wb++", "+"})
    EXPECT_EQ(open(path, mode), nullptr) << mode;
  EXPECT_EQ(OS_fopen(nullptr, "r"), nullptr);
  EXPECT_EQ(OS_fopen(u"x", nullptr), nullptr);
}

TEST(StdioFile, TransfersCountWholeItems) {
  const TempFolder folder;
  write_file(folder / "file", "0123456789");
  const File file = open(folder / "file", "r+");
  // On the heap: the claim below reaches over the end of the address space from a stack.
  std::string buffer(16, '\0');
  EXPECT_EQ(OS_fread(buffer.data(), 4, 3, file.get()), 2u);
  EXPECT_EQ(buffer.substr(0, 11), std::string("0123456789\0", 11));
  EXPECT_EQ(OS_ftell(file.get()), 10);
  EXPECT_EQ(OS_fread(buffer.data(), 4, 3, file.get()), 0u);
  EXPECT_EQ(OS_fread(buffer.data(), 0, 3, file.get()), 0u);
  EXPECT_EQ(OS_fseek(file.get(), -8, 2), 0);
  // 2^32 bytes do not wrap to none: everything up to the end is read.
  EXPECT_EQ(OS_fread(buffer.data(), 0x10000, 0x10000, file.get()), 0u);
  EXPECT_EQ(OS_ftell(file.get()), 10);
  EXPECT_EQ(OS_fwrite("abcdef", 3, 2, file.get()), 2u);
  EXPECT_EQ(OS_fwrite("abcdef", 3, 0, file.get()), 0u);
  EXPECT_EQ(read_file(folder / "file"), "0123456789abcdef");
}

TEST(StdioFile, PositionsAreOf32Bits) {
  const TempFolder folder;
  write_sparse_file(folder / "file", 3u << 30);
  const File file = open(folder / "file", "rb");
  EXPECT_EQ(OS_fseek(file.get(), INT32_MAX, 0), 0);
  EXPECT_EQ(OS_ftell(file.get()), INT32_MAX);
  EXPECT_EQ(OS_fseek(file.get(), 0, 2), 0);
  EXPECT_EQ(OS_ftell(file.get()), -1) << "3 GiB is no signed 32-bit number";
  EXPECT_EQ(OS_fseek(file.get(), 0x3FFFFFFF, 1), 0) << "4 GiB - 1 is a position, not a failure";
  EXPECT_EQ(OS_fseek(file.get(), 1, 1), 1);
  EXPECT_EQ(OS_fseek(file.get(), -1, 0), 1);
  EXPECT_EQ(OS_fseek(file.get(), 0, 3), 1);
}

TEST(StdioFile, FailuresOfTheSystem) {
  const TempFolder folder;
  write_file(folder / "file", "0123456789");
  const File file = open(folder / "file", "r+");
  char buffer[4] = {};
  zdr::platform::set_fault_hook([](zdr::platform::FaultPoint, void*) { return true; }, nullptr);
  EXPECT_EQ(OS_fread(buffer, 1, 4, file.get()), 0u);
  EXPECT_EQ(OS_fwrite(buffer, 1, 4, file.get()), 0u);
  EXPECT_EQ(OS_fseek(file.get(), 1, 0), 1);
  EXPECT_EQ(OS_ftell(file.get()), -1);
  zdr::platform::set_fault_hook(nullptr, nullptr);
  EXPECT_EQ(OS_fclose(nullptr), -1);
}

TEST(StdioExtras, FolderNamesAndDeletion) {
  const TempFolder folder;
  // Required: with a backslash the folder in front of it, otherwise the current volume.
  uint32_t words[2] = {};
  const auto there = folder.path().u16string();
  zdr::tests::expect_free_space(folder, [&] {
    EXPECT_EQ(OS_GetFreeSpace(words, (there + u"\\file").c_str()), 0);
    return uint64_t{words[0]} << 32 | words[1];
  });
  EXPECT_EQ(OS_GetFreeSpace(words, u"/no-such-folder/file"), 0);
  EXPECT_EQ(OS_GetFreeSpace(words, u"/no-such-folder\\file"), -1);
  // Required: the folder for temporary files is asked for and not used.
  EXPECT_EQ(std::u16string(OS_GetTempFilePath()), u"\\temp.tmp");

  write_file(folder / u"\u20ac", "x");
  const std::string name = folder.path().string() + "/\x80";  // the euro sign in windows-1252
  EXPECT_NE(OS_DeleteFileMB(name.c_str()), 0);
  EXPECT_FALSE(std::filesystem::exists(folder / u"\u20ac"));
  EXPECT_EQ(OS_DeleteFileMB(name.c_str()), 0);
  EXPECT_EQ(OS_DeleteFileMB(std::string(300, 'x').c_str()), 0);
}

}  // namespace
