// The text of GUIDs, the apartment of each thread, objects by class identifier (built-in classes, and
// registered modules with their loading and unloading), and the filter mapper.
#include <com_ptr.h>
#include <dshow.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "mediakit/files/temp_folder.h"
#include "platform/com/class_modules.h"
#include "platform/com/registry_key.h"
#include "tests/platform/com/test_module.h"
#include "tests/platform/fault_at.h"
#include "tests/support/registry_file.h"

namespace zdr::test {
namespace {

using com::ComPtr;

constexpr GUID kGuid = {0x01234567, 0x89AB, 0xCDEF, {0xFE, 0xDC, 0xBA, 0x98, 0x76, 0x54, 0x32, 0x10}};
constexpr std::u16string_view kText = u"{01234567-89AB-CDEF-FEDC-BA9876543210}";

TEST(GuidText, IsWrittenOnlyIntoABufferThatHoldsAllOfIt) {
  std::u16string buffer(40, u'#');
  EXPECT_EQ(StringFromGUID2(kGuid, buffer.data(), 38), 0);
  EXPECT_EQ(buffer, std::u16string(40, u'#'));
  EXPECT_EQ(StringFromGUID2(kGuid, buffer.data(), 39), 39);
  EXPECT_EQ(buffer, std::u16string(kText) + u'\0' + u'#');
}

TEST(GuidText, IsReadInOneFormOnly) {
  const std::tuple<const char16_t*, HRESULT, GUID> rows[] = {
      {u"{01234567-89ab-CDEF-fedc-ba9876543210}", S_OK, kGuid},
      {nullptr, S_OK, GUID_NULL},
      {u"{01234567-89AB-CDEF-FEDC-BA987654321}", CO_E_CLASSSTRING, GUID_NULL},
      {u"{01234567-89AB-CDEF-FEDC-BA98765432100}", CO_E_CLASSSTRING, GUID_NULL},
      {u"{01234567-89AB-CDEF-FEDC-BA987654321G}", CO_E_CLASSSTRING, GUID_NULL},
      {u"{01234567-89AB-CDEF-FEDC-BA98765432\u0661\u0660}", CO_E_CLASSSTRING, GUID_NULL},
      {u"{01234567089AB-CDEF-FEDC-BA9876543210}", CO_E_CLASSSTRING, GUID_NULL},
  };
  for (const auto& [text, result, expected] : rows) {
    CLSID clsid = kGuid;
    EXPECT_EQ(CLSIDFromString(text, &clsid), result);
    EXPECT_EQ(clsid, expected);
  }
}

TEST(Apartment, FirstInitialisationChoosesTheModelUntilAllAreUndone) {
  std::thread([] {
    CoUninitialize();  // an extra call has no effect
    EXPECT_EQ(CoInitialize(nullptr), S_OK);
    EXPECT_EQ(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED | COINIT_DISABLE_OLE1DDE), S_FALSE);
    EXPECT_EQ(CoInitializeEx(nullptr, COINIT_MULTITHREADED), RPC_E_CHANGED_MODE);
    CoUninitialize();
    EXPECT_EQ(CoInitializeEx(nullptr, COINIT_MULTITHREADED), RPC_E_CHANGED_MODE);
    CoUninitialize();
    EXPECT_EQ(CoInitializeEx(nullptr, COINIT_MULTITHREADED), S_OK);
    CoUninitialize();
  }).join();
}

std::string module_log() {
  const char* text = std::getenv(kModuleLog);
  return text != nullptr ? text : "";
}

template <class Interface>
HRESULT create(REFCLSID clsid, REFIID iid, ComPtr<Interface>& object, IUnknown* outer = nullptr) {
  return CoCreateInstance(clsid, outer, CLSCTX_INPROC_SERVER, iid, object.out_void());
}

class ClassObjects : public testing::Test {
 protected:
  ClassObjects() {
    unsetenv(kModuleLog);
    // The build may belong to another user than the one who runs the tests.
    for (const char* module : {ZDR_TEST_MODULE, ZDR_ENTRYLESS_MODULE}) {
      const std::filesystem::path copy = folder_ / std::filesystem::path(module).filename();
      std::filesystem::copy_file(module, copy);
      std::filesystem::permissions(copy, std::filesystem::perms::owner_all);
    }
    for (const CLSID& clsid : {CLSID_TestAlone, CLSID_TestAggregatable}) register_server(clsid, test_module_);
  }
  ~ClassObjects() override { CoFreeUnusedLibraries(); }

