// The filter's registry entry: its class, its name, and one kind of pin that carries audio or video.
#include "filters/source/mp4/filter/filter_setup.h"

#include <iterator>

#include "filters/source/mp4/interfaces/zdr_guids.h"

namespace zdr::mp4source {
namespace {

constexpr AMOVIESETUP_MEDIATYPE kPinTypes[] = {
    {&MEDIATYPE_Audio, &MEDIASUBTYPE_NULL},
    {&MEDIATYPE_Video, &MEDIASUBTYPE_NULL},
};

// Not const, because the record's member points to writable text.
constinit WCHAR g_pin_name[] = u"Output";

constinit const AMOVIESETUP_PIN kPinSetup = {
    .strName = g_pin_name,
    .bRendered = FALSE,
    .bOutput = TRUE,
    .bZero = FALSE,
    .bMany = TRUE,
    .clsConnectsToFilter = &GUID_NULL,
    .strConnectsToPin = nullptr,
    .nMediaTypes = static_cast<UINT>(std::size(kPinTypes)),
    .lpMediaType = kPinTypes,
};

}  // namespace

constinit const AMOVIESETUP_FILTER kFilterSetup = {
    .clsID = &kClsidSourceFilter,
    .strName = kFilterName,
    .dwMerit = MERIT_UNLIKELY,
    .nPins = 1,
    .lpPin = &kPinSetup,
};

}  // namespace zdr::mp4source
