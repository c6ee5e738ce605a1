// Where a seek of the filter begins to deliver: runs the graph from a time until every pin has delivered the
// first sample that is shown.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "host/graph/source_player.h"

namespace zdr::host {

// Times are of the media, in 100 ns units.
struct PinLanding {
  std::string pin;
  bool is_audio = false;
  int64_t first = 0;             // of the first sample that is delivered
  bool is_sync = false;          // that sample
  uint64_t prerolled = 0;        // samples that are delivered but not shown
  std::optional<int64_t> shown;  // of the first sample that is shown; none: the stream ended before it
  int64_t segment_start = 0;     // which the filter may have moved, so that the pins begin together
};

// on_connected and on_landed may be empty.
struct LandingWatch {
  std::function<void()> on_connected;  // before the seek
  std::function<bool()> on_slice;      // as for SourcePlayer::play()
  std::function<void()> on_landed;     // when all pins have landed, on a thread of the filter
};

// Plays like `zdr play --start`. `player` has loaded the file and has no connected pin. Pins that deliver
// nothing have no landing.
ExitCode find_landings(SourcePlayer& player, int64_t target, const LandingWatch& watch,
                       std::vector<PinLanding>& landings);

}  // namespace zdr::host
