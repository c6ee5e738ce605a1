// The class factory over the template of this program, which is a module like any other.
#include <com_ptr.h>
#include <gtest/gtest.h>
#include <streams.h>

namespace zdr::test {
namespace {

using com::ComPtr;

constexpr CLSID kPart = com::guid("A0000000-0000-0000-0000-000000000001");

// What the creator of the class returns and does.
HRESULT creator_result = S_OK;
bool creator_returns_object = true;

int destroyed = 0;

class Part final : public CUnknown {
 public:
  explicit Part(IUnknown* outer) : CUnknown(NAME("Part"), outer) {}
  ~Part() override {
    ++destroyed;
    if (m_cRef == 0) return;  // deleted by the class factory
    // Within the last Release, a callback may take and drop references.
    NonDelegatingAddRef();
    NonDelegatingRelease();
  }
};

CUnknown* create_part(IUnknown* outer, HRESULT* phr) {
  *phr = creator_result;
  return creator_returns_object ? new Part(outer) : nullptr;
}

TEST(ClassFactory, KeptOuterObjectRequestingMoreThanIUnknownGetsNoInterface) {
  destroyed = 0;
  int anything = 0;
  auto* const outer = reinterpret_cast<IUnknown*>(&anything);  // never called, only compared with NULL
  const struct {
    const char* what;
    bool aggregated;
    IID iid;
    bool returns_object;
    HRESULT creator;
    HRESULT result;
    int destroyed;
  } cases[] = {
      {"outer without IUnknown", true, IID_IPin, true, S_OK, E_NOINTERFACE, 0},
      {"no object", false, IID_IUnknown, false, S_OK, E_OUTOFMEMORY, 0},
      {"no object and a reason", false, IID_IUnknown, false, E_ACCESSDENIED, E_ACCESSDENIED, 0},
      {"object and a failure", false, IID_IUnknown, true, E_ACCESSDENIED, E_ACCESSDENIED, 1},
      {"interface is missing", false, IID_IPin, true, S_OK, E_NOINTERFACE, 1},
  };
  for (const auto& c : cases) {
    creator_result = c.creator;
    creator_returns_object = c.returns_object;
    destroyed = 0;
    ComPtr<IClassFactory> factory;
    EXPECT_EQ(DllGetClassObject(kPart, IID_IClassFactory, factory.out_void()), S_OK);
    void* object = &anything;
    EXPECT_EQ(factory->CreateInstance(c.aggregated ? outer : nullptr, c.iid, &object), c.result) << c.what;
    EXPECT_EQ(object, nullptr) << c.what;
    EXPECT_EQ(destroyed, c.destroyed) << c.what;
    EXPECT_EQ(CBaseObject::ObjectsActive(), 1) << c.what << ": only the factory is left";
  }
  void* factory = &anything;
  EXPECT_EQ(DllGetClassObject(kPart, IID_IPin, &factory), E_NOINTERFACE);
  EXPECT_EQ(factory, nullptr);
}

}  // namespace
}  // namespace zdr::test

constinit CFactoryTemplate g_Templates[] = {
    {u"Part", &zdr::test::kPart, &zdr::test::create_part, nullptr, nullptr}};
constinit int g_cTemplates = 1;
