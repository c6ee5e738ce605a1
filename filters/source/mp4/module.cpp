// The module: its one class, and how the registry knows it.
#include <streams.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <iterator>

#include "aacdec/zd_aac_dec.h"
#include "filters/source/mp4/filter/mp4_source.h"
#include "filters/source/mp4/interfaces/zdr_guids.h"
#include "id3p/id3p.h"

namespace zdr::mp4source {
namespace {

constexpr AMOVIESETUP_MEDIATYPE kPinTypes[] = {
    {&MEDIATYPE_Audio, &MEDIASUBTYPE_NULL},
    {&MEDIATYPE_Video, &MEDIASUBTYPE_NULL},
};

// The record's member is a pointer to writable text for no reason that anybody remembers.
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

namespace {

// What a library says about a stream: a short line of plain ASCII.
void tell_debugger(const char* text) noexcept {
  std::array<WCHAR, 128> wide{};
  std::copy_n(text, std::min(std::strlen(text), wide.size() - 1), wide.begin());
  OutputDebugStringW(wide.data());
}

}  // namespace
}  // namespace zdr::mp4source

// Read by the base classes while the module is being loaded.
constinit CFactoryTemplate g_Templates[] = {
    {zdr::mp4source::kFilterName, &zdr::mp4source::kClsidSourceFilter,
     zdr::mp4source::CZanMP4SourceFilter::CreateInstance, nullptr, &zdr::mp4source::kFilterSetup},
};
constinit int g_cTemplates = static_cast<int>(std::size(g_Templates));

extern "C" BOOL DllMain(HINSTANCE instance, ULONG reason, void* reserved) {
  if (reason == DLL_PROCESS_ATTACH) {
    // The console is that of whoever loads the module; it has other uses for its lines.
    Zd_AAC_Dec_SetConsole(&zdr::mp4source::tell_debugger);
    ID3P_SetConsole(&zdr::mp4source::tell_debugger);
  }
  return DllEntryPoint(instance, reason, reserved);
}
