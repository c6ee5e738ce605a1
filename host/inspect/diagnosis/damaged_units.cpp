// Walks over the samples of the track up to each damaged part.
#include "host/inspect/diagnosis/damaged_units.h"

#include <algorithm>

#include "host/inspect/files/file_stream.h"

namespace zdr::host {
namespace {

constexpr uint32_t kUnitsPerCall = 1024;

// What is wrong with an access unit in the file; null if nothing is, or it cannot be read.
const char* examine_in_file(FileStream& stream, const P3gppSample& unit, const ExamineUnit& examine) {
  constexpr uint32_t kLongestUnit = 16u << 20;
  if (unit.size > kLongestUnit) return nullptr;
  std::vector<uint8_t> bytes(unit.size);
  return stream.read_at(unit.file_offset, bytes) == bytes.size() ? examine(bytes) : nullptr;
}

class DamageWalk {
 public:
  DamageWalk(P3gppTrack* track, const TrackFacts& facts, FileStream& stream, const ExamineUnit& examine)
      : track_(track), facts_(facts), stream_(stream), examine_(examine) {}

  std::vector<DamagedUnit> run(const std::vector<DamagedSpan>& spans, size_t limit,
                               const WalkWatcher& watch) {
    for (const DamagedSpan& span : spans) {
      if (found_.size() >= limit || !skip_to(span.position, watch)) break;
      list_units(span);
    }
    if (found_.size() > limit) found_.resize(limit);
    return std::move(found_);
  }

 private:
  // Moves to the first unit that ends after `position`, which becomes the current one.
  bool skip_to(uint64_t position, const WalkWatcher& watch) {
    while (end_ <= position) {
      if (unit_.number % kUnitsPerCall == 0 && !watch(unit_.number, facts_.samples)) return false;
      if (!next()) return false;
    }
    return true;
  }

  bool next() {
    if (unit_.number >= facts_.samples) return false;
    ++unit_.number;
    if (P3GPP_ReadSample(track_, &unit_) != P3GPP_OK) return false;
    end_ += unit_.size;
    return true;
  }

  // A span in which no unit by itself is damaged counts as one unit, its first.
  void list_units(const DamagedSpan& span) {
    const DamagedUnit first = current(span.reason);
    const size_t before = found_.size();
    const uint64_t span_end = span.position + span.size;
    while (!span.is_unit) {
      if (const char* const reason = examine_in_file(stream_, unit_, examine_))
        found_.push_back(current(reason));
      if (end_ >= span_end || !next()) break;
    }
    if (found_.size() == before) found_.push_back(first);
  }

  DamagedUnit current(const char* reason) const {
    return {unit_.number, start_of(unit_, facts_.time_scale), unit_.file_offset, reason};
  }

  P3gppTrack* const track_;
  const TrackFacts& facts_;
  FileStream& stream_;
  const ExamineUnit& examine_;
  P3gppSample unit_{};
  uint64_t end_ = 0;  // payload bytes up to and with the current unit
  std::vector<DamagedUnit> found_;
};

}  // namespace

std::vector<DamagedUnit> find_damaged_units(const ParsedMovie& movie, const std::string& file,
                                            uint32_t track_type, const std::vector<DamagedSpan>& spans,
                                            const ExamineUnit& examine, size_t limit,
                                            const WalkWatcher& watch) {
  if (spans.empty() || !movie.is_open()) return {};
  const std::vector<uint32_t> ids = movie.track_ids(track_type);
  TrackFacts facts;
  if (ids.empty() || movie.get_facts(ids[0], facts) != P3GPP_OK) return {};
  const OpenTrack track = movie.open_track(ids[0]);
  if (!track) return {};
  FileStream stream(file);
  return DamageWalk(track.get(), facts, stream, examine).run(spans, limit, watch);
}

}  // namespace zdr::host
