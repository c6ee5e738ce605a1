// Creation by class identifier: built-in classes, modules by the resolver's path, their loading and
// unloading.
#include <com_ptr.h>
#include <dshow.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "platform/com/class_modules.h"
#include "tests/platform/com/test_module.h"
#include "tests/platform/fault_at.h"

using zdr::com::ComPtr;

namespace {

const std::string kTestModule = ZDR_TEST_MODULE;
const std::string kEntrylessModule = ZDR_ENTRYLESS_MODULE;
constexpr HRESULT kModuleNotFound = HRESULT_FROM_WIN32(ERROR_MOD_NOT_FOUND);

// What the resolver below says; strings of static life only.
std::string resolved_path;
HRESULT resolved_result = S_OK;
std::atomic<int> resolver_calls{0};

HRESULT resolve(REFCLSID, std::string& path) {
  ++resolver_calls;
  path = resolved_path;
  return resolved_result;
}

std::string diary() {
  const char* text = std::getenv(kModuleDiary);
  return text != nullptr ? text : "";
}

class ClassObjects : public testing::Test {
 protected:
  void SetUp() override {
    resolved_path = kTestModule;
    resolved_result = S_OK;
    resolver_calls = 0;
    zdr::com::set_class_path_resolver(&resolve);
    unsetenv(kModuleDiary);
  }
  void TearDown() override {
    CoFreeUnusedLibraries();
    zdr::com::set_class_path_resolver(nullptr);
  }

