// Opening the files that are read frame by frame: speech and AAC.
#pragma once

#include "filters/source/mp4/readers/owned_handles.h"

namespace zdr::mp4source {

// Null if the file cannot be opened.
AmrFilePointer open_amr_file(const WCHAR* file_name);
AacFilePointer open_aac_file(const WCHAR* file_name);

}  // namespace zdr::mp4source
