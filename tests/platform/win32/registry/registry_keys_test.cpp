// Keys, values and handles: what every function does and returns.
#include <array>

#include "registry_test_support.h"

namespace zdr::test {

namespace {

TEST_F(Registry, CreateMakesMissingLevelsAndOpensExistingOnes) {
  const ScopedKey made(kUser, u"Software\\Vendor\\Product");
  EXPECT_EQ(made.disposition, REG_CREATED_NEW_KEY);
  const ScopedKey again(kUser, u"SOFTWARE\\vendor\\PRODUCT\\");
  EXPECT_EQ(again.disposition, REG_OPENED_EXISTING_KEY);
  EXPECT_EQ(set_text(made, nullptr, u"one key"), ERROR_SUCCESS);
  EXPECT_EQ(text_of(again, u""), u"one key");
  EXPECT_EQ(ScopedKey(kUser, u"\u00D6\u00D7").status, ERROR_SUCCESS);
  EXPECT_EQ(open_status(kUser, u"\u00F6\u00D7"), ERROR_SUCCESS);
  EXPECT_EQ(open_status(kUser, u"\u00D6\u00F7"), ERROR_FILE_NOT_FOUND)
      << "the multiplication and division signs have no case";
}

TEST_F(Registry, CreateAndOpenRefuseInvalidKeysAndPaths) {
  const std::u16string longest(255, u'k');
  std::u16string deep;
  for (int i = 0; i < 33; ++i) deep += u"d\\";
  const std::tuple<HKEY, std::u16string, LSTATUS, LSTATUS> rows[] = {
      {kUser, u"\\Software", ERROR_BAD_PATHNAME, ERROR_BAD_PATHNAME},
      {kUser, u"A\\\\B", ERROR_BAD_PATHNAME, ERROR_BAD_PATHNAME},
      {kUser, longest + u"k", ERROR_INVALID_PARAMETER, ERROR_INVALID_PARAMETER},
      {kUser, u"line\nfeed", ERROR_INVALID_PARAMETER, ERROR_INVALID_PARAMETER},
      {kUser, deep, ERROR_INVALID_PARAMETER, ERROR_FILE_NOT_FOUND},
      {HKEY_LOCAL_MACHINE, u"Vendor\\Product", ERROR_INVALID_PARAMETER, ERROR_FILE_NOT_FOUND},
      {HKEY_USERS, u"Somebody", ERROR_INVALID_PARAMETER, ERROR_FILE_NOT_FOUND},
      {nullptr, u"Software", ERROR_INVALID_HANDLE, ERROR_INVALID_HANDLE},
  };
  for (const auto& [root, path_of_key, created, opened] : rows) {
    EXPECT_EQ(open_status(root, path_of_key.c_str()), opened);
    const ScopedKey key(root, path_of_key.c_str());
    EXPECT_EQ(key.status, created);
    EXPECT_EQ(key.key, nullptr);
  }
  EXPECT_FALSE(std::filesystem::exists(path("registry.reg"))) << "a refused call wrote the file";
  EXPECT_EQ(ScopedKey(kUser, longest.c_str()).status, ERROR_SUCCESS);
  EXPECT_EQ(ScopedKey(kUser, deep.substr(2).c_str()).status, ERROR_SUCCESS);
}

TEST_F(Registry, HandlesEndWithCloseAndAreNotFileHandles) {
  HKEY key = nullptr;
  EXPECT_EQ(RegOpenKeyExW(kUser, nullptr, 0, KEY_READ, &key), ERROR_SUCCESS);
  EXPECT_EQ(failure(CloseHandle(key)), ERROR_INVALID_HANDLE);
  const ScopedHandle file(open_for(make_file("file"), GENERIC_READ));
  SetLastError(kUntouched);
  EXPECT_EQ(RegCloseKey(file), ERROR_INVALID_HANDLE);
  EXPECT_EQ(RegCloseKey(key), ERROR_SUCCESS);
  EXPECT_EQ(RegCloseKey(key), ERROR_INVALID_HANDLE);
  EXPECT_EQ(set_text(key, u"v", u"x"), ERROR_INVALID_HANDLE);
  EXPECT_EQ(RegCloseKey(HKEY_LOCAL_MACHINE), ERROR_SUCCESS);
}

TEST_F(Registry, ValuesHaveTheirLimits) {
  const ScopedKey key(kUser, u"Key");
  ASSERT_EQ(set_bytes(key, u"V", REG_BINARY, "12345"), ERROR_SUCCESS);
  std::array<BYTE, 8> buffer{};
  DWORD bytes = 4;
  EXPECT_EQ(RegQueryValueExW(key, u"V", nullptr, nullptr, buffer.data(), &bytes), ERROR_MORE_DATA);
  EXPECT_EQ(bytes, 5u);
  EXPECT_EQ(buffer[0], 0);
  EXPECT_EQ(RegQueryValueExW(key, u"V", nullptr, nullptr, buffer.data(), &bytes), ERROR_SUCCESS);
  EXPECT_EQ(buffer[4], '5');
  EXPECT_EQ(set_bytes(key, std::u16string(16383, u'n').c_str(), REG_NONE, ""), ERROR_SUCCESS);
  EXPECT_EQ(set_bytes(key, std::u16string(16384, u'n').c_str(), REG_NONE, ""), ERROR_INVALID_PARAMETER);
}

TEST_F(Registry, KeptHandleRightsApplyToValuesOnly) {
  const ScopedKey all(kUser, u"Key");
  ASSERT_EQ(set_text(all, u"V", u"x"), ERROR_SUCCESS);
  const ScopedKey reader(kUser, u"Key", KEY_READ);
  const ScopedKey writer(kUser, u"Key", KEY_WRITE);
  EXPECT_EQ(set_text(reader, u"V", u"y"), ERROR_ACCESS_DENIED);
  EXPECT_EQ(stored(writer, u"V").status, ERROR_ACCESS_DENIED);
  EXPECT_EQ(text_of(reader, u"V"), u"x");
  EXPECT_EQ(ScopedKey(reader, u"Sub").status, ERROR_SUCCESS);
  EXPECT_EQ(RegDeleteKeyW(reader, u"Sub"), ERROR_SUCCESS);
}

TEST_F(Registry, DeletionLeavesParentsAndInvalidatesHandles) {
  const ScopedKey parent(kUser, u"Parent");
  const ScopedKey child(parent, u"Child");
  EXPECT_EQ(RegDeleteKeyW(kUser, u"Parent"), ERROR_ACCESS_DENIED);
  EXPECT_EQ(RegDeleteKeyW(parent, u"Other"), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(RegDeleteKeyW(parent, u"CHILD"), ERROR_SUCCESS);
  EXPECT_EQ(set_text(child, u"V", u"x"), ERROR_KEY_DELETED);
  const ScopedKey successor(parent, u"Child");
  EXPECT_EQ(set_text(child, u"V", u"x"), ERROR_KEY_DELETED)
      << "the handle must not find the successor of its key";

  EXPECT_EQ(RegDeleteTreeW(parent, nullptr), ERROR_INVALID_PARAMETER);
  EXPECT_EQ(RegDeleteTreeW(kUser, u"Parent"), ERROR_SUCCESS);
  EXPECT_EQ(RegDeleteTreeW(kUser, u"Parent"), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(open_status(parent, u""), ERROR_KEY_DELETED);

  EXPECT_EQ(RegDeleteTreeW(HKEY_LOCAL_MACHINE, u"SOFTWARE"), ERROR_ACCESS_DENIED);
  EXPECT_EQ(RegDeleteKeyW(kUser, u""), ERROR_ACCESS_DENIED);
}

TEST_F(Registry, ClassesRootShowsTheUsersClassesOverThoseOfTheMachine) {
  const ScopedKey made(HKEY_CLASSES_ROOT, u"Common");
  set_text(made, u"V", u"machine");
  set_text(made, u"Only", u"machine");
  const ScopedKey user(kUser, u"Software\\Classes\\Common");
  set_text(user, u"V", u"user");
  const ScopedKey view(HKEY_CLASSES_ROOT, u"COMMON");
  EXPECT_EQ(view.disposition, REG_OPENED_EXISTING_KEY);
  EXPECT_EQ(text_of(view, u"V"), u"user");
  EXPECT_EQ(text_of(view, u"Only"), u"machine");
  set_text(view, u"New", u"set in the user's");
  EXPECT_EQ(text_of(user, u"New"), u"set in the user's");

  ScopedKey(kUser, u"Software\\Classes\\Common\\FromUser");
  ScopedKey(view, u"FromMachine");
  EXPECT_EQ(open_status(HKEY_LOCAL_MACHINE, u"Software\\Classes\\Common\\FromMachine"), ERROR_SUCCESS);
  EXPECT_EQ(open_status(view, u"FromMachine"), ERROR_SUCCESS);
  EXPECT_EQ(open_status(view, u"FromUser"), ERROR_SUCCESS);

  EXPECT_EQ(RegDeleteKeyW(view, u"FromUser"), ERROR_SUCCESS);
  EXPECT_EQ(RegDeleteKeyW(HKEY_CLASSES_ROOT, u"Common"), ERROR_SUCCESS);
  EXPECT_EQ(text_of(view, u"V"), u"machine") << "the machine's key was hidden, not replaced";
  EXPECT_EQ(RegDeleteTreeW(HKEY_CLASSES_ROOT, u"Common"), ERROR_SUCCESS);
  EXPECT_EQ(open_status(HKEY_LOCAL_MACHINE, u"Software\\Classes\\Common"), ERROR_FILE_NOT_FOUND);
}

}  // namespace

}  // namespace zdr::test
