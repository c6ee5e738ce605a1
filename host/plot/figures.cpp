// The faults of a track in words.
#include "host/plot/figures.h"

#include <cmath>

#include "host/messages.h"
#include "host/text/time_text.h"

namespace zdr::host::plot {

std::string clock_text(double seconds) {
  return format_time(std::llround(seconds * kUnitsPerSecond));
}

std::vector<std::string> faults_of(const TrackFigure& track) {
  std::vector<std::string> texts;
  if (track.lost_units != 0) {
    texts.push_back(track.name + ": " + counted(track.lost_units, track.unit) +
                    (track.lost_units == 1 ? " is" : " are") + " past the end of the file, from " +
                    clock_text(track.lost_from) + " on");
  }
  if (!track.fault.empty())
    texts.push_back(track.name + " ends at " + clock_text(track.fault_from) + ": " + track.fault);
  return texts;
}

}  // namespace zdr::host::plot
