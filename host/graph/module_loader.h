// Finds the filter module and makes its filter, the way any host would: by file name extension and class
// identifier.
#pragma once

#include <dshow.h>

#include <string>

#include "host/messages.h"
#include "platform/com/com_ptr.h"

namespace zdr::host {

// The module that belongs to this program: the one that the environment names in ZDR_MODULE, else
// ZdrMp4Source.so beside the program or in ../lib/zdr. It need not exist.
std::string own_module_path();

// A filter for the file. ZDR_MODULE decides when it is set. Else the registry's "Source Filter" of the file's
// extension is made from the module that is registered for its class; without one, or when that fails, which
// is noted, this program's filter from its own module, or from the registered one where that is missing. Null
// with `hr` set when none can be made.
com::ComPtr<IBaseFilter> create_source_filter(const std::string& file, Messages& messages, HRESULT& hr);

}  // namespace zdr::host
