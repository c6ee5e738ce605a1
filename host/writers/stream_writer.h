// Base of the writers that turn the media samples of one pin into a file that standard players accept. The
// base itself writes the samples unchanged.
#pragma once

#include <cstdint>
#include <string>

#include "host/formats/shown_media.h"
#include "host/text/bytes.h"
#include "host/writers/output.h"

namespace zdr::host {

// Called in the order begin, write ..., finish or seal, by one thread at a time. Each returns false only if
// the file could not be written.
class StreamWriter {
 public:
  virtual ~StreamWriter() = default;

  // Call before begin(). Returns true if the writer will write only the shown media, false if it writes
  // access units, which it cannot cut.
  virtual bool trim(const ShownMedia&) { return false; }

  // Writes what precedes the first access unit.
  virtual bool begin(Output&) { return true; }
  // Writes one delivered media sample.
  virtual bool write(Output& output, Bytes sample) { return output.write(sample); }
  // Writes what follows the last access unit, and seals the file.
  virtual bool finish(Output& output) { return seal(output); }
  // Fills in the header fields that depend on what the file holds, also for a file that ends early.
  virtual bool seal(Output&) { return true; }

  // The number of access units that could not be written as they are, and what was wrong with the first.
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

}  // namespace zdr::host
