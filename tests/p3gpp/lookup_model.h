// A plain reference of the sample lookups: it expands every table to one record a sample and answers from
// those. Where an answer depends on earlier calls, the dependence is written out as a rule on its own small
// state, not as a walk.
#ifndef ZDR_TESTS_P3GPP_LOOKUP_MODEL_H
#define ZDR_TESTS_P3GPP_LOOKUP_MODEL_H

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

class LookupModel {
 public:
  explicit LookupModel(const TrackTables& tables);

  // As the operations of an opened track; sync searches for tables in ascending order.
  int32_t locate(P3gppSample& sample);
  int32_t sample_times(uint32_t number, uint32_t& decoding_time, uint32_t& composition_time);
  int32_t time_to_sample(uint32_t& time, uint32_t& number);
  int32_t is_sync(uint32_t number, int32_t& flag);
  int32_t find_sync(uint32_t& number, int32_t direction);

 private:
  struct Chunk {
    uint32_t number;
    uint32_t samples_before;
    uint32_t description_index;
  };

  int32_t decoding_time(uint32_t number, uint32_t& time);
  bool composition_run(uint32_t number, uint32_t& run);
  void expand_chunks();

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
