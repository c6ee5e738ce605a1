// The faults of a track in words.
#include "host/plot/figures.h"

#include <cmath>

#include "host/text/time_text.h"

namespace zdr::host::plot {

std::string clock_text(double seconds) {
  return format_time(std::llround(seconds * kUnitsPerSecond));
}

std::vector<TrackFault> faults_of(const TrackFigure& track) {
  std::vector<TrackFault> faults;
  if (track.lost_units != 0) {
    faults.push_back({MessageCode::kCutOff,
                      counted(track.lost_units, track.unit) + (track.lost_units == 1 ? " is" : " are") +
                          " past the end of the file, from " + clock_text(track.lost_from) + " on"});
  }
  if (!track.fault.empty())
    faults.push_back({track.fault_code, "ends at " + clock_text(track.fault_from) + ": " + track.fault});
  return faults;
}

}  // namespace zdr::host::plot
