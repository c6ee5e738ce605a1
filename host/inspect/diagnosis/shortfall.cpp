// Compares bytes first, and walks through the samples of a track only if some are missing.
#include "host/inspect/diagnosis/shortfall.h"

#include <algorithm>
#include <filesystem>
#include <system_error>

#include "host/inspect/iso/open_track.h"

namespace zdr::host {
namespace {

constexpr uint32_t kUnitsPerCall = 1024;

std::optional<Shortfall> walk(P3gppTrack* track, const TrackFacts& facts, const Delivery& delivery,
                              uint64_t file_size, const WalkWatcher& watch) {
  uint64_t bytes = 0;
  P3gppSample sample{};
  int64_t shift = 0;   // of the edit list, which the parser adds to every time
  uint32_t empty = 0;  // the first of the units without data before the next one
  for (sample.number = 1; sample.number <= facts.samples; ++sample.number) {
    if (sample.number % kUnitsPerCall == 0 && !watch(sample.number, facts.samples)) return std::nullopt;
    Shortfall shortfall{sample.number - 1, facts.samples, Missing::kUnknown};
    shortfall.status = P3GPP_ReadSample(track, &sample);
    if (shortfall.status != P3GPP_OK) return shortfall;
    bytes += sample.size;
    if (sample.number == 1) shift = start_of(sample, facts.time_scale);
    if (sample.size == 0 && empty == 0) empty = sample.number;
    if (bytes <= delivery.payload_bytes) {
      if (sample.size != 0) empty = 0;
      continue;
    }
    const int64_t start = start_of(sample, facts.time_scale);
    if (start > delivery.stop_position) {
      const bool is_shifted = start - shift <= delivery.stop_position;
      shortfall.reason = is_shifted ? Missing::kShiftedBeyondStop : Missing::kAfterStop;
    }
    if (!lies_within(sample, file_size)) shortfall.reason = Missing::kCutOff;
    if (empty != 0 && shortfall.reason == Missing::kUnknown) {
      shortfall.delivered_units = empty - 1;
      shortfall.reason = Missing::kEmpty;
    }
    return shortfall;
  }
  return std::nullopt;
}

// The number of samples that the table of times has, which the parser does not compare with the number of
// sizes; 0 if it is unknown.
uint32_t timed_samples(const ParsedMovie& movie, uint32_t id, P3gppTrack* track, const TrackFacts& facts) {
  const auto record =
      std::ranges::find_if(movie.record().tracks, [id](const TrackRecord& each) { return each.id == id; });
  if (record != movie.record().tracks.end()) {
    if (const auto times = movie.timed_samples(*record))
      return static_cast<uint32_t>(std::min<uint64_t>(times->count, UINT32_MAX));
  }
  // The sample at the end of the duration, or the one before it.
  uint32_t time = facts.duration - 1;
  uint32_t number = 0;
  if (facts.duration == 0 || P3GPP_TimeToSample(track, &time, &number) != P3GPP_OK) return 0;
  return number;
}

std::optional<Shortfall> compare(const ParsedMovie& movie, uint32_t id, const std::string& file,
                                 const Delivery& delivery, const WalkWatcher& watch) {
  TrackFacts facts;
  if (movie.get_facts(id, facts) != P3GPP_OK) return std::nullopt;
  if (facts.samples == 0 && delivery.samples == 0) return Shortfall{0, 0, Missing::kNone};
  const OpenTrack track = movie.open_track(id);
  if (!track) return std::nullopt;
  uint64_t total_bytes = 0;
  const int32_t status = P3GPP_GetTotalSampleSize(track.get(), &total_bytes);
  if (status == P3GPP_OK && delivery.samples != 0 && total_bytes <= delivery.payload_bytes) {
    const uint32_t timed = timed_samples(movie, id, track.get(), facts);
    if (timed <= facts.samples) return std::nullopt;
    return Shortfall{facts.samples, timed, Missing::kNotInSizes};
  }
  std::error_code code;
  const uint64_t file_size = std::filesystem::file_size(file, code);
  if (const auto shortfall = walk(track.get(), facts, delivery, file_size, watch)) return shortfall;
  if (delivery.samples != 0) return std::nullopt;
  return Shortfall{0, facts.samples, Missing::kUnknown};
}

// Walks over a part of a track to the access units of the last delivered sample, and to the one after them.
class PartWalk {
 public:
  // `timed` is the number of samples that have times.
  PartWalk(P3gppTrack* track, const TrackFacts& facts, uint32_t timed, const PartDelivery& delivery,
           uint64_t file_size)
      : track_(track), facts_(facts), timed_(timed), delivery_(delivery), file_size_(file_size) {}

  // The first access unit that is missing; nothing if the part ends before it or the walk was ended.
  std::optional<EarlyEnd> find_missing(const WalkWatcher& watch) {
    P3gppSample sample{};
    int64_t shift = 0;  // of the edit list
    const uint32_t last = std::max(facts_.samples, timed_);
    for (sample.number = 1; sample.number <= last; ++sample.number) {
      if (sample.number % kUnitsPerCall == 0 && !watch(sample.number, last)) return std::nullopt;
      const bool is_read = P3GPP_ReadSample(track_, &sample) == P3GPP_OK;
      if (!is_read)
        P3GPP_GetSampleTime(track_, sample.number, &sample.decoding_time, &sample.composition_time);
      const int64_t start = start_of(sample, facts_.time_scale);
      if (sample.number == 1) shift = start;
      if (start > delivery_.stop) return after_stop(start, start - shift);
      if (!is_read) {
        return EarlyEnd{start, sample.number > facts_.samples ? Missing::kNotInSizes : Missing::kUnknown};
      }
      if (is_missing(sample, start)) return missing(sample, start);
    }
    return std::nullopt;
  }