  void register_server(REFCLSID clsid, const std::string& path, DWORD type = REG_SZ,
                       size_t missing_bytes = 0) {
    const std::u16string text = std::filesystem::path(path).u16string();
    com::OpenKey key;
    ASSERT_EQ(key.create(com::class_key(clsid) + u"\\InprocServer32"), ERROR_SUCCESS);
    const size_t bytes = (text.size() + 1) * sizeof(WCHAR);
    ASSERT_EQ(key.set(nullptr, type, text.c_str(), bytes - missing_bytes), ERROR_SUCCESS);
  }

  RegistryFile registry_;
  const TempFolder folder_;
  const std::string test_module_ = folder_ / std::filesystem::path(ZDR_TEST_MODULE).filename();
  const std::string entryless_module_ = folder_ / std::filesystem::path(ZDR_ENTRYLESS_MODULE).filename();
};

TEST_F(ClassObjects, KeptOuterObjectRequestingMoreThanIUnknownGetsNoInterface) {
  ComPtr<IMemAllocator> outer;
  ASSERT_EQ(create(CLSID_MemoryAllocator, IID_IMemAllocator, outer), S_OK);
  ComPtr<IUnknown> inner;
  EXPECT_EQ(create(CLSID_TestAlone, IID_IUnknown, inner, outer.get()), CLASS_E_NOAGGREGATION);
  for (const CLSID& clsid : {CLSID_TestAggregatable, CLSID_MemoryAllocator}) {
    EXPECT_EQ(create(clsid, IID_IMemAllocator, inner, outer.get()), E_NOINTERFACE);
    ASSERT_EQ(create(clsid, IID_IUnknown, inner, outer.get()), S_OK);
  }
  // The inner allocator shows the identity of the outer object.
  ComPtr<IMemAllocator> part;
  ASSERT_EQ(inner->QueryInterface(IID_IMemAllocator, part.out_void()), S_OK);
  ComPtr<IUnknown> identities[2];
  ASSERT_EQ(part->QueryInterface(IID_IUnknown, identities[0].out_void()), S_OK);
  ASSERT_EQ(outer->QueryInterface(IID_IUnknown, identities[1].out_void()), S_OK);
  EXPECT_EQ(identities[0].get(), identities[1].get());
}

TEST_F(ClassObjects, FailuresReturnTheirReasonAndANullPointer) {
  const auto expect_failure = [&](const char* what, REFCLSID clsid, REFIID iid, HRESULT expected,
                                  DWORD context = CLSCTX_ALL) {
    void* object = this;
    EXPECT_EQ(CoCreateInstance(clsid, nullptr, context, iid, &object), expected) << what;
    EXPECT_EQ(object, nullptr) << what;
  };
  // What, path, type of the value, bytes missing at its end, result.
  const std::tuple<const char*, std::string, DWORD, size_t, HRESULT> servers[] = {
      {"no such file", "/nonexistent/module.so", REG_SZ, 0, HRESULT_FROM_WIN32(ERROR_MOD_NOT_FOUND)},
      {"class not in the module", test_module_, REG_SZ, 0, CLASS_E_CLASSNOTAVAILABLE},
      {"text without NUL", test_module_, REG_SZ, sizeof(WCHAR), CLASS_E_CLASSNOTAVAILABLE},
      {"half a character", test_module_, REG_SZ, 1, REGDB_E_INVALIDVALUE},
      {"relative path", test_module_.substr(1), REG_SZ, 0, REGDB_E_INVALIDVALUE},
      {"no path", "", REG_SZ, 0, REGDB_E_INVALIDVALUE},
      {"another type", test_module_, REG_EXPAND_SZ, 0, REGDB_E_INVALIDVALUE},
      {"module without entry", entryless_module_, REG_SZ, 0, CO_E_ERRORINDLL},
  };
  const auto factory_result = [](REFCLSID clsid) {
    ComPtr<IPin> factory;
    return CoGetClassObject(clsid, CLSCTX_ALL, nullptr, IID_IPin, factory.out_void());
  };
  EXPECT_EQ(factory_result(CLSID_MemoryAllocator), E_NOINTERFACE);
  EXPECT_EQ(factory_result(CLSID_TestMissing), REGDB_E_CLASSNOTREG) << "interface not in built-in factories";
  expect_failure("not registered", CLSID_TestMissing, IID_IUnknown, REGDB_E_CLASSNOTREG);
  for (const auto& [what, path, type, missing_bytes, expected] : servers) {
    register_server(CLSID_TestMissing, path, type, missing_bytes);
    expect_failure(what, CLSID_TestMissing, IID_IUnknown, expected);
  }
  EXPECT_EQ(factory_result(CLSID_TestMissing), CO_E_ERRORINDLL) << "its module is asked";
  expect_failure("interface not in the class", CLSID_TestAlone, IID_IPin, E_NOINTERFACE);
  expect_failure("interface not in a built-in class", CLSID_MemoryAllocator, IID_IPin, E_NOINTERFACE);
  expect_failure("no servers outside of the process", CLSID_MemoryAllocator, IID_IUnknown,
                 REGDB_E_CLASSNOTREG, CLSCTX_LOCAL_SERVER);
  const FaultAt fault(platform::FaultPoint::kHeapAllocation, 1);
  expect_failure("no memory", CLSID_MemoryAllocator, IID_IUnknown, E_OUTOFMEMORY);
}

TEST(FilterMapper, StoresFlagsAndTypesOfPinsAndRefusesTheRest) {
  const RegistryFile registry;
  ComPtr<IFilterMapper2> mapper;
  ASSERT_EQ(create(CLSID_FilterMapper2, IID_IFilterMapper2, mapper), S_OK);
  const GUID& id = CLSID_FilterMapper2;
  const REGPINTYPES type{&kGuid, nullptr};
  const REGFILTERPINS pin{nullptr, FALSE, FALSE, TRUE, TRUE, nullptr, nullptr, 1, &type};
  const REGFILTER2 record{1, 0x600000, 1, &pin};
  IMoniker* moniker = nullptr;
  EXPECT_EQ(mapper->RegisterFilter(id, u"name", &moniker, nullptr, nullptr, &record), E_NOTIMPL);
  EXPECT_EQ(mapper->RegisterFilter(id, u"name", nullptr, &id, nullptr, &record), E_NOTIMPL);
  EXPECT_EQ(mapper->RegisterFilter(id, u"name", nullptr, nullptr, u"instance", &record), E_NOTIMPL);
  EXPECT_EQ(mapper->RegisterFilter(id, u"name", nullptr, nullptr, nullptr, &record), S_OK);
  // Header, pin "0pi3", type "0ty3", and the two GUIDs at offset 56.
  constexpr DWORD kStored[] = {2,          0x600000,   1,          0, 0x33697030, 5,  0,          1,
                               0,          0,          0x33797430, 0, 56,         72, 0x01234567, 0xCDEF89AB,
                               0x98BADCFE, 0x10325476, 0,          0, 0,          0};
  std::vector<BYTE> stored(sizeof kStored);
  std::memcpy(stored.data(), kStored, sizeof kStored);
  EXPECT_EQ(
      registry.data(com::class_key(CLSID_LegacyAmFilterCategory) + u"\\Instance\\" + com::braced_text(id),
                    u"FilterData"),
      stored);
}

// A link to the module is as good as its target.
TEST_F(ClassObjects, ModulesThatOthersCanChangeAreNotLoaded) {
  const TempFolder links;
  const std::string link = links / "link.so";
  std::filesystem::create_symlink(test_module_, link);
  register_server(CLSID_TestAlone, link);
  const std::string module = std::filesystem::canonical(test_module_);
  const std::string folder = std::filesystem::path(module).parent_path();
  const std::string registry = std::filesystem::canonical(registry_.path()).parent_path();
  const bool is_root = geteuid() == 0;
  const uid_t other = is_root ? 65534 : geteuid();
  const std::tuple<std::string, mode_t, uid_t, std::string> kPlaces[] = {
      {module, 0666, geteuid(), "it can be written by other users"},
      {folder, 0702, geteuid(), "its folder " + folder + " can be written by other users"},
      {folder, 01777, geteuid(), "its folder " + folder + " can be written by other users"},
      {registry, 0702, geteuid(), "the registry's folder " + registry + " can be written by other users"},
      {links.path(), 0777, geteuid(), ""},
      {module, 0755, other, is_root ? "it belongs to another user" : ""},
      {folder, 0755, other, is_root ? "its folder " + folder + " belongs to another user" : ""}};
  for (const auto& [place, mode, owner, reason] : kPlaces) {
    struct stat before;
    ASSERT_EQ(
        stat(place.c_str(), &before) | chmod(place.c_str(), mode) | chown(place.c_str(), owner, gid_t(-1)),
        0);
    ComPtr<IUnknown> object;
    EXPECT_EQ(create(CLSID_TestAlone, IID_IUnknown, object), reason.empty() ? S_OK : E_ACCESSDENIED)
        << reason;
    EXPECT_EQ(com::registered_module_refusal(CLSID_TestAlone),
              reason.empty() ? "" : module + " is not loaded: " + reason);
    ASSERT_EQ(chown(place.c_str(), before.st_uid, gid_t(-1)) | chmod(place.c_str(), before.st_mode), 0);
  }
}

TEST_F(ClassObjects, ModuleStaysLoadedWhileItIsInUse) {
  const auto get_factory = [](ComPtr<IClassFactory>& factory) {
    return CoGetClassObject(CLSID_TestAlone, CLSCTX_ALL, nullptr, IID_IClassFactory, factory.out_void());
  };
  ComPtr<IClassFactory> factory;
  ASSERT_EQ(get_factory(factory), S_OK);
  CoFreeUnusedLibraries();
  EXPECT_EQ(module_log(), "AI") << "unloaded under a living factory";

  ComPtr<ITestModule> object;
  ASSERT_EQ(factory->CreateInstance(nullptr, IID_ITestModule, object.out_void()), S_OK);
  EXPECT_EQ(object->CountBesideAllocator(), 2) << "the factory and the object, not those of the platform";
  ASSERT_EQ(factory->LockServer(TRUE), S_OK);
  object.reset();
  factory.reset();
  CoFreeUnusedLibraries();
  EXPECT_EQ(module_log(), "AI") << "unloaded although locked";

  ASSERT_EQ(get_factory(factory), S_OK);
  ASSERT_EQ(factory->LockServer(FALSE), S_OK);
  factory.reset();
  CoFreeUnusedLibraries();
  EXPECT_EQ(module_log(), "AIiD");

  ASSERT_EQ(create(CLSID_TestAlone, IID_ITestModule, object), S_OK);
  EXPECT_EQ(module_log(), "AIiDAI");
  object.reset();
  CoFreeUnusedLibraries();
  EXPECT_EQ(module_log(), "AIiDAIiD") << "no factory is left over";
}

TEST_F(ClassObjects, ConcurrentCreationsLoadTheModuleOnce) {
  constexpr int kRounds = 100;
  std::vector<std::thread> threads;
  std::atomic<int> made{0};
  for (int t = 0; t < 3; ++t) {
    threads.emplace_back([&made] {
      for (int i = 0; i < kRounds; ++i) {
        ComPtr<ITestModule> object;
        if (create(CLSID_TestAlone, IID_ITestModule, object) == S_OK) ++made;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(made, 3 * kRounds);
  EXPECT_EQ(module_log(), "AI");
}

}  // namespace
}  // namespace zdr::test
