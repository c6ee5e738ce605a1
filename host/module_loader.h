// Finds the filter module and makes its filter, the way any host would: by class identifier.
#pragma once

#include <dshow.h>

#include "platform/com/com_ptr.h"

namespace zdr::host {

// From the module that the environment names in ZDR_MODULE, else from ZdrMp4Source.so beside the program or
// in ../lib/zdr. Null with `hr` set when it cannot be made.
com::ComPtr<IBaseFilter> create_source_filter(HRESULT& hr);

}  // namespace zdr::host
