// Writers that turn the media samples of one pin into an elementary-stream file that standard players accept.
#pragma once

#include <dshow.h>

#include <cstdint>
#include <memory>
#include <span>
#include <string>

#include "host/writers/output_file.h"

namespace zdr::host {

using Bytes = std::span<const uint8_t>;

// One stream being written. The calls come in the order begin, write ..., finish, all from one thread at a
// time.
class StreamWriter {
 public:
  virtual ~StreamWriter() = default;

  // What stands in front of the first access unit.
  virtual bool begin(OutputFile&) { return true; }
  // One delivered media sample. False only when the file could not be written.
  virtual bool write(OutputFile& file, Bytes sample) { return file.write(sample); }
  // Completes headers that need the whole stream.
  virtual bool finish(OutputFile&) { return true; }

  // Access units that could not be written as they are, and what was wrong with the first of them.
  uint64_t damaged_units() const { return damaged_units_; }
  const std::string& first_damage() const { return first_damage_; }

 protected:
  void note_damage(const char* reason) {
    if (damaged_units_++ == 0) first_damage_ = reason;
  }

 private:
  uint64_t damaged_units_ = 0;
  std::string first_damage_;
};

struct WriterChoice {
  std::string extension;                 // without the dot
  std::unique_ptr<StreamWriter> writer;  // null: no file format for this media type
};

// Chooses by media type; the first sample decides between formats that share a type (AC-3 and E-AC-3). With
// `decode`, AAC becomes PCM; nothing when the decoder doesn't support it.
WriterChoice choose_writer(const AM_MEDIA_TYPE& type, Bytes first_sample, bool decode);

}  // namespace zdr::host
