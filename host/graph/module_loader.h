// Finds the filter module and creates its filter as any host does: by file name extension and class
// identifier.
#pragma once

#include <dshow.h>

#include <string>

#include "host/messages.h"
#include "platform/com/com_ptr.h"

namespace zdr::host {

// The module of this program: the one that ZDR_MODULE names in the environment, else ZdrMp4Source.so beside
// the program or in ../lib/zdr. It need not exist.
std::string own_module_path();

// Creates a filter for the file, from the first of these:
// 1. the module that ZDR_MODULE names, if it is set; a failure is final,
// 2. the module that is registered for the "Source Filter" of the file's extension; a failure is noted,
// 3. the module of this program, or, if that file is missing, the module registered for its class.
// Null with `hr` set if that fails.
com::ComPtr<IBaseFilter> create_source_filter(const std::string& file, Messages& messages, HRESULT& hr);

}  // namespace zdr::host
