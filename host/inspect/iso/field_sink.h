// The receiver of the fields of a box.
#pragma once

#include <cstdint>

#include "host/inspect/field.h"

namespace zdr::host {

// Receives the fields of a box, then the entries of its list with their fields.
class FieldSink {
 public:
  virtual ~FieldSink() = default;
  virtual void add(const Field& field) = 0;
  virtual void begin_entry() = 0;
  // The list has this many more entries, which are not passed.
  virtual void leave_out(uint64_t entries) = 0;
};

}  // namespace zdr::host
