// The class factory over the template of this program, which is a module as any other.
#include <com_ptr.h>
#include <gtest/gtest.h>
#include <streams.h>

using zdr::com::ComPtr;

namespace {

constexpr CLSID kThing = zdr::com::guid("A0000000-0000-0000-0000-000000000001");

// What the creator is told to do.
HRESULT creator_result = S_OK;
bool creator_gives_object = true;

class Thing final : public CUnknown {
 public:
  Thing(IUnknown* outer, HRESULT* phr) : CUnknown(NAME("Thing"), outer, phr) {}
};

CUnknown* create(IUnknown* outer, HRESULT* phr) {
  *phr = creator_result;
  return creator_gives_object ? new Thing(outer, phr) : nullptr;
}

}  // namespace

constinit CFactoryTemplate g_Templates[] = {{u"Thing", &kThing, &create, nullptr, nullptr}};
constinit int g_cTemplates = 1;

namespace {

ComPtr<IClassFactory> thing_factory() {
  ComPtr<IClassFactory> factory;
  EXPECT_EQ(DllGetClassObject(kThing, IID_IClassFactory, factory.out_void()), S_OK);
  return factory;
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
    ComPtr<IClassFactory> factory = thing_factory();
    void* object = &anything;
    EXPECT_EQ(factory->CreateInstance(c.aggregated ? outer : nullptr, c.iid, &object), c.result) << c.what;
    EXPECT_EQ(object, nullptr) << c.what;
    EXPECT_EQ(CBaseObject::ObjectsActive(), 1) << c.what << ": only the factory is left";
  }
  creator_result = S_OK;
  creator_gives_object = true;
  EXPECT_EQ(thing_factory()->CreateInstance(nullptr, IID_IUnknown, nullptr), E_POINTER);
}

}  // namespace
