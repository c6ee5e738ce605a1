// What the headers of an ISO media file say about the file and each of its tracks. They are read from the
// bytes of the file, so those of tracks that the parser does not read are described too.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "host/inspect/files/file_stream.h"
#include "host/inspect/iso/track_description.h"

namespace zdr::host {

struct MovieDescription {
  uint64_t size = 0;  // of the file
  std::string brand;  // four bytes; empty without ftyp
  std::string tool;   // the program that wrote the file; empty if it is not stated
  uint64_t time_scale = 0;
  uint64_t duration = 0;       // in units of the movie
  uint64_t creation_time = 0;  // seconds since the start of 1904; 0: not known
  uint64_t movie_offset = 0;   // of moov
  uint64_t movie_size = 0;
  bool is_movie_first = true;  // before the first media data
  std::vector<TrackDescription> tracks;
  bool is_complete = true;     // all tracks are described
  bool has_fragments = false;  // which have further samples; set by the caller
};

MovieDescription describe_movie(FileStream& stream);

}  // namespace zdr::host
