// Full paths, temporary names, module names.
#include <dlfcn.h>

#include <cstdlib>
#include <filesystem>

#include "platform/win32/debug_output.h"
#include "tests/platform/win32/win32_test_support.h"

namespace zdr::platform::test {

namespace {

namespace fs = std::filesystem;
using PathsTest = Win32Test;

std::string full_path(const std::string& name, size_t* last = nullptr) {
  char buffer[1000];
  char* last_component = buffer;
  const DWORD length = GetFullPathNameA(name.c_str(), sizeof buffer, buffer, &last_component);
  if (last != nullptr) *last = last_component == nullptr ? 0 : static_cast<size_t>(last_component - buffer);
  return std::string(buffer, length);
}

TEST_F(PathsTest, FullPathsAreFolded) {
  const std::string here = fs::current_path().string();
  const struct {
    std::string name;
    std::string full;
  } rows[] = {{"/a/b", "/a/b"},     {"\\a\\b", "/a/b"}, {"/a//./b/../c", "/a/c"},
              {"/..//../x", "/x"},  {"/a/b/", "/a/b/"}, {"/a/b/..", "/a"},
              {"/", "/"},           {"/..", "/"},       {"f", here + "/f"},
              {"./f", here + "/f"}, {".", here},        {"..", fs::current_path().parent_path().string()}};
  for (const auto& row : rows) EXPECT_EQ(full_path(row.name), row.full) << row.name;
  size_t last = 99;
  full_path("/a/bc", &last);
  EXPECT_EQ(last, 3u);
  full_path("/a/bc/", &last);
  EXPECT_EQ(last, 0u) << "no last component";
  EXPECT_EQ(GetLastError(), kUntouched);
}

TEST_F(PathsTest, AShortBufferGivesTheSizeNeeded) {
  WCHAR buffer[5] = {};
  EXPECT_EQ(GetFullPathNameW(u"/abc", 4, buffer, nullptr), 5u);
  EXPECT_EQ(GetFullPathNameW(u"/abc", 5, buffer, nullptr), 4u);
  EXPECT_EQ(std::u16string(buffer), u"/abc");
  EXPECT_EQ(GetFullPathNameW(u"/abc", 0, nullptr, nullptr), 5u);
  EXPECT_EQ(GetFullPathNameA("", 5, nullptr, nullptr), 0u);
  EXPECT_EQ(GetLastError(), ERROR_INVALID_NAME);
}

TEST_F(PathsTest, TheTempPathComesFromTheEnvironment) {
  ScopedVariable tmp("TMP", "\\first");
  const ScopedVariable temp("TEMP", "/second");
  char buffer[100];
  EXPECT_EQ(GetTempPathA(sizeof buffer, buffer), 7u);
  EXPECT_STREQ(buffer, "/first/");
  EXPECT_EQ(GetTempPathA(7, buffer), 8u) << "too small: with the NUL";
  tmp.set(nullptr);
  WCHAR wide_buffer[100];
  EXPECT_EQ(GetTempPathW(100, wide_buffer), 8u);
  EXPECT_EQ(std::u16string(wide_buffer), u"/second/");
}

TEST_F(PathsTest, TempFileNamesAreBuiltOrMade) {
  char name[MAX_PATH];
  EXPECT_EQ(GetTempFileNameA("/none", "abcdef", 0x123AB, name), 0x123ABu);
  EXPECT_STREQ(name, "/none/abc23ab.TMP") << "nothing is checked or created";
  const std::string folder = folder_.path().string();
  EXPECT_NE(GetTempFileNameA(folder.c_str(), "z", 0, name), 0u);
  EXPECT_EQ(fs::file_size(name), 0u);
  const std::string first = name;
  EXPECT_NE(GetTempFileNameA(folder.c_str(), "z", 0, name), 0u);
  EXPECT_NE(name, first);
  EXPECT_EQ(GetTempFileNameA((folder + "/none").c_str(), "z", 0, name), 0u);
  EXPECT_EQ(GetLastError(), ERROR_DIRECTORY);
  EXPECT_EQ(GetTempFileNameA(std::string(MAX_PATH - 13, 'x').c_str(), "z", 1, name), 0u);
  EXPECT_EQ(GetLastError(), ERROR_BUFFER_OVERFLOW);
  WCHAR wide_name[MAX_PATH];
  EXPECT_EQ(GetTempFileNameW(nullptr, u"z", 1, wide_name), 0u);
  EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
  EXPECT_EQ(GetTempFileNameW(u"", u"00", 1, wide_name), 1u);
  EXPECT_EQ(std::u16string(wide_name), u"/001.TMP");
}

TEST_F(PathsTest, ModulesKnowTheirFile) {
  const std::string self = fs::read_symlink("/proc/self/exe").string();
  char buffer[1000];
  EXPECT_EQ(GetModuleFileNameA(nullptr, buffer, sizeof buffer), self.size());
  EXPECT_EQ(buffer, self);
  // A function of the runtime stands for any address inside a module.
  Dl_info info;
  ASSERT_NE(dladdr(reinterpret_cast<void*>(&set_debug_output_hook), &info), 0);
  WCHAR wide_buffer[1000];
  const DWORD length = GetModuleFileNameW(info.dli_fbase, wide_buffer, 1000);
  const fs::path module(std::u16string(wide_buffer, length));
  EXPECT_TRUE(module.is_absolute());
  EXPECT_NE(module.string().find("libzdrplatform"), std::string::npos);
  EXPECT_EQ(GetLastError(), kUntouched);

  EXPECT_EQ(GetModuleFileNameA(nullptr, buffer, 5), 5u);
  EXPECT_EQ(GetLastError(), ERROR_INSUFFICIENT_BUFFER);
  EXPECT_EQ(std::string(buffer), self.substr(0, 4));
  int not_a_module = 0;
  EXPECT_EQ(GetModuleFileNameA(&not_a_module, buffer, sizeof buffer), 0u);
  EXPECT_EQ(GetLastError(), ERROR_MOD_NOT_FOUND);
}

}  // namespace

}  // namespace zdr::platform::test