 private:
  EarlyEnd missing(const P3gppSample& sample, int64_t start) const {
    EarlyEnd end{start, Missing::kCutOff};
    if (!lies_within(sample, file_size_)) return end;
    end.reason = Missing::kUnknown;
    const bool is_after = start > delivery_.start && sample.number > 1;
    const uint32_t last = is_after ? sample.number - 1 : sample.number;
    uint32_t key_frame = last;
    // Without one before it, the search finds the first of the table.
    const bool is_found = P3GPP_FindSyncSample(track_, &key_frame, P3GPP_SYNC_BACKWARD) == P3GPP_OK;
    if (delivery_.samples == 0 && is_found && key_frame > last) end.reason = Missing::kNoKeyFrame;
    return end;
  }

  // Only where a stop was requested may a unit be after it.
  std::optional<EarlyEnd> after_stop(int64_t start, int64_t unshifted_start) const {
    if (!delivery_.is_to_end) return std::nullopt;
    const bool is_shifted = unshifted_start <= delivery_.stop;
    return EarlyEnd{start, is_shifted ? Missing::kShiftedBeyondStop : Missing::kAfterStop};
  }

  // Without a delivered sample, the unit at the requested start is missing. Otherwise the one that follows
  // the units of the last sample, which may be several.
  bool is_missing(const P3gppSample& sample, int64_t start) {
    if (delivery_.samples == 0) return start >= delivery_.start;
    if (start < delivery_.last_sample_start) return false;
    const bool is_delivered = start == delivery_.last_sample_start || bytes_ < delivery_.last_sample_bytes;
    bytes_ = (start == delivery_.last_sample_start ? 0 : bytes_) + sample.size;
    return !is_delivered;
  }

  P3gppTrack* const track_;
  const TrackFacts& facts_;
  const uint32_t timed_;
  const PartDelivery& delivery_;
  const uint64_t file_size_;
  uint64_t bytes_ = 0;  // from the last unit that has the start of the last delivered sample
};

}  // namespace

uint32_t samples_of_other_descriptions(const ParsedMovie& movie, uint32_t track_type,
                                       const WalkWatcher& watch) {
  const TrackRecord* const record = movie.first_track(track_type);
  TrackFacts facts;
  if (record == nullptr || record->sample_entries < 2 || movie.get_facts(*record->id, facts) != P3GPP_OK)
    return 0;
  const OpenTrack track = movie.open_track(*record->id);
  if (!track) return 0;
  uint32_t count = 0;
  P3gppSample sample{};
  for (sample.number = 1; sample.number <= facts.samples; ++sample.number) {
    if (sample.number % kUnitsPerCall == 0 && !watch(sample.number, facts.samples)) return count;
    if (P3GPP_ReadSample(track.get(), &sample) != P3GPP_OK) return count;
    count += sample.description_index != 1 ? 1 : 0;
  }
  return count;
}

std::optional<Shortfall> find_shortfall(const ParsedMovie& movie, const std::string& file,
                                        const Delivery& delivery, const WalkWatcher& watch) {
  if (!movie.is_open()) return std::nullopt;
  const std::vector<uint32_t> ids = movie.track_ids(delivery.track_type);
  if (ids.empty()) return std::nullopt;
  std::optional<Shortfall> shortfall = compare(movie, ids[0], file, delivery, watch);
  const TrackRecord* const record = movie.first_track(delivery.track_type);
  if (!shortfall || record == nullptr) return shortfall;
  shortfall->has_wide_times = record->has_wide_times;
  const bool has_times = record->timed_runs.value_or(0) != 0;
  if (shortfall->reason == Missing::kNone && has_times) shortfall->reason = Missing::kNotInSizes;
  return shortfall;
}

std::optional<EarlyEnd> find_early_end(const ParsedMovie& movie, const std::string& file,
                                       const PartDelivery& delivery, const WalkWatcher& watch) {
  const TrackRecord* const record = movie.first_track(delivery.track_type);
  TrackFacts facts;
  if (record == nullptr || movie.get_facts(*record->id, facts) != P3GPP_OK) return std::nullopt;
  const OpenTrack track = movie.open_track(*record->id);
  if (!track) return std::nullopt;
  uint64_t total_bytes = 0;
  const bool is_measured = P3GPP_GetTotalSampleSize(track.get(), &total_bytes) == P3GPP_OK;
  if (record->has_wide_times && is_measured && total_bytes <= delivery.payload_bytes) return std::nullopt;
  if (record->has_wide_times) return EarlyEnd{delivery.last_sample_start, Missing::kUnknown, true};
  std::error_code code;
  const uint32_t timed = timed_samples(movie, *record->id, track.get(), facts);
  const uint64_t file_size = std::filesystem::file_size(file, code);
  return PartWalk(track.get(), facts, timed, delivery, file_size).find_missing(watch);
}

}  // namespace zdr::host
