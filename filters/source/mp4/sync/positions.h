// The positions of a pin, and the target of a seek. Times are absolute, in 100 ns.
#pragma once

#include <windows.h>

namespace zdr::mp4source {

struct Positions {
  REFERENCE_TIME start = 0;  // of the segment; time stamps count from here
  REFERENCE_TIME stop = 0;
  bool seek_pending = false;  // the worker has yet to reposition its reader
};

// The new positions that a seek sets on every pin. A null pointer leaves the pin's value unchanged.
struct SeekTarget {
  const REFERENCE_TIME* start;
  const REFERENCE_TIME* stop;
};

}  // namespace zdr::mp4source
