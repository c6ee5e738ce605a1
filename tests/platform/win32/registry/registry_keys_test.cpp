// Keys, values and handles: what every function does and answers.
#include <array>

#include "registry_test_support.h"

namespace zdr::platform::test {

namespace {

const HKEY kUser = HKEY_CURRENT_USER;
const HKEY kBadHandle = reinterpret_cast<HKEY>(uintptr_t{0x12346});

TEST_F(RegistryTest, CreateMakesMissingLevelsAndOpensTheRest) {
  const ScopedKey made(kUser, u"Software\\Vendor\\Product");
  EXPECT_EQ(made.status, ERROR_SUCCESS);
  EXPECT_EQ(made.disposition, REG_CREATED_NEW_KEY);
  const ScopedKey again(kUser, u"SOFTWARE\\vendor\\PRODUCT\\");
  EXPECT_EQ(again.disposition, REG_OPENED_EXISTING_KEY);
  const ScopedKey itself(made, u"");
  EXPECT_EQ(itself.disposition, REG_OPENED_EXISTING_KEY);
  EXPECT_EQ(set_text(itself, nullptr, u"one key"), ERROR_SUCCESS);
  EXPECT_EQ(text_of(again, u""), u"one key");
  EXPECT_NE(file_text().find("[HKEY_CURRENT_USER\\Software\\Vendor\\Product]"), std::string::npos);
}

TEST_F(RegistryTest, CreateAndOpenRefuseWhatCannotBe) {
  const std::u16string longest(255, u'k');
  std::u16string deep;
  for (int i = 0; i < 33; ++i) deep += u"d\\";
  struct Row {
    HKEY root;
    std::u16string path;
    LSTATUS created;
    LSTATUS opened;
  };
  const Row rows[] = {
      {kUser, u"\\Software", ERROR_BAD_PATHNAME, ERROR_BAD_PATHNAME},
      {kUser, u"A\\\\B", ERROR_BAD_PATHNAME, ERROR_BAD_PATHNAME},
      {kUser, longest + u"k", ERROR_INVALID_PARAMETER, ERROR_INVALID_PARAMETER},
      {kUser, u"line\nfeed", ERROR_INVALID_PARAMETER, ERROR_INVALID_PARAMETER},
      {kUser, deep, ERROR_INVALID_PARAMETER, ERROR_FILE_NOT_FOUND},
      {HKEY_LOCAL_MACHINE, u"Vendor", ERROR_INVALID_PARAMETER, ERROR_FILE_NOT_FOUND},
      {HKEY_LOCAL_MACHINE, u"Vendor\\Product", ERROR_INVALID_PARAMETER, ERROR_FILE_NOT_FOUND},
      {HKEY_USERS, u"Somebody", ERROR_INVALID_PARAMETER, ERROR_FILE_NOT_FOUND},
      {kBadHandle, u"Software", ERROR_INVALID_HANDLE, ERROR_INVALID_HANDLE},
      {nullptr, u"Software", ERROR_INVALID_HANDLE, ERROR_INVALID_HANDLE},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(open_status(row.root, row.path.c_str()), row.opened);
    HKEY key = nullptr;
    EXPECT_EQ(RegCreateKeyW(row.root, row.path.c_str(), &key), row.created);
    EXPECT_EQ(key, nullptr);
  }
  EXPECT_FALSE(std::filesystem::exists(path("registry.reg"))) << "a refused call wrote the file";

  const ScopedKey allowed(kUser, longest.c_str());
  EXPECT_EQ(allowed.status, ERROR_SUCCESS);
}

TEST_F(RegistryTest, DepthIsLimitedTo512Levels) {
  std::u16string levels;
  for (int i = 0; i < 32; ++i) levels += u"d\\";
  HKEY key = kUser;
  LSTATUS status = ERROR_SUCCESS;
  int created = 0;
  for (; status == ERROR_SUCCESS; ++created) {
    HKEY next = nullptr;
    status = RegCreateKeyW(key, levels.c_str(), &next);
    RegCloseKey(key);
    key = next;
  }
  EXPECT_EQ(status, ERROR_INVALID_PARAMETER);
  EXPECT_EQ(created, 16);  // 15 * 32 levels below the root fit, 16 * 32 do not
}

TEST_F(RegistryTest, HandlesEndWithCloseAndAreNoFileHandles) {
  HKEY key = nullptr;
  ASSERT_EQ(RegCreateKeyW(kUser, u"Key", &key), ERROR_SUCCESS);
  EXPECT_EQ(failure(CloseHandle(key)), ERROR_INVALID_HANDLE);
  const ScopedHandle file(open_for(make_file("file"), GENERIC_READ));
  EXPECT_EQ(RegCloseKey(file), ERROR_INVALID_HANDLE);
  SetLastError(kUntouched);
  EXPECT_EQ(RegCloseKey(key), ERROR_SUCCESS);
  EXPECT_EQ(RegCloseKey(key), ERROR_INVALID_HANDLE);
  EXPECT_EQ(set_text(key, u"v", u"x"), ERROR_INVALID_HANDLE);
  EXPECT_EQ(RegCloseKey(HKEY_LOCAL_MACHINE), ERROR_SUCCESS);
  EXPECT_EQ(open_status(HKEY_LOCAL_MACHINE, u"SOFTWARE"), ERROR_SUCCESS);
}

TEST_F(RegistryTest, ValuesComeBackAsStored) {
  const ScopedKey key(kUser, u"Values");
  const std::pair<DWORD, std::string> values[] = {{REG_SZ, std::string("t\0e\0x\0t\0\0\0", 10)},
                                                  {REG_SZ, std::string("n\0o\0 \0N\0U\0L\0", 12)},
                                                  {REG_SZ, "odd"},
                                                  {REG_DWORD, std::string("\7\0\0\0", 4)},
                                                  {REG_DWORD, "abc"},
                                                  {REG_NONE, ""},
                                                  {0xFFFFFFFF, "any type"}};
  for (const auto& [type, bytes] : values) {
    EXPECT_EQ(set_bytes(key, u"V", type, bytes), ERROR_SUCCESS);
    EXPECT_EQ(stored(key, u"v"), (Stored{ERROR_SUCCESS, type, bytes}));
  }
  EXPECT_EQ(RegSetValueExW(key, u"V", 0, REG_BINARY, nullptr, 1), ERROR_NOACCESS);
  EXPECT_EQ(set_bytes(key, std::u16string(16383, u'n').c_str(), REG_NONE, ""), ERROR_SUCCESS);
  EXPECT_EQ(set_bytes(key, std::u16string(16384, u'n').c_str(), REG_NONE, ""), ERROR_INVALID_PARAMETER);

  EXPECT_EQ(RegSetValueW(kUser, u"Values\\Below", REG_SZ, u"default", 1), ERROR_SUCCESS);
  EXPECT_EQ(text_of(ScopedKey(key, u"Below"), nullptr), u"default");
  EXPECT_EQ(RegSetValueW(key, u"Below", REG_BINARY, u"x", 2), ERROR_INVALID_PARAMETER);
}

TEST_F(RegistryTest, QueriesTellSizesAndRefuseSmallBuffers) {
  const ScopedKey key(kUser, u"Key");
  ASSERT_EQ(set_bytes(key, u"V", REG_BINARY, "12345"), ERROR_SUCCESS);
  std::array<BYTE, 8> buffer{};
  DWORD bytes = 4;
  EXPECT_EQ(RegQueryValueExW(key, u"V", nullptr, nullptr, buffer.data(), &bytes), ERROR_MORE_DATA);
  EXPECT_EQ(bytes, 5u);
  EXPECT_EQ(buffer[0], 0);
  EXPECT_EQ(RegQueryValueExW(key, u"V", nullptr, nullptr, buffer.data(), &bytes), ERROR_SUCCESS);
  EXPECT_EQ(buffer[4], '5');
  EXPECT_EQ(RegQueryValueExW(key, u"V", nullptr, nullptr, buffer.data(), nullptr), ERROR_INVALID_PARAMETER);
  EXPECT_EQ(RegDeleteValueW(key, u"W"), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(RegDeleteValueW(key, u"v"), ERROR_SUCCESS);
  EXPECT_EQ(RegQueryValueExW(key, u"V", nullptr, nullptr, nullptr, &bytes), ERROR_FILE_NOT_FOUND);
}

TEST_F(RegistryTest, RequiredRightsOfTheHandleDecideOnValuesAndListsOnly) {
  const ScopedKey all(kUser, u"Key");
  ASSERT_EQ(set_text(all, u"V", u"x"), ERROR_SUCCESS);
  const ScopedKey reader(kUser, u"Key", KEY_READ);
  const ScopedKey writer(kUser, u"Key", KEY_WRITE);
  EXPECT_EQ(set_text(reader, u"V", u"y"), ERROR_ACCESS_DENIED);
  EXPECT_EQ(RegDeleteValueW(reader, u"V"), ERROR_ACCESS_DENIED);
  EXPECT_EQ(stored(writer, u"V").status, ERROR_ACCESS_DENIED);
  EXPECT_EQ(listed(RegEnumKeyExW, writer, 0, 8).status, ERROR_ACCESS_DENIED);
  EXPECT_EQ(listed(RegEnumValueW, writer, 0, 8).status, ERROR_ACCESS_DENIED);
  EXPECT_EQ(text_of(reader, u"V"), u"x");
  // Whether sub keys may be made and removed is a matter of the key, not of the handle.
  EXPECT_EQ(ScopedKey(reader, u"Sub").status, ERROR_SUCCESS);
  EXPECT_EQ(RegDeleteKeyW(reader, u"Sub"), ERROR_SUCCESS);
}

TEST_F(RegistryTest, DeletionSparesParentsAndKillsHandles) {
  const ScopedKey parent(kUser, u"Parent");
  HKEY child = nullptr;
  ASSERT_EQ(RegCreateKeyW(parent, u"Child", &child), ERROR_SUCCESS);
  EXPECT_EQ(RegDeleteKeyW(kUser, u"Parent"), ERROR_ACCESS_DENIED);
  EXPECT_EQ(RegDeleteKeyW(parent, u"Other"), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(RegDeleteKeyW(parent, nullptr), ERROR_INVALID_PARAMETER);
  EXPECT_EQ(RegDeleteKeyW(parent, u"CHILD"), ERROR_SUCCESS);
  EXPECT_EQ(set_text(child, u"V", u"x"), ERROR_KEY_DELETED);
  const ScopedKey reborn(parent, u"Child");
  EXPECT_EQ(set_text(child, u"V", u"x"), ERROR_KEY_DELETED) << "a handle of the dead key found its successor";
  EXPECT_EQ(RegCloseKey(child), ERROR_SUCCESS);

  ASSERT_EQ(set_text(parent, u"V", u"x"), ERROR_SUCCESS);
  EXPECT_EQ(RegDeleteTreeW(parent, nullptr), ERROR_SUCCESS);
  EXPECT_EQ(open_status(parent, u"Child"), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(stored(parent, u"V").status, ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(RegDeleteTreeW(kUser, u"Parent"), ERROR_SUCCESS);
  EXPECT_EQ(RegDeleteTreeW(kUser, u"Parent"), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(open_status(parent, u""), ERROR_KEY_DELETED);

  EXPECT_EQ(RegDeleteKeyW(HKEY_LOCAL_MACHINE, u"SOFTWARE\\Classes"), ERROR_ACCESS_DENIED);
  EXPECT_EQ(RegDeleteTreeW(HKEY_LOCAL_MACHINE, u"SOFTWARE"), ERROR_ACCESS_DENIED);
  EXPECT_EQ(RegDeleteKeyW(kUser, u""), ERROR_ACCESS_DENIED);
}

TEST_F(RegistryTest, ListsAreInOrderOfNamesAndTellLengths) {
  const ScopedKey key(kUser, u"Key");
  for (const char16_t* name : {u"beta", u"Alpha", u"gamma"}) ScopedKey(key, name);
  set_bytes(key, u"size", REG_BINARY, "123");
  set_bytes(key, nullptr, REG_BINARY, "1234567");
  EXPECT_EQ(listed(RegEnumKeyExW, key, 0, 8), (Listed{ERROR_SUCCESS, u"Alpha"}));
  EXPECT_EQ(listed(RegEnumKeyExW, key, 1, 4), (Listed{ERROR_MORE_DATA, u""})) << "no room for the NUL";
  EXPECT_EQ(listed(RegEnumKeyExW, key, 1, 5), (Listed{ERROR_SUCCESS, u"beta"}));
  EXPECT_EQ(listed(RegEnumKeyExW, key, 3, 8), (Listed{ERROR_NO_MORE_ITEMS, u""}));
  EXPECT_EQ(listed(RegEnumValueW, key, 1, 8), (Listed{ERROR_SUCCESS, u"size"}));
  EXPECT_EQ(listed(RegEnumValueW, key, 2, 8), (Listed{ERROR_NO_MORE_ITEMS, u""}));
  EXPECT_EQ(counts_of(key), (std::array<DWORD, 6>{3, 5, 2, 4, 7, 0}));
  WCHAR name[8];
  DWORD length = 8;
  std::array<BYTE, 8> data{};
  DWORD bytes = 8;
  EXPECT_EQ(RegEnumValueW(key, 0, name, &length, nullptr, nullptr, data.data(), &bytes), ERROR_SUCCESS);
  EXPECT_EQ(length, 0u);
  EXPECT_EQ(bytes, 7u);
}

TEST_F(RegistryTest, ClassesRootShowsTheUsersClassesOverThoseOfTheMachine) {
  const ScopedKey made(HKEY_CLASSES_ROOT, u"Common");
  EXPECT_EQ(open_status(HKEY_LOCAL_MACHINE, u"Software\\Classes\\Common"), ERROR_SUCCESS);
  set_text(made, u"V", u"machine");
  set_text(made, u"Only", u"machine");
  const ScopedKey user(kUser, u"Software\\Classes\\Common");
  set_text(user, u"V", u"user");
  const ScopedKey view(HKEY_CLASSES_ROOT, u"COMMON");
  EXPECT_EQ(view.disposition, REG_OPENED_EXISTING_KEY);
  EXPECT_EQ(text_of(view, u"V"), u"user");
  EXPECT_EQ(text_of(view, u"Only"), u"machine");
  set_text(view, u"New", u"goes to the user");
  EXPECT_EQ(text_of(user, u"New"), u"goes to the user");

  ScopedKey(kUser, u"Software\\Classes\\Common\\FromUser");
  ScopedKey(view, u"FromMachine");
  EXPECT_EQ(open_status(HKEY_LOCAL_MACHINE, u"Software\\Classes\\Common\\FromMachine"), ERROR_SUCCESS);
  EXPECT_EQ(counts_of(view)[0], 2u);
  EXPECT_EQ(counts_of(view)[2], 3u);

  EXPECT_EQ(RegDeleteKeyW(view, u"FromUser"), ERROR_SUCCESS);
  EXPECT_EQ(RegDeleteKeyW(HKEY_CLASSES_ROOT, u"Common"), ERROR_SUCCESS);
  EXPECT_EQ(text_of(view, u"V"), u"machine") << "the key of the machine was hidden, not replaced";
  EXPECT_EQ(RegDeleteTreeW(HKEY_CLASSES_ROOT, u"Common"), ERROR_SUCCESS);
  EXPECT_EQ(open_status(HKEY_LOCAL_MACHINE, u"Software\\Classes\\Common"), ERROR_FILE_NOT_FOUND);
}

}  // namespace

}  // namespace zdr::platform::test
