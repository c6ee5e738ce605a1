// Formats the figures of a picture as sentences.
#include "host/plot/draw/words.h"

#include <algorithm>
#include <cmath>

#include "host/messages.h"
#include "host/plot/svg/scale.h"

namespace zdr::host::plot {
namespace {

constexpr int64_t kSame = kUnitsPerMillisecond / 2;  // less is not shown

std::string counted_text(uint64_t count, const std::string& noun) {
  return grouped(count) + " " + noun + (count == 1 ? "" : "s");
}

}  // namespace

double rate_of(const FileFigure& figure, const TrackFigure& track, size_t column) {
  const Grid& grid = figure.grid;
  const double begin = static_cast<double>(column) * grid.rate_width;
  const double width = column + 1 == grid.rate_columns ? grid.end - begin : grid.rate_width;
  // A few units at the end of a track make no peak.
  const double filled = std::clamp(track.end - begin, width / 2, width);
  return filled > 0 ? static_cast<double>(track.rates[column]) * 8 / filled : 0;
}

double highest_rate(const FileFigure& figure, const TrackFigure& track) {
  double highest = 0;
  for (size_t i = 0; i < track.rates.size(); ++i) highest = std::max(highest, rate_of(figure, track, i));
  return highest;
}

double round_to_digits(double value) {
  if (value <= 0) return 0;
  const double power = std::pow(10.0, std::floor(std::log10(value)) - 1);
  return std::round(value / power) * power;
}

std::string track_text(const TrackFigure& track) {
  std::string text = track.codec + ", " + counted_text(track.units, track.unit) + ", " +
                     short_bytes(static_cast<double>(track.bytes));
  if (track.end > 0) text += ", average " + short_rate(static_cast<double>(track.bytes) * 8 / track.end);
  if (track.end >= 1) text += ", peak second " + short_rate(static_cast<double>(track.peak_bit_rate));
  if (track.key_frames) text += ", " + counted_text(*track.key_frames, "key frame");
  if (track.all_are_sync) text += ", all sync samples";
  return text;
}

std::vector<std::string> fault_texts(const FileFigure& figure) {
  std::vector<std::string> texts;
  for (const Fault& fault : figure.faults) texts.push_back(fault.text);
  for (const TrackFigure& track : figure.tracks) {
    for (const TrackFault& fault : faults_of(track)) texts.push_back(track.name + ": " + fault.text);
  }
  return texts;
}

std::vector<std::string> seek_texts(const SeekFigure& seek) {
  std::vector<std::string> texts{"target: " + format_time(seek.target)};
  for (const PinLanding& pin : seek.pins) {
    if (std::abs(pin.segment_start - seek.target) >= kSame) {
      texts.push_back("resynchronised start: " + format_time(pin.segment_start));
      break;
    }
  }
  for (const PinLanding& pin : seek.pins) {
    texts.push_back(pin.pin + ": " + (pin.is_sync ? "sync sample at " : "first sample at ") +
                    format_time(pin.first));
    const std::string preroll =
        pin.prerolled == 0 ? "" : counted_text(pin.prerolled, "sample") + " of preroll, ";
    const std::string shown = !pin.shown ? "nothing shown" : "shown from " + format_time(*pin.shown);
    texts.push_back("    " + preroll + shown);
  }
  if (seek.pins.empty()) texts.emplace_back("nothing is delivered from there");
  return texts;
}

std::string description(const FileFigure& figure) {
  std::string text = figure.name + ": " + figure.summary + ".";
  if (!figure.boxes.empty()) {
    text += " Boxes:";
    constexpr size_t kMost = 20;
    for (size_t i = 0; i < std::min(kMost, figure.boxes.size()); ++i) {
      const BoxFigure& box = figure.boxes[i];
      text += (i == 0 ? " " : ", ") + (box.is_gap() ? "no box" : box.type) + " at " + grouped(box.offset) +
              " of " + counted_text(box.size, "byte");
    }
    text += figure.boxes.size() > kMost ? " and " + grouped(figure.boxes.size() - kMost) + " more." : ".";
  }
  for (const TrackFigure& track : figure.tracks) text += " " + track.name + ": " + track_text(track) + ".";
  text += std::string(" ") + kScope + ".";
  for (const std::string& fault : fault_texts(figure)) text += " Fault: " + fault + ".";
  for (const std::string& note : figure.notes) text += " Note: " + note + ".";
  if (figure.seek) {
    text += " Seek";
    for (const std::string& line : seek_texts(*figure.seek)) {
      const size_t indent = line.find_first_not_of(' ');
      text += (indent == 0 ? "; " : ", ") + line.substr(indent);
    }
    text += ".";
  }
  return text;
}

}  // namespace zdr::host::plot
