// Finds the filter module and creates its filter as any host does: by file name extension and class
// identifier.
#pragma once

#include <dshow.h>

#include <string>

#include "host/messages.h"
#include "platform/com/com_ptr.h"
#include "platform/win32/registry_file.h"

namespace zdr::host {

// The message about a registry that cannot be read; its file is the registry's.
Message unreadable_registry(const platform::RegistryReport& report);

// The path of this program's module: the one that the environment variable ZDR_MODULE names, else
// ZdrMp4Source.so next to the program, else in kModuleFolder. The file need not exist.
std::string own_module_path();

// The message about this module, which failed with `hr` for the file.
Message module_failure(const std::string& file, HRESULT hr);

// Creates a filter for the file, from the first of these:
// 1. the module that ZDR_MODULE names, if it is set; a failure is final,
// 2. the module registered for the "Source Filter" of the file's extension; a failure is reported as a note,
// 3. the module of this program, or, if that file is missing, the module registered for its class.
// Returns null, with `hr` set, if that fails.
com::ComPtr<IBaseFilter> create_source_filter(const std::string& file, Messages& messages, HRESULT& hr);

}  // namespace zdr::host
