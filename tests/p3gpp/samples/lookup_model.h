// A plain reference of the sample lookups: it expands every table to one record a sample and answers from
// those. Where an answer depends on earlier calls, the dependence is written out as a rule on its own small
// state, not as a walk.
#ifndef ZDR_TESTS_P3GPP_LOOKUP_MODEL_H
#define ZDR_TESTS_P3GPP_LOOKUP_MODEL_H

#include <algorithm>
#include <cstdint>
#include <vector>

#include "p3gpp/p3gpp.h"
#include "track_file.h"

namespace zdr::test {

// Runs of a run-length coded table, expanded.
struct ExpandedRuns {
  std::vector<uint64_t> start;   // samples before run i, and behind the last one
  std::vector<uint32_t> run_of;  // of sample n, at n - 1
  uint32_t count() const { return static_cast<uint32_t>(start.size() - 1); }
  bool covers(uint32_t number) const { return number <= run_of.size(); }
};

inline ExpandedRuns expand(const Runs& runs, uint32_t sample_count) {
  ExpandedRuns expanded;
  expanded.start.push_back(0);
  for (uint32_t i = 0; i < runs.size(); ++i) {
    expanded.start.push_back(expanded.start.back() + runs[i].first);
    const uint64_t end = std::min<uint64_t>(expanded.start.back(), sample_count);
    while (expanded.run_of.size() < end) expanded.run_of.push_back(i);
  }
  return expanded;
}

class LookupModel {
 public:
  explicit LookupModel(const TrackTables& tables)
      : tables_(tables),
        stts_(expand(tables.stts, tables.sample_count())),
        ctts_(expand(tables.ctts, tables.sample_count())) {
    stts_time_.push_back(0);
    for (const auto& [count, delta] : tables_.stts) {
      stts_time_.push_back(stts_time_.back() + uint64_t{count} * delta);
    }
    expand_chunks();
    const auto is_empty = [](const Edit& edit) { return edit.media_time == -1; };
    const auto delay = std::find_if(tables_.edits.begin(), tables_.edits.end(), is_empty);
    if (tables_.edits.size() > 1 && delay != tables_.edits.end()) {
      shift_ = static_cast<uint32_t>(delay->segment_duration);
    }
  }

  // As the operations of an opened track; sync searches for tables in ascending order.
  int32_t locate(P3gppSample& sample) {
    const uint32_t number = sample.number;
    if (number == 0 || number > tables_.sample_count() || number > chunk_of_.size()) {
      return P3GPP_ERR_OUT_OF_RANGE;
    }
    const Chunk& chunk = chunk_of_[number - 1];
    const uint32_t index = chunk.number - tables_.chunk_number_base();
    if (index >= tables_.chunk_offsets.size()) return P3GPP_ERR_BAD_ARGUMENT;
    const uint64_t chunk_offset = tables_.chunk_offsets[index];
    // Required: in sequence, a chunk at the same offset is taken for the same chunk.
    if (in_sequence_ && number == last_sample_ + 1 && chunk_offset == last_chunk_offset_) {
      sample.file_offset = next_offset_;
    } else {
      sample.file_offset = chunk_offset;
      for (uint32_t i = chunk.samples_before + 1; i < number; ++i) sample.file_offset += tables_.size_of(i);
    }
    sample.size = tables_.size_of(number);
    sample.description_index = chunk.description_index;
    last_chunk_offset_ = chunk_offset;
    next_offset_ = sample.file_offset + sample.size;
    const int32_t status = sample_times(number, sample.decoding_time, sample.composition_time);
    in_sequence_ = status == P3GPP_OK;
    if (in_sequence_) last_sample_ = number;
    return status;
  }
  int32_t sample_times(uint32_t number, uint32_t& decoding, uint32_t& composition) {
    if (number == 0 || number > tables_.sample_count()) return P3GPP_ERR_OUT_OF_RANGE;
    const int32_t status = decoding_time(number, decoding);
    if (status != P3GPP_OK) return status;
    uint32_t offset = 0;
    uint32_t run = 0;
    if (tables_.has_ctts) offset = composition_run(number, run) ? tables_.ctts[run].second : composition;
    composition = decoding + offset;
    decoding += shift_;
    return P3GPP_OK;
  }
  int32_t time_to_sample(uint32_t& time, uint32_t& number) {
    if (time < stts_time_[stts_run_] / 2) stts_run_ = 0;
    const bool forward = time > stts_time_[stts_run_];
    if (!forward && stts_run_ == 0) {
      number = 1;
      time = static_cast<uint32_t>(stts_time_[0]);
      return P3GPP_OK;
    }
    uint32_t run = stts_run_;
    if (forward) {
      while (run < stts_.count() && stts_time_[run + 1] < time) ++run;
      if (run == stts_.count()) {
        stts_run_ = std::max(stts_run_, run - 1);
        number = static_cast<uint32_t>(stts_.start.back());
        time = static_cast<uint32_t>(stts_time_.back());
        return P3GPP_OK;
      }
    } else {
      do --run;
      while (stts_time_[run] > time);
    }
    stts_run_ = run;
    const uint32_t delta = tables_.stts[run].second;
    const auto into_run = static_cast<uint32_t>(time - stts_time_[run]);
    const auto before = static_cast<uint32_t>(stts_.start[run]);
    // Required: forward, the answer is the sample before the one whose interval holds the time.
    number = before + (delta == 0 ? 0 : into_run / delta) + (forward ? 0 : 1);
    if (number == 0) number = 1;
    time = static_cast<uint32_t>(stts_time_[run]) + (number > before ? (number - before - 1) * delta : 0);
    return P3GPP_OK;
  }
  int32_t is_sync(uint32_t number, int32_t& flag) {
    if (number == 0) return P3GPP_ERR_BAD_ARGUMENT;
    const auto& sync = tables_.stss;
    flag = number <= tables_.sample_count() &&
           (sync.empty() || std::binary_search(sync.begin(), sync.end(), number));
    if (number > tables_.sample_count() || sync.empty()) return P3GPP_OK;
    const auto last = static_cast<uint32_t>(sync.size() - 1);
    const auto at_or_above =
        static_cast<uint32_t>(std::lower_bound(sync.begin(), sync.end(), number) - sync.begin());
    const auto above =
        static_cast<uint32_t>(std::upper_bound(sync.begin(), sync.end(), number) - sync.begin());
    if (number >= sync[sync_entry_] / 2 && sync[sync_entry_] > number) {
      sync_entry_ = above == 0 ? 0 : above - 1;
    } else {
      sync_entry_ = std::min(at_or_above, last);
    }
    return P3GPP_OK;
  }
  int32_t find_sync(uint32_t& number, int32_t direction) {
    if (number == 0 || number > tables_.sample_count()) return P3GPP_ERR_OUT_OF_RANGE;
    const auto& sync = tables_.stss;
    const bool forward = direction == 1;
    if (sync.empty()) {
      if (number == tables_.sample_count()) return P3GPP_ERR_OUT_OF_RANGE;
      number = forward ? number + 1 : std::max(number - 1, 1U);
      return P3GPP_OK;
    }
    const auto last = static_cast<uint32_t>(sync.size() - 1);
    const auto at_or_above =
        static_cast<uint32_t>(std::lower_bound(sync.begin(), sync.end(), number) - sync.begin());
    const auto above =
        static_cast<uint32_t>(std::upper_bound(sync.begin(), sync.end(), number) - sync.begin());
    if (forward) {
      // Required: coming from behind, the sample itself may be the answer.
      const uint32_t answer = sync[sync_entry_] > number ? at_or_above : above;
      sync_entry_ = std::min(answer, last);
      if (answer > last) return P3GPP_ERR_NO_SYNC_SAMPLE;
    } else {
      sync_entry_ = above == 0 ? 0 : above - 1;
    }
    number = sync[sync_entry_];
    return P3GPP_OK;
  }

