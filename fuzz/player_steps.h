// The steps of a player's script, each followed by the bytes that it names.
#pragma once

#include <cstdint>

namespace zdr::fuzz {

enum class Step : uint8_t {
  kRun,
  kPause,
  kStop,
  kSeek,        // pin, start
  kSeekOddly,   // pin, start, stop, flags
  kWait,        // until the streams are cued or, while they run, have ended
  kSwitchPin,   // pin; stops, then connects or disconnects it
  kAsk,         // pin
  kReportLate,  // pin, lateness
  kCount,
};

}  // namespace zdr::fuzz
