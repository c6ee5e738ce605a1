// The module: its one class, and the console of its libraries.
#include <streams.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <iterator>

#include "aacdec/zd_aac_dec.h"
#include "filters/source/mp4/filter/filter_setup.h"
#include "filters/source/mp4/filter/mp4_source.h"
#include "filters/source/mp4/interfaces/zdr_guids.h"
#include "id3p/id3p.h"

namespace zdr::mp4source {
namespace {

// Kept: messages of the libraries, short lines of ASCII, go to the debugger. The console belongs to the
// program that loads the module, which may need it for its own output.
void write_to_debugger(const char* text) noexcept {
  std::array<WCHAR, 128> wide{};
  std::copy_n(text, std::min(std::strlen(text), wide.size() - 1), wide.begin());
  OutputDebugStringW(wide.data());
}

}  // namespace
}  // namespace zdr::mp4source

// The base classes read this table while the module is being loaded.
constinit CFactoryTemplate g_Templates[] = {
    {zdr::mp4source::kFilterName, &zdr::mp4source::kClsidSourceFilter,
     zdr::mp4source::CZanMP4SourceFilter::CreateInstance, nullptr, &zdr::mp4source::kFilterSetup},
};
constinit int g_cTemplates = static_cast<int>(std::size(g_Templates));

extern "C" BOOL DllMain(HINSTANCE instance, ULONG reason, void* reserved) {
  if (reason == DLL_PROCESS_ATTACH) {
    Zd_AAC_Dec_SetConsole(&zdr::mp4source::write_to_debugger);
    ID3P_SetConsole(&zdr::mp4source::write_to_debugger);
  }
  return DllEntryPoint(instance, reason, reserved);
}
