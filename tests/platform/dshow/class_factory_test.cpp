// The class factory and the entry points over the templates of this program, which is a module as any other.
#include <com_ptr.h>
#include <gtest/gtest.h>
#include <streams.h>

#include <iterator>
#include <string>

#include "tests/platform/fault_at.h"

using zdr::com::ComPtr;

namespace {

constexpr CLSID kFirst = zdr::com::guid("A0000000-0000-0000-0000-000000000001");
constexpr CLSID kSecond = zdr::com::guid("A0000000-0000-0000-0000-000000000002");
constexpr CLSID kUnknown = zdr::com::guid("A0000000-0000-0000-0000-0000000000FF");

// The order of the init routines, and what the creators are told to do.
constinit char init_order[8] = "";
constinit int init_count = 0;
HRESULT creator_result = S_OK;
bool creator_gives_object = true;
int created_by = 0;

class Thing final : public CUnknown {
 public:
  Thing(IUnknown* outer, HRESULT* phr) : CUnknown(NAME("Thing"), outer, phr) {}
};

template <int kNumber>
CUnknown* create(IUnknown* outer, HRESULT* phr) {
  created_by = kNumber;
  *phr = creator_result;
  return creator_gives_object ? new Thing(outer, phr) : nullptr;
}

template <char kLetter>
void init(BOOL loading, const CLSID* clsid) {
  const bool own = *clsid == (kLetter == '1' ? kFirst : kSecond);
  if (init_count < 7) init_order[init_count++] = loading && own ? kLetter : '?';
}

}  // namespace

constinit CFactoryTemplate g_Templates[] = {
    {u"First", &kFirst, &create<1>, &init<'1'>, nullptr},
    {u"No routine", &kUnknown, &create<0>, nullptr, nullptr},
    {u"Second", &kSecond, &create<2>, &init<'2'>, nullptr},
    {u"Second again", &kSecond, &create<3>, nullptr, nullptr},
};
constinit int g_cTemplates = static_cast<int>(std::size(g_Templates));

namespace {

ComPtr<IClassFactory> factory_of(REFCLSID clsid) {
  ComPtr<IClassFactory> factory;
  EXPECT_EQ(DllGetClassObject(clsid, IID_IClassFactory, factory.out_void()), S_OK);
  return factory;
}

TEST(ModuleEntry, InitRoutinesRanInOrderWhenTheModuleWasLoaded) {
  EXPECT_STREQ(init_order, "12");
}

TEST(ModuleEntry, GivesFactoriesOfItsClassesOnly) {
  struct Case {
    CLSID clsid;
    IID iid;
    HRESULT result;
  };
  const Case cases[] = {
      {kFirst, IID_IClassFactory, S_OK},
      {kFirst, IID_IUnknown, S_OK},
      {kFirst, IID_IPin, E_NOINTERFACE},
      {CLSID_MemoryAllocator, IID_IPin, E_NOINTERFACE},
      {CLSID_MemoryAllocator, IID_IClassFactory, CLASS_E_CLASSNOTAVAILABLE},
  };
  for (const Case& c : cases) {
    ComPtr<IUnknown> object;
    EXPECT_EQ(DllGetClassObject(c.clsid, c.iid, object.out_void()), c.result);
    EXPECT_EQ(static_cast<bool>(object), SUCCEEDED(c.result));
  }
  const FaultAt fault(zdr::platform::FaultPoint::kHeapAllocation, 1);
  void* object = nullptr;
  EXPECT_EQ(DllGetClassObject(kFirst, IID_IClassFactory, &object), E_OUTOFMEMORY);
}

TEST(ModuleEntry, IsBusyWhileAnObjectOrALockExists) {
  EXPECT_EQ(DllCanUnloadNow(), S_OK);
  ComPtr<IClassFactory> factory = factory_of(kFirst);
  EXPECT_EQ(DllCanUnloadNow(), S_FALSE);
  EXPECT_EQ(factory->LockServer(TRUE), S_OK);
  EXPECT_EQ(factory->LockServer(TRUE), S_OK);
  EXPECT_EQ(factory->LockServer(FALSE), S_OK);
  factory.reset();
  EXPECT_EQ(DllCanUnloadNow(), S_FALSE);
  factory = factory_of(kSecond);
  EXPECT_EQ(factory->LockServer(FALSE), S_OK);
  ComPtr<IUnknown> object;
  EXPECT_EQ(factory->CreateInstance(nullptr, IID_IUnknown, object.out_void()), S_OK);
  factory.reset();
  EXPECT_EQ(DllCanUnloadNow(), S_FALSE);
  object.reset();
  EXPECT_EQ(DllCanUnloadNow(), S_OK);
}

TEST(ClassFactory, FirstTemplateOfAClassMakesTheObject) {
  for (const auto& [clsid, number] : {std::pair{kFirst, 1}, std::pair{kSecond, 2}}) {
    ComPtr<IUnknown> object;
    EXPECT_EQ(factory_of(clsid)->CreateInstance(nullptr, IID_IUnknown, object.out_void()), S_OK);
    EXPECT_EQ(created_by, number);
  }
}

TEST(ClassFactory, EveryFailureDestroysWhatWasMadeAsRequired) {
  int anything = 0;
  auto* const outer = reinterpret_cast<IUnknown*>(&anything);  // never called: only told from NULL
  struct Case {
    const char* what;
    bool aggregated;
    IID iid;
    bool gives_object;
    HRESULT creator;
    HRESULT result;
  };
  const Case cases[] = {
      {"outer without IUnknown", true, IID_IPin, true, S_OK, E_NOINTERFACE},
      {"no object", false, IID_IUnknown, false, S_OK, E_OUTOFMEMORY},
      {"no object and a reason", false, IID_IUnknown, false, E_ACCESSDENIED, E_ACCESSDENIED},
      {"class refuses to be aggregated", true, IID_IUnknown, false, CLASS_E_NOAGGREGATION,
       CLASS_E_NOAGGREGATION},
      {"object and a failure", false, IID_IUnknown, true, E_ACCESSDENIED, E_ACCESSDENIED},
      {"interface is missing", false, IID_IPin, true, S_OK, E_NOINTERFACE},
  };
  for (const Case& c : cases) {
    creator_result = c.creator;
    creator_gives_object = c.gives_object;
    ComPtr<IClassFactory> factory = factory_of(kFirst);
    void* object = &anything;
    EXPECT_EQ(factory->CreateInstance(c.aggregated ? outer : nullptr, c.iid, &object), c.result) << c.what;
    EXPECT_EQ(object, nullptr) << c.what;
    EXPECT_EQ(CBaseObject::ObjectsActive(), 1) << c.what << ": only the factory is left";
  }
  creator_result = S_OK;
  creator_gives_object = true;
  EXPECT_EQ(factory_of(kFirst)->CreateInstance(nullptr, IID_IUnknown, nullptr), E_POINTER);
}

}  // namespace
