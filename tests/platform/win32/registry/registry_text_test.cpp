// The registry's file: its form, what editors write, and files that somebody damaged or meant ill with.
#include <fcntl.h>
#include <sys/stat.h>

#include <regex>

#include "platform/win32/debug_output.h"
#include "platform/win32/registry_file.h"
#include "registry_test_support.h"

namespace zdr::platform::test {

namespace {

const HKEY kUser = HKEY_CURRENT_USER;
constexpr std::string_view kHeader = "Windows Registry Editor Version 5.00\n";

TEST_F(RegistryTest, WritesSortedExportText) {
  {
    const ScopedKey key(kUser, u"Soft[ware]\\Ü\\Zwei");
    set_text(key, nullptr, u"C:\\path \"quoted\" \u00e4\U0001F3B5");
    set_text(key, u"line", u"a\r\nb");
    set_bytes(key, u"unended", REG_SZ, std::string_view("a\0", 2));
    set_bytes(key, u"number", REG_DWORD, std::string_view("\x1F\0\0\x80", 4));
    set_bytes(key, u"short number", REG_DWORD, "\x1F");
    set_bytes(key, u"empty", REG_BINARY, "");
    set_bytes(key, u"a\"\\name", REG_EXPAND_SZ, std::string_view("%\0\0\0", 4));
    set_bytes(key, u"quad", REG_QWORD, std::string_view("\1\0\0\0\0\0\0\0", 8));
    set_bytes(key, u"surrogate", REG_SZ, std::string_view("\0\xD8\0\0", 4));
    set_bytes(ScopedKey(kUser, u"alone"), u"long", REG_BINARY, std::string(30, '\xAB'));
  }
  const std::string expected = std::string(kHeader) + R"(
[HKEY_CURRENT_USER\alone]
"long"=hex:ab,ab,ab,ab,ab,ab,ab,ab,ab,ab,ab,ab,ab,ab,ab,ab,ab,ab,ab,ab,ab,ab,\
  ab,ab,ab,ab,ab,ab,ab,ab

[HKEY_CURRENT_USER\Soft[ware]]

[HKEY_CURRENT_USER\Soft[ware]\Ü]

[HKEY_CURRENT_USER\Soft[ware]\Ü\Zwei]
@="C:\\path \"quoted\" ä🎵"
"a\"\\name"=hex(2):25,00,00,00
"empty"=hex:
"line"=hex(1):61,00,0d,00,0a,00,62,00,00,00
"number"=dword:8000001f
"quad"=hex(b):01,00,00,00,00,00,00,00
"short number"=hex(4):1f
"surrogate"=hex(1):00,d8,00,00
"unended"=hex(1):61,00
)";
  EXPECT_EQ(file_text(), expected);
  struct stat info;
  ASSERT_EQ(stat(path("registry.reg").c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 0777u, 0600u);
  EXPECT_EQ(report_registry().text, expected);
}

std::string utf16(const std::u16string& text) {
  return "\xFF\xFE" + std::string(reinterpret_cast<const char*>(text.data()), text.size() * 2);
}

TEST_F(RegistryTest, ReadsWhatEditorsWrite) {
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
  for (const std::string& text : {utf16(exported), utf8, "\xEF\xBB\xBF" + utf8, old_form}) {
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

TEST_F(RegistryTest, DamagedTextIsReportedByLineAndLeftAlone) {
  struct Row {
    std::string body;  // behind the header and one empty line
    size_t line;
  };
  const std::string key = "[HKEY_CURRENT_USER\\K]\n";
  const Row rows[] = {
      {"nonsense\n", 3},
      {"\"v\"=dword:1\n", 3},
      {key + "\"v\"=dword:\n", 4},
      {key + "\"v\"=dword:123456789\n", 4},
      {key + "\"v\"=dword:12x\n", 4},
      {key + "\"v\"=\"open\n" + key, 4},
      {key + "\"v\"=\"bad \\escape\"\n", 4},
      {key + "\"v\"=\"cut off by a backslash\\", 4},
      {key + "\"v\" \"w\"\n", 4},
      {key + "\"v\"=word:1\n", 4},
      {key + "\"v\"=hex:1,\n", 4},
      {key + "\"v\"=hex:xy\n", 4},
      {key + "\"v\"=hex:111\n", 4},
      {key + "\"v\"=hex():11\n", 4},
      {key + "\"v\"=hex(123456789):11\n", 4},
      {key + "\"v\"=hex:11,\\ 22\n", 4},
      {key + "\"v\"=\"text\" more\n", 4},
      {key + "\"" + std::string(16384, 'n') + "\"=\"\"\n", 4},
      {key + "\n\n[HKEY_CURRENT_USER\\K\n", 6},
      {"[HKEY_CURRENT_USER\\K] more\n", 3},
      {"[HKEY_NOWHERE\\K]\n", 3},
      {"[]\n", 3},
      {"[HKEY_CURRENT_USER\\\\K]\n", 3},
      {"[HKEY_CURRENT_USER\\" + std::string(256, 'k') + "]\n", 3},
      {"[HKEY_CURRENT_USER" + std::regex_replace(std::string(512, 'k'), std::regex("k"), "\\k") + "]\n", 3},
      {"[-HKEY_CURRENT_USER]\n", 3},
      {key + std::string("\"a\0b\"=-\n", 9), 4},
      {key + "\"\xC3\"=-\n", 4}};
  std::u16string told;
  set_debug_output_hook([](const WCHAR* text, void* all) { *static_cast<std::u16string*>(all) += text; },
                        &told);
  for (const Row& row : rows) {
    const std::string text = std::string(kHeader) + "\n" + row.body;
    write_file_text(text);
    told.clear();
    EXPECT_EQ(open_status(kUser, u"K"), ERROR_BADDB) << row.body;
    EXPECT_NE(told.find(u"line " + wide(std::to_string(row.line))), std::u16string::npos) << row.body;
    EXPECT_EQ(ScopedKey(kUser, u"New").status, ERROR_BADDB);
    EXPECT_EQ(file_text(), text);
    EXPECT_EQ(report_registry().line, row.line) << row.body;
  }
  set_debug_output_hook(nullptr, nullptr);
  for (const std::string& text : {std::string("Windows Registry Editor Version 9\n"),
                                  utf16(u"REGEDIT4") + "x", std::string("\xFE\xFF\0R", 4)}) {
    write_file_text(text);
    EXPECT_EQ(open_status(kUser, u"K"), ERROR_BADDB);
    EXPECT_EQ(report_registry().line, 1u);
  }
  // A repaired file is taken up again.
  write_file_text(std::string(kHeader) + key);
  EXPECT_EQ(open_status(kUser, u"K"), ERROR_SUCCESS);
}

// Cut text is either read as what it says so far or refused, and never crashes or hangs the reader.
TEST_F(RegistryTest, EveryCutAndFlippedByteIsReadOrRefused) {
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

TEST_F(RegistryTest, WhatIsNoFileOfOursIsRefused) {
  const std::string file = path("registry.reg");
  ASSERT_EQ(mkfifo(file.c_str(), 0600), 0);
  EXPECT_EQ(ScopedKey(kUser, u"K").status, ERROR_BADDB) << "a pipe must neither block nor be replaced";
  ASSERT_EQ(unlink(file.c_str()), 0);
  ASSERT_EQ(mkdir(file.c_str(), 0700), 0);
  EXPECT_EQ(ScopedKey(kUser, u"K").status, ERROR_BADDB);
  ASSERT_EQ(rmdir(file.c_str()), 0);
  variable_.set("/dev/null");
  EXPECT_EQ(open_status(kUser, u"K"), ERROR_BADDB);
  variable_.set(file.c_str());

  write_file_text(kHeader);
  for (const mode_t mode : {0602u, 0620u}) {
    ASSERT_EQ(chmod(file.c_str(), mode), 0);
    EXPECT_EQ(ScopedKey(kUser, u"K").status, ERROR_ACCESS_DENIED)
        << "others could name a module to be loaded";
    EXPECT_FALSE(report_registry().reason.empty());
  }
  ASSERT_EQ(chmod(file.c_str(), 0600), 0);
  EXPECT_EQ(ScopedKey(kUser, u"K").status, ERROR_SUCCESS);

  zdr::tests::write_sparse_file(file, (4u << 20) + 1);
  EXPECT_EQ(open_status(kUser, u"K"), ERROR_FILE_TOO_LARGE);
  ASSERT_EQ(unlink(file.c_str()), 0);
  const ScopedKey key(kUser, u"K");
  EXPECT_EQ(set_bytes(key, u"V", REG_BINARY, std::string(2u << 20, 'x')), ERROR_NO_SYSTEM_RESOURCES);
  EXPECT_EQ(stored(key, u"V").status, ERROR_FILE_NOT_FOUND);
}

// Written out, each key repeats the names of those above it: 1.3 MB would become 256 MB.
TEST_F(RegistryTest, ATextThatWouldBeTooLargeIsNotMade) {
  std::string deep;
  for (int i = 0; i < 400; ++i) deep += "\\" + std::string(200, 'k');
  std::string text(kHeader);
  for (int i = 0; i < 16; ++i) text += "[HKEY_CURRENT_USER\\" + std::to_string(i) + deep + "]\n";
  write_file_text(text);
  EXPECT_EQ(ScopedKey(kUser, u"K").status, ERROR_NO_SYSTEM_RESOURCES);
  EXPECT_EQ(file_text(), text);
}

TEST_F(RegistryTest, TheListenerOfTheDebugOutputMayUseTheRegistry) {
  write_file_text("nonsense");
  LSTATUS heard = ERROR_SUCCESS;
  const auto listen = [](const WCHAR*, void* status) {
    set_debug_output_hook(nullptr, nullptr);
    *static_cast<LSTATUS*>(status) = open_status(kUser, u"K");
  };
  set_debug_output_hook(listen, &heard);
  EXPECT_EQ(open_status(kUser, u"K"), ERROR_BADDB);
  EXPECT_EQ(heard, ERROR_BADDB);
}

TEST_F(RegistryTest, LinksLeadToTheFileThatIsReplaced) {
  ASSERT_EQ(mkdir(path("real").c_str(), 0700), 0);
  zdr::tests::write_file(folder_ / "real/file.reg", kHeader);
  std::filesystem::create_symlink(folder_ / "real/file.reg", folder_ / "registry.reg");
  EXPECT_EQ(ScopedKey(kUser, u"K").status, ERROR_SUCCESS);
  EXPECT_TRUE(std::filesystem::is_symlink(folder_ / "registry.reg"));
  EXPECT_NE(zdr::tests::read_file(folder_ / "real/file.reg").find("K]"), std::string::npos);
  // A link in the way of the new file is not followed.
  zdr::tests::write_file(folder_ / "victim", "untouched");
  std::filesystem::create_symlink(folder_ / "victim", folder_ / "real/file.reg.tmp");
  EXPECT_EQ(ScopedKey(kUser, u"L").status, ERROR_SUCCESS);
  EXPECT_EQ(zdr::tests::read_file(folder_ / "victim"), "untouched");
}

TEST_F(RegistryTest, TheEnvironmentTellsWhereTheFileIs) {
  const ScopedVariable home("HOME", path("home").c_str());
  ScopedVariable data("XDG_DATA_HOME", path("data").c_str());
  variable_.set(nullptr);
  EXPECT_EQ(ScopedKey(kUser, u"K").status, ERROR_SUCCESS);
  EXPECT_TRUE(std::filesystem::exists(folder_ / "data/zdr/registry.reg"));
  EXPECT_EQ(std::filesystem::status(folder_ / "data/zdr").permissions(), std::filesystem::perms(0700));
  data.set("relative");
  EXPECT_EQ(open_status(kUser, u"K"), ERROR_FILE_NOT_FOUND);
  EXPECT_FALSE(std::filesystem::exists(folder_ / "home")) << "looking made a folder";
  EXPECT_EQ(ScopedKey(kUser, u"L").status, ERROR_SUCCESS);
  EXPECT_TRUE(std::filesystem::exists(folder_ / "home/.local/share/zdr/registry.reg"));
  data.set(nullptr);
  EXPECT_EQ(open_status(kUser, u"L"), ERROR_SUCCESS);
  const ScopedVariable nowhere("HOME", nullptr);
  EXPECT_EQ(ScopedKey(kUser, u"K").status, ERROR_PATH_NOT_FOUND);
}

}  // namespace

}  // namespace zdr::platform::test
