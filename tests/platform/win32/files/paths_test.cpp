// Full paths, temporary names, module names.
#include <dlfcn.h>

#include "platform/win32/debug_output.h"
#include "tests/platform/win32/win32_test_support.h"

namespace zdr::test {

namespace {

namespace fs = std::filesystem;
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
  ScopedVariable tmp("TMP", "\\first");
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