  template <class Interface>
  HRESULT create(REFCLSID clsid, REFIID iid, ComPtr<Interface>& object, IUnknown* outer = nullptr) {
    return CoCreateInstance(clsid, outer, CLSCTX_INPROC_SERVER, iid, object.out_void());
  }
};

TEST_F(ClassObjects, BuiltInClassesAskNoResolver) {
  ComPtr<IMemAllocator> allocator;
  EXPECT_EQ(create(CLSID_MemoryAllocator, IID_IMemAllocator, allocator), S_OK);
  ComPtr<IUnknown> other;
  EXPECT_EQ(create(CLSID_MemoryAllocator, IID_IPin, other), E_NOINTERFACE);
  EXPECT_EQ(resolver_calls, 0);
}

TEST_F(ClassObjects, AggregationIsTheClassesOwnChoice) {
  ComPtr<IMemAllocator> outer;
  ASSERT_EQ(create(CLSID_MemoryAllocator, IID_IMemAllocator, outer), S_OK);
  ComPtr<IUnknown> inner;
  EXPECT_EQ(create(CLSID_TestAlone, IID_IUnknown, inner, outer.get()), CLASS_E_NOAGGREGATION);
  for (const CLSID& clsid : {CLSID_TestAggregatable, CLSID_MemoryAllocator}) {
    EXPECT_EQ(create(clsid, IID_IMemAllocator, inner, outer.get()), E_NOINTERFACE);
    ASSERT_EQ(create(clsid, IID_IUnknown, inner, outer.get()), S_OK);
  }
  // The identity that the inner allocator shows outside is the outer object's.
  ComPtr<IMemAllocator> part;
  ASSERT_EQ(inner->QueryInterface(IID_IMemAllocator, part.out_void()), S_OK);
  ComPtr<IUnknown> identity;
  ASSERT_EQ(part->QueryInterface(IID_IUnknown, identity.out_void()), S_OK);
  ComPtr<IUnknown> outer_identity;
  ASSERT_EQ(outer->QueryInterface(IID_IUnknown, outer_identity.out_void()), S_OK);
  EXPECT_EQ(identity.get(), outer_identity.get());
}

TEST_F(ClassObjects, FailuresTellTheirReasonAndLeaveNoPointer) {
  struct Case {
    const char* what;
    CLSID clsid;
    IID iid;
    std::string path;
    HRESULT resolver_result;
    HRESULT expected;
  };
  const Case cases[] = {
      {"unknown class", CLSID_TestAlone, IID_IUnknown, "", REGDB_E_CLASSNOTREG, REGDB_E_CLASSNOTREG},
      {"resolver fails otherwise", CLSID_TestAlone, IID_IUnknown, "", E_ACCESSDENIED, E_ACCESSDENIED},
      {"no such file", CLSID_TestAlone, IID_IUnknown, "/nonexistent/module.so", S_OK, kModuleNotFound},
      {"no path", CLSID_TestAlone, IID_IUnknown, "", S_OK, kModuleNotFound},
      {"not a module", CLSID_TestAlone, IID_IUnknown, "/etc/passwd", S_OK, kModuleNotFound},
      {"module without entry", CLSID_TestAlone, IID_IUnknown, kEntrylessModule, S_OK, CO_E_ERRORINDLL},
      {"class not in the module", CLSID_TestMissing, IID_IUnknown, kTestModule, S_OK,
       CLASS_E_CLASSNOTAVAILABLE},
      {"interface not in the class", CLSID_TestAlone, IID_IPin, kTestModule, S_OK, E_NOINTERFACE},
      {"creator fails", CLSID_TestFailing, IID_IUnknown, kTestModule, S_OK, E_ACCESSDENIED},
  };
  for (const Case& c : cases) {
    resolved_path = c.path;
    resolved_result = c.resolver_result;
    void* object = this;
    EXPECT_EQ(CoCreateInstance(c.clsid, nullptr, CLSCTX_INPROC_SERVER, c.iid, &object), c.expected) << c.what;
    EXPECT_EQ(object, nullptr) << c.what;
  }
  void* object = this;
  EXPECT_EQ(CoCreateInstance(CLSID_MemoryAllocator, nullptr, CLSCTX_LOCAL_SERVER, IID_IUnknown, &object),
            REGDB_E_CLASSNOTREG);
  EXPECT_EQ(object, nullptr) << "only servers in the process exist";
  const FaultAt fault(zdr::platform::FaultPoint::kHeapAllocation, 1);
  object = this;
  EXPECT_EQ(CoCreateInstance(CLSID_MemoryAllocator, nullptr, CLSCTX_ALL, IID_IUnknown, &object),
            E_OUTOFMEMORY);
  EXPECT_EQ(object, nullptr);
}

TEST_F(ClassObjects, ModuleKnowsItsPathAndCountsItsOwnObjectsOnly) {
  ComPtr<ITestModule> object;
  ASSERT_EQ(create(CLSID_TestAlone, IID_ITestModule, object), S_OK);
  WCHAR path[MAX_PATH] = {};
  ASSERT_EQ(object->GetModulePath(path, MAX_PATH), S_OK);
  EXPECT_EQ(std::u16string(path), std::u16string(kTestModule.begin(), kTestModule.end()));
  LONG before = 0;
  LONG after = 0;
  ASSERT_EQ(object->CountAroundAllocator(&before, &after), S_OK);
  EXPECT_EQ(before, 1);
  EXPECT_EQ(after, 1);
}

TEST_F(ClassObjects, ModuleStaysWhileAnythingOfItLives) {
  ComPtr<IClassFactory> factory;
  ASSERT_EQ(CoGetClassObject(CLSID_TestAlone, CLSCTX_ALL, nullptr, IID_IClassFactory, factory.out_void()),
            S_OK);
  EXPECT_EQ(diary(), "AI");
  CoFreeUnusedLibraries();
  EXPECT_EQ(diary(), "AI") << "unloaded under a living factory";

  ComPtr<ITestModule> object;
  ASSERT_EQ(factory->CreateInstance(nullptr, IID_ITestModule, object.out_void()), S_OK);
  ASSERT_EQ(factory->LockServer(TRUE), S_OK);
  object.reset();
  factory.reset();
  CoFreeUnusedLibraries();
  EXPECT_EQ(diary(), "AI") << "unloaded although locked";

  ASSERT_EQ(CoGetClassObject(CLSID_TestAlone, CLSCTX_ALL, nullptr, IID_IClassFactory, factory.out_void()),
            S_OK);
  ASSERT_EQ(factory->LockServer(FALSE), S_OK);
  factory.reset();
  CoFreeUnusedLibraries();
  EXPECT_EQ(diary(), "AIiD");

  ASSERT_EQ(create(CLSID_TestAlone, IID_ITestModule, object), S_OK);
  EXPECT_EQ(diary(), "AIiDAI");
}

TEST_F(ClassObjects, ModuleCanBeNamedDirectly) {
  EXPECT_EQ(zdr::com::call_module_entry(kTestModule, "DllRegisterServer"), SELFREG_E_CLASS);
  EXPECT_EQ(zdr::com::call_module_entry(kTestModule, "DllNoSuchEntry"), CO_E_ERRORINDLL);
  EXPECT_EQ(zdr::com::call_module_entry("/nonexistent/module.so", "DllRegisterServer"), kModuleNotFound);
  EXPECT_EQ(resolver_calls, 0);
}

TEST_F(ClassObjects, ThreadsThatMeetLoadTheModuleOnce) {
  constexpr int kRounds = 100;
  std::vector<std::thread> threads;
  std::atomic<int> made{0};
  for (int t = 0; t < 3; ++t) {
    threads.emplace_back([this, &made] {
      for (int i = 0; i < kRounds; ++i) {
        ComPtr<ITestModule> object;
        if (create(CLSID_TestAlone, IID_ITestModule, object) == S_OK) ++made;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(made, 3 * kRounds);
  EXPECT_EQ(diary(), "AI");
}

}  // namespace
