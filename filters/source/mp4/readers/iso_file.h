// Questions about an ISO media file that the filter and its clips ask alike.
#pragma once

#include <cstdint>

#include "filters/source/mp4/readers/owned_handles.h"

namespace zdr::mp4source {

// Null when memory runs out. Unbuffered: the parser reads in blocks of its own.
FileManagerPointer new_file_manager();

// `path` outlives the descriptor.
FMGR_Descriptor wide_file_descriptor(const WCHAR* path);

// The ID of the first track of a type; 0, which none should have, when that track tells none. `track_count`
// is what the file's counts tell, above 0. bad_alloc when memory runs out.
uint32_t first_track_id(P3gppFile* file, uint32_t type, uint32_t track_count);

// The file is opened for the question only.
bool size_of_file(const FMGR_Descriptor& descriptor, FMGR_Context* manager, uint64_t* size);

}  // namespace zdr::mp4source
