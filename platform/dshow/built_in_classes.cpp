// The classes of the platform library itself: it is a module of its own, whose class objects CoGetClassObject
// looks for first.
#include "allocator.h"
#include "class_factory.h"
#include "filter_mapper.h"
#include "platform/com/class_modules.h"
#include "uuids.h"

constinit CFactoryTemplate g_Templates[] = {
    {u"Memory Allocator", &CLSID_MemoryAllocator, &CMemAllocator::CreateInstance, nullptr, nullptr},
    {u"Filter Mapper", &CLSID_FilterMapper2, &CFilterMapper2::CreateInstance, nullptr, nullptr},
};
constinit int g_cTemplates = static_cast<int>(std::size(g_Templates));

HRESULT zdr::com::built_in_class_object(REFCLSID clsid, REFIID riid, void** ppv) noexcept {
  return zdr::dshow::template_class_object(g_Templates, clsid, riid, ppv);
}
