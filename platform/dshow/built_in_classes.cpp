// The classes that the platform library itself serves. CoGetClassObject looks here before it searches the
// registry.
#include <algorithm>
#include <iterator>

#include "allocator.h"
#include "class_factory.h"
#include "filter_mapper.h"
#include "platform/com/built_in_classes.h"
#include "uuids.h"

namespace {

constexpr CFactoryTemplate kTemplates[] = {
    {u"Memory Allocator", &CLSID_MemoryAllocator, &CMemAllocator::CreateInstance, nullptr, nullptr},
    {u"Filter Mapper", &CLSID_FilterMapper2, &CFilterMapper2::CreateInstance, nullptr, nullptr},
};

}  // namespace

// Looks up the class first: for another class, its module decides which interfaces the factory has.
HRESULT zdr::com::built_in_class_object(REFCLSID clsid, REFIID riid, void** ppv) noexcept {
  const bool is_built_in =
      std::ranges::any_of(kTemplates, [&](const CFactoryTemplate& known) { return known.IsClassID(clsid); });
  if (!is_built_in) return CLASS_E_CLASSNOTAVAILABLE;
  return zdr::dshow::template_class_object(kTemplates, std::size(kTemplates), clsid, riid, ppv);
}
