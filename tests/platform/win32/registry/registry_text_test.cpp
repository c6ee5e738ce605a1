// The registry's file: its form, what editors write, and damaged or hostile files.
#include <fcntl.h>
#include <sys/stat.h>

#include <map>
#include <regex>

#include "platform/win32/debug_output.h"
#include "platform/win32/registry_file.h"
#include "registry_test_support.h"

namespace zdr::test {

namespace {

constexpr std::string_view kHeader = "Windows Registry Editor Version 5.00\n";

std::string utf16(const std::u16string& text) {
  return {reinterpret_cast<const char*>(text.data()), text.size() * 2};
}

// In the order of the file: what is stored, and its line.
TEST_F(Registry, ValuesAreReadAsStoredAndWrittenAsEditorsDo) {
  const std::tuple<std::u16string, DWORD, std::string, std::string> rows[] = {
      {u"", REG_SZ, utf16(u"C:\\path \"quoted\" \u00e4\U0001F3B5") + std::string(2, '\0'),
       R"(@="C:\\path \"quoted\" ä🎵")"},
      {u"a\"\\name", REG_EXPAND_SZ, std::string("%\0\0\0", 4), R"("a\"\\name"=hex(2):25,00,00,00)"},
      {u"empty", REG_BINARY, "", R"("empty"=hex:)"},
      {u"line", REG_SZ, utf16(u"a\r\n") + std::string(2, '\0'), R"("line"=hex(1):61,00,0d,00,0a,00,00,00)"},
      {u"long", REG_BINARY, std::string(30, '\xAB'),
       R"("long"=hex:ab,ab,ab,ab,ab,ab,ab,ab,ab,ab,ab,ab,ab,ab,ab,ab,ab,ab,ab,ab,ab,ab,\
  ab,ab,ab,ab,ab,ab,ab,ab)"},
      {u"number", REG_DWORD, std::string("\x1F\0\0\x80", 4), R"("number"=dword:8000001f)"},
      {u"odd", REG_SZ, "odd", R"("odd"=hex(1):6f,64,64)"},
      {u"short number", REG_DWORD, "\x1F", R"("short number"=hex(4):1f)"},
      {u"surrogate", REG_SZ, std::string("\0\xD8\0\0", 4), R"("surrogate"=hex(1):00,d8,00,00)"},
      {u"unended", REG_SZ, std::string("a\0", 2), R"("unended"=hex(1):61,00)"},
      {u"Ü", 0xFFFFFFFF, "any", R"("Ü"=hex(ffffffff):61,6e,79)"},
  };
  std::string expected =
      std::string(kHeader) + "\n[HKEY_CURRENT_USER\\Soft[ware]]\n\n[HKEY_CURRENT_USER\\Soft[ware]\\Ü]\n";
  const ScopedKey key(kUser, u"Soft[ware]\\Ü");
  for (const auto& [name, type, bytes, line] : rows) {
    EXPECT_EQ(set_bytes(key, name.c_str(), type, bytes), ERROR_SUCCESS);
    expected += line + "\n";
  }
  EXPECT_EQ(file_text(), expected);
  EXPECT_EQ(platform::report_registry().text, expected);
  EXPECT_EQ(std::filesystem::status(path("registry.reg")).permissions(), std::filesystem::perms(0600));
  for (const bool reread : {false, true}) {
    if (reread) write_file_text(expected + "\n");
    for (const auto& [name, type, bytes, line] : rows)
      EXPECT_EQ(stored(key, name.c_str()), (Stored{ERROR_SUCCESS, type, bytes}));
  }
}

TEST_F(Registry, ReadsWhatEditorsWrite) {
  const std::u16string exported =
      u"Windows Registry Editor Version 5.00\r\n\r\n; a remark\r\n[HKEY_CLASSES_ROOT\\.ext]\r\n"
      u"@=\"text \u00e4\"\r\n\"many\"=hex(7):61,00,\\\r\n  00,00,\\\r\n  00,00\r\n"
      u"\"gone\"=dword:1\r\n\"gone\"=-\r\n\r\n[HKEY_CURRENT_USER\\Going\\Below]\r\n"
      u"[-HKEY_CURRENT_USER\\Going]\r\n";
  std::string lines(exported.size(), ' ');  // windows-1252 of the same, in the old form
  std::transform(exported.begin(), exported.end(), lines.begin(), [](char16_t c) { return char(c); });
  const std::string old_form = std::regex_replace(
      std::regex_replace(lines, std::regex("Windows.*5.00"), "REGEDIT4"), std::regex("61,00,"), "61,");
  const std::string utf8 =
      std::regex_replace(std::regex_replace(lines, std::regex("\r"), ""), std::regex("\xE4"), "\xC3\xA4");
  for (const std::string& text : {"\xFF\xFE" + utf16(exported), utf8, "\xEF\xBB\xBF" + utf8, old_form}) {
    write_file_text(text);
    const ScopedKey key(HKEY_LOCAL_MACHINE, u"SOFTWARE\\Classes\\.ext", KEY_READ);
    ASSERT_EQ(key.disposition, REG_OPENED_EXISTING_KEY) << text;
    EXPECT_EQ(text_of(key, nullptr), u"text \u00e4");
    EXPECT_EQ(stored(key, u"many").type, REG_MULTI_SZ);
    EXPECT_EQ(stored(key, u"many").bytes.substr(0, 4), std::string("a\0\0\0", 4));
    EXPECT_EQ(stored(key, u"gone").status, ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(open_status(kUser, u"Going"), ERROR_FILE_NOT_FOUND);
  }
}

TEST_F(Registry, DamagedTextIsReportedByLineAndLeftAlone) {
  const std::string key = "[HKEY_CURRENT_USER\\K]\n";
  const std::string value = key + "\"v\"";
  std::string deepest = "[HKEY_CURRENT_USER";
  for (int i = 0; i < 512; ++i) deepest += "\\k";
  // By the number of the line that cannot be parsed.
  const std::multimap<size_t, std::string> rows = {
      {3, "nonsense"},
      {3, "[HKEY_CURRENT_USER\\K] more"},
      {3, "[HKEY_NOWHERE\\K]"},
      {3, "[HKEY_CURRENT_USER\\\\K]"},
      {3, "[HKEY_CURRENT_USER\\" + std::string(256, 'k') + "]"},
      {3, deepest + "]"},
      {3, "[-HKEY_CURRENT_USER]"},
      {4, value + "=dword:"},
      {4, value + "=dword:123456789"},
      {4, value + "=\"open\n" + key},
      {4, value + "=\"bad \\escape\""},
      {4, value + "=\"ends in a backslash\\"},
      {4, value + "=word:1"},
      {4, value + "=hex:1,"},
      {4, value + "=hex:111"},
      {4, value + "=hex(123456789):11"},
      {4, value + "=hex:11,\\ 22"},
      {4, key + "\"" + std::string(16384, 'n') + "\"=\"\""},
      {4, key + std::string("\"a\0b\"=-", 7)},
      {4, key + "\"\xC3\"=-"},
      {6, key + "\n\n[HKEY_CURRENT_USER\\K"},
  };
  for (const auto& [line, body] : rows) {
    const std::string text = std::string(kHeader) + "\n" + body;
    write_file_text(text);
    EXPECT_EQ(open_status(kUser, u"K"), ERROR_BADDB) << body;
    EXPECT_EQ(ScopedKey(kUser, u"New").status, ERROR_BADDB);
    EXPECT_EQ(file_text(), text);
    EXPECT_EQ(platform::report_registry().line, line) << body;
  }
  for (const std::string& text : {std::string("Windows Registry Editor Version 9\n"),
                                  "\xFF\xFE" + utf16(u"REGEDIT4") + "x", std::string("\xFE\xFF\0R", 4)}) {
    write_file_text(text);
    EXPECT_EQ(open_status(kUser, u"K"), ERROR_BADDB);
    EXPECT_EQ(platform::report_registry().line, 1u);
  }
  // A repaired file is read again.
  write_file_text(std::string(kHeader) + key);
  EXPECT_EQ(open_status(kUser, u"K"), ERROR_SUCCESS);
}

// Truncated or changed text is either read or refused, and never crashes or hangs the reader.
TEST_F(Registry, EveryTruncationAndFlippedByteIsReadOrRefused) {
  const std::string whole =
      std::string(kHeader) +
      "\n[HKEY_CURRENT_USER\\K]\n@=\"a\\\\b\"\n\"n\"=hex(7):61,00,\\\n  00,00\n\"d\"=dword:0000001f\n";
  int refused = 0;
  for (size_t i = 0; i < whole.size(); ++i) {
    for (const std::string& text :
         {whole.substr(0, i), whole.substr(0, i) + char(whole[i] ^ 0x20) + whole.substr(i + 1)}) {
      write_file_text(text);
      const LSTATUS status = open_status(kUser, u"");
      ASSERT_TRUE(status == ERROR_SUCCESS || status == ERROR_BADDB) << i;
      refused += status == ERROR_BADDB ? 1 : 0;
      EXPECT_EQ(file_text(), text);
    }
  }
  EXPECT_GT(refused, 100);
}

TEST_F(Registry, FilesThatOthersCouldForgeAreRefused) {
  const std::string file = path("registry.reg");
  ASSERT_EQ(mkfifo(file.c_str(), 0600), 0);
  EXPECT_EQ(ScopedKey(kUser, u"K").status, ERROR_BADDB) << "a pipe must neither block nor be replaced";
  ASSERT_EQ(unlink(file.c_str()), 0);

  write_file_text(kHeader);
  ASSERT_EQ(chmod(file.c_str(), 0620), 0);
  EXPECT_EQ(ScopedKey(kUser, u"K").status, ERROR_ACCESS_DENIED) << "others could name a module to be loaded";
  EXPECT_FALSE(platform::report_registry().reason.empty());
  ASSERT_EQ(chmod(file.c_str(), 0600), 0);
  EXPECT_EQ(ScopedKey(kUser, u"K").status, ERROR_SUCCESS);

  write_sparse_file(file, (4u << 20) + 1);
  EXPECT_EQ(open_status(kUser, u"K"), ERROR_FILE_TOO_LARGE);
  ASSERT_EQ(unlink(file.c_str()), 0);
  const ScopedKey key(kUser, u"K");
  EXPECT_EQ(set_bytes(key, u"V", REG_BINARY, std::string(2u << 20, 'x')), ERROR_NO_SYSTEM_RESOURCES);
  EXPECT_EQ(stored(key, u"V").status, ERROR_FILE_NOT_FOUND);
}

// Four MiB of text could otherwise become two million keys, or a gigabyte once each repeats the names of
// those above it. What is refused stays as it is.
TEST_F(Registry, AFileMayHoldOnlySoManyKeysAndNotRepeatTooManyNames) {
  const auto paths = [](int count, int levels, size_t name_length) {
    std::string deep;
    for (int i = 1; i < levels; ++i) deep += "\\" + std::string(name_length, 'k');
    std::string lines;
    for (int i = 0; i < count; ++i) lines += "[HKEY_CURRENT_USER\\" + std::to_string(i) + deep + "]\n";
    return lines;
  };
  // A body, and the results of reading it and of adding a key.
  const std::tuple<std::string, LSTATUS, LSTATUS> rows[] = {
      {paths(251, 400, 1), ERROR_BADDB, ERROR_BADDB},
      {paths(16, 400, 200), ERROR_FILE_TOO_LARGE, ERROR_FILE_TOO_LARGE},
      {paths(1, 1, 1) + "@=\"\n" + std::string(3u << 20, 'x') + "\"\n", ERROR_FILE_TOO_LARGE,
       ERROR_FILE_TOO_LARGE},
      {paths(1, 1, 1) + "@=\"\n" + std::string(1u << 20, 'x') + "\"\n", ERROR_SUCCESS,
       ERROR_NO_SYSTEM_RESOURCES},
      {paths(99'000, 1, 1), ERROR_SUCCESS, ERROR_SUCCESS},
      {paths(100'000, 1, 1), ERROR_SUCCESS, ERROR_NO_SYSTEM_RESOURCES},
      {paths(100'001, 1, 1), ERROR_BADDB, ERROR_BADDB},
  };
  for (const auto& [body, reading, writing] : rows) {
    const std::string text = std::string(kHeader) + body;
    write_file_text(text);
    EXPECT_EQ(open_status(kUser, u""), reading) << text.size();
    EXPECT_EQ(ScopedKey(kUser, u"K").status, writing) << text.size();
    EXPECT_EQ(file_text() == text, writing != ERROR_SUCCESS) << text.size();
  }
}

TEST_F(Registry, TheHookOfTheDebugOutputMayUseTheRegistry) {
  write_file_text("nonsense");
  LSTATUS seen = ERROR_SUCCESS;
  const auto hook = [](const WCHAR*, void* status) {
    platform::set_debug_output_hook(nullptr, nullptr);
    *static_cast<LSTATUS*>(status) = open_status(kUser, u"K");
  };
  platform::set_debug_output_hook(hook, &seen);
  EXPECT_EQ(open_status(kUser, u"K"), ERROR_BADDB);
  EXPECT_EQ(seen, ERROR_BADDB);
}

TEST_F(Registry, LinksLeadToTheFileThatIsReplaced) {
  ASSERT_EQ(mkdir(path("real").c_str(), 0700), 0);
  write_file(folder_ / "real/file.reg", kHeader);
  std::filesystem::create_symlink(folder_ / "real/file.reg", folder_ / "registry.reg");
  EXPECT_EQ(ScopedKey(kUser, u"K").status, ERROR_SUCCESS);
  EXPECT_TRUE(std::filesystem::is_symlink(folder_ / "registry.reg"));
  EXPECT_NE(read_file(folder_ / "real/file.reg").find("K]"), std::string::npos);
  // A link with the name of the new file is not followed.
  write_file(folder_ / "victim", "untouched");
  std::filesystem::create_symlink(folder_ / "victim", folder_ / "real/file.reg.tmp");
  EXPECT_EQ(ScopedKey(kUser, u"L").status, ERROR_SUCCESS);
  EXPECT_EQ(read_file(folder_ / "victim"), "untouched");
}

TEST_F(Registry, TheEnvironmentNamesTheFile) {
  const ScopedVariable home("HOME", path("home").c_str());
  ScopedVariable data("XDG_DATA_HOME", path("data").c_str());
  variable_.set(nullptr);
  EXPECT_EQ(ScopedKey(kUser, u"K").status, ERROR_SUCCESS);
  EXPECT_TRUE(std::filesystem::exists(folder_ / "data/zdr/registry.reg"));
  EXPECT_EQ(std::filesystem::status(folder_ / "data/zdr").permissions(), std::filesystem::perms(0700));
  data.set("relative");
  EXPECT_EQ(open_status(kUser, u"K"), ERROR_FILE_NOT_FOUND);
  EXPECT_FALSE(std::filesystem::exists(folder_ / "home")) << "a lookup created a folder";
  EXPECT_EQ(ScopedKey(kUser, u"L").status, ERROR_SUCCESS);
  EXPECT_TRUE(std::filesystem::exists(folder_ / "home/.local/share/zdr/registry.reg"));
  data.set(nullptr);
  EXPECT_EQ(open_status(kUser, u"L"), ERROR_SUCCESS);
  const ScopedVariable nowhere("HOME", nullptr);
  EXPECT_EQ(ScopedKey(kUser, u"K").status, ERROR_PATH_NOT_FOUND);
}

}  // namespace

}  // namespace zdr::test