 private:
  struct Chunk {
    uint32_t number;
    uint32_t samples_before;
    uint32_t description_index;
  };

  int32_t decoding_time(uint32_t number, uint32_t& time) {
    if (number < stts_.start[stts_run_] / 2) stts_run_ = 0;
    const uint32_t target = stts_.covers(number) ? stts_.run_of[number - 1] : stts_.count();
    while (stts_run_ < target) {  // a run that ends above 32 bits cannot be passed
      if (stts_time_[stts_run_ + 1] > UINT32_MAX) return P3GPP_ERR_OUT_OF_RANGE;
      ++stts_run_;
    }
    stts_run_ = target;
    if (target == stts_.count()) return P3GPP_OK;  // the caller's value stays
    const uint64_t exact =
        stts_time_[target] + (number - stts_.start[target] - 1) * uint64_t{tables_.stts[target].second};
    if (exact > UINT32_MAX) return P3GPP_ERR_OUT_OF_RANGE;
    time = static_cast<uint32_t>(exact);
    return P3GPP_OK;
  }
  // Required: backward, a run is taken only when the sample lies at or behind its end.
  bool composition_run(uint32_t number, uint32_t& run) {
    if (number > ctts_.start[ctts_run_]) {
      run = ctts_run_ = ctts_.covers(number) ? ctts_.run_of[number - 1] : ctts_.count();
      return run < ctts_.count();
    }
    for (run = ctts_run_; run-- > 0;) {
      ctts_run_ = run;
      if (ctts_.start[run + 1] <= number) return true;
    }
    return false;
  }
  void expand_chunks() {
    const auto& runs = tables_.stsc;
    for (size_t i = 0; i < runs.size(); ++i) {
      const uint64_t end = i + 1 < runs.size() ? runs[i + 1].first_chunk : tables_.chunk_offsets.size() + 1;
      for (uint64_t chunk = runs[i].first_chunk; chunk < end; ++chunk) {
        const auto before = static_cast<uint32_t>(chunk_of_.size());
        for (uint32_t k = 0; k < runs[i].samples_per_chunk; ++k) {
          chunk_of_.push_back({static_cast<uint32_t>(chunk), before, runs[i].description_index});
        }
        if (chunk_of_.size() >= tables_.sample_count()) return;
      }
    }
  }

  const TrackTables tables_;
  uint32_t shift_ = 0;  // of decoding times
  ExpandedRuns stts_;
  ExpandedRuns ctts_;
  std::vector<uint64_t> stts_time_;  // before run i, and behind the last one
  std::vector<Chunk> chunk_of_;      // of sample n, at n - 1

  uint32_t stts_run_ = 0;
  uint32_t ctts_run_ = 0;
  uint32_t sync_entry_ = 0;
  bool in_sequence_ = false;
  uint32_t last_sample_ = 0;
  uint64_t last_chunk_offset_ = 0;
  uint64_t next_offset_ = 0;
};

}  // namespace zdr::test

#endif
