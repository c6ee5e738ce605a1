// What a picture of a file shows: the records that are gathered from a file and then drawn. Times are in
// seconds, since they are drawn; a file of any length fits in a fixed number of columns.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/graph/seek_landing.h"
#include "host/messages.h"
#include "host/text/time_text.h"

namespace zdr::host::plot {

// The columns into which the units of a track are sorted. All tracks of a picture share them.
struct Grid {
  uint64_t file_size = 0;
  size_t byte_columns = 0;  // over the file
  double end = 0;           // of the longest track; 0: nothing is known
  size_t time_columns = 0;  // over [0, end)
  size_t rate_columns = 0;  // the same time in columns of a round width, of which the last may be longer
  double rate_width = 0;
};

struct BoxFigure {
  std::string type{};  // printable; empty for bytes that belong to no box
  uint64_t offset = 0;
  uint64_t size = 0;    // of what is in the file
  uint64_t excess = 0;  // bytes that it lacks because the file ends
  bool is_media() const { return type == "mdat"; }
  bool is_gap() const { return type.empty(); }
};

// Units that follow each other in the file and in time, or a part of such a run that is one time column wide;
// or, if there are too many runs to draw each, all units that begin in a column.
struct Extent {
  double start = 0;
  double stop = 0;
  uint64_t offset = 0;
  uint64_t end = 0;
  size_t column = 0;       // of the start
  bool is_merged = false;  // of several runs
  bool continues = false;  // the run of the extent before it
};

// The units that begin in a time column.
struct SizeColumn {
  uint32_t least = UINT32_MAX;
  uint32_t most = 0;
  uint64_t bytes = 0;
  uint32_t count = 0;
  uint64_t offset = UINT64_MAX;  // the part of the file that they are in
  uint64_t end = 0;
};

struct TrackFigure {
  std::string name{};   // "Video0", or "track 3" of a track that no pin plays
  uint32_t number = 0;  // of a track that no pin plays
  std::string codec{};
  std::string unit{};  // "access unit"
  uint64_t units = 0;
  uint64_t bytes = 0;
  uint64_t peak_bit_rate = 0;            // bit/s in the busiest second
  std::optional<uint64_t> key_frames{};  // none without a table of sync samples
  bool all_are_sync = false;
  double end = 0;
  std::vector<Extent> extents{};
  std::vector<uint64_t> map{};  // bytes in each byte column
  std::vector<SizeColumn> sizes{};
  std::vector<uint64_t> rates{};  // bytes in each rate column
  std::vector<bool> keys{};       // time columns with key frames
  // Units that are past the end of the file, and the time of the first of them.
  uint64_t lost_units = 0;
  double lost_from = 0;
  // Why the track is not drawn to its end, and the time from which on it is missing.
  std::string fault{};
  MessageCode fault_code = MessageCode::kUnitsMissing;
  double fault_from = 0;
};

struct SeekFigure {
  int64_t target = 0;  // in 100 ns units
  std::vector<PinLanding> pins{};
};

// A time of a seek, of which the drawing needs seconds.
inline double to_seconds(int64_t time_100ns) {
  return static_cast<double>(time_100ns) / kUnitsPerSecond;
}

struct Fault {
  std::string text{};
  std::optional<uint64_t> offset{};  // where it is in the file
  bool is_loss = true;               // media are missing, which the gathering has yet to report
  MessageCode code = MessageCode::kFileDamaged;
};

// What is missing of a track.
struct TrackFault {
  MessageCode code;
  std::string text;
};

// "0:00:04.023"
std::string clock_text(double seconds);

std::vector<TrackFault> faults_of(const TrackFigure& track);

struct FileFigure {
  std::string name{};
  std::string summary{};  // what the file is, in one line
  Grid grid;
  std::vector<BoxFigure> boxes{};  // at the top level; none for files without boxes
  std::vector<TrackFigure> tracks{};
  std::vector<std::string> notes{};  // what is not drawn
  std::vector<Fault> faults{};
  std::optional<SeekFigure> seek{};
};

}  // namespace zdr::host::plot
