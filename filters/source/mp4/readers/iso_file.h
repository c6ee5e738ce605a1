// Opening ISO media files and describing their tracks, for the filter and for clips.
#pragma once

#include <cstdint>

#include "filters/source/mp4/readers/owned_handles.h"

namespace zdr::mp4source {

// Returns a status of the parser. Throws bad_alloc for that of exhausted memory, which must not pass for a
// track that cannot be played.
int32_t with_memory(int32_t status);

// Thrown if an open file cannot be opened once more, for a track. The load then fails: playing without the
// track would hide it.
struct FileNotOpened {};

// Null if memory runs out. Unbuffered: the parser reads in blocks of its own.
FileManagerPointer new_file_manager();

// `path` outlives the descriptor.
FMGR_Descriptor wide_file_descriptor(const WCHAR* path);

// Null if the file cannot be opened; this and the functions below throw bad_alloc if memory runs out. The
// descriptor and the manager outlive the file.
IsoFilePointer open_iso_file(const FMGR_Descriptor& descriptor, FMGR_Context* manager);

// Opens the file once more, for its size alone. False if that fails.
bool size_of_file(const FMGR_Descriptor& descriptor, FMGR_Context* manager, uint64_t* size);

// The ID of the first track of a type; 0, which is not a valid ID, for a track that has none. `track_count`
// is the parser's count for that type, above 0.
uint32_t first_track_id(P3gppFile* file, uint32_t type, uint32_t track_count);

// Null if the track cannot be described.
TrackInfoPointer read_track_info(P3gppFile* file, uint32_t track_id);
// Of the track's first sample description.
DecoderInfoPointer read_decoder_info(P3gppFile* file, uint32_t track_id);

}  // namespace zdr::mp4source
