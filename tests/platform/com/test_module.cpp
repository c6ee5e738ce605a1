// A module like any filter module: templates, an init routine, DllMain.
#include "tests/platform/com/test_module.h"

#include <com_ptr.h>
#include <streams.h>

#include <cstdlib>
#include <iterator>
#include <string>

using namespace zdr::test;

namespace {

void note(char event) {
  const char* before = std::getenv(kModuleLog);
  const std::string module_log = (before != nullptr ? before : "") + std::string(1, event);
  setenv(kModuleLog, module_log.c_str(), 1);
}

class TestObject final : public CUnknown, public ITestModule {
 public:
  explicit TestObject(IUnknown* outer) : CUnknown(NAME("TestObject"), outer) {}
  ~TestObject() override {
    // Within the last Release, a callback may take and drop references.
    NonDelegatingAddRef();
    NonDelegatingRelease();
  }

  DECLARE_IUNKNOWN
  HRESULT NonDelegatingQueryInterface(REFIID riid, void** ppv) override {
    if (riid == IID_ITestModule) return GetInterface(static_cast<ITestModule*>(this), ppv);
    return CUnknown::NonDelegatingQueryInterface(riid, ppv);
  }

  LONG CountBesideAllocator() override {
    zdr::com::ComPtr<IUnknown> allocator;
    const HRESULT hr = CoCreateInstance(CLSID_MemoryAllocator, nullptr, CLSCTX_INPROC_SERVER,
                                        IID_IMemAllocator, allocator.out_void());
    return SUCCEEDED(hr) ? ObjectsActive() : -1;
  }
};

CUnknown* create_alone(IUnknown* outer, HRESULT* phr) {
  if (outer != nullptr) {
    *phr = CLASS_E_NOAGGREGATION;
    return nullptr;
  }
  return new TestObject(outer);
}

CUnknown* create_aggregatable(IUnknown* outer, HRESULT* /*phr*/) {
  return new TestObject(outer);
}

void init_alone(BOOL loading, const CLSID* clsid) {
  if (*clsid == CLSID_TestAlone) note(loading ? 'I' : 'i');
}

}  // namespace

constinit CFactoryTemplate g_Templates[] = {
    {u"Alone", &CLSID_TestAlone, &create_alone, &init_alone, nullptr},
    {u"Aggregatable", &CLSID_TestAggregatable, &create_aggregatable, nullptr, nullptr},
};
constinit int g_cTemplates = static_cast<int>(std::size(g_Templates));

BOOL DllMain(HINSTANCE instance, ULONG reason, void* reserved) {
  if (reason == DLL_PROCESS_ATTACH) note('A');
  const BOOL result = DllEntryPoint(instance, reason, reserved);
  if (reason == DLL_PROCESS_DETACH) note('D');
  return result;
}
