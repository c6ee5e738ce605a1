// Explains why an AAC file did not load.
#pragma once

#include <cstdint>
#include <string>

#include "host/messages.h"

namespace zdr::host {

// `load_result` is the HRESULT of IFileSourceFilter::Load.
Diagnosis diagnose_aac_file(const std::string& file, int32_t load_result);

}  // namespace zdr::host
