// Chooses the file format of a media type.
#pragma once

#include <dshow.h>

#include <memory>
#include <string>

#include "host/writers/stream_writer.h"

namespace zdr::host {

struct WriterChoice {
  std::string extension;                 // without the dot
  std::unique_ptr<StreamWriter> writer;  // null: no file format for this media type
};

// The first sample distinguishes formats that share a media type (AC-3 and E-AC-3). With `decode`, AAC is
// written as PCM; the writer is null if the decoder does not support the stream.
WriterChoice choose_writer(const AM_MEDIA_TYPE& type, Bytes first_sample, bool decode);

}  // namespace zdr::host
