// Decoding and composition times of a sample, from the runs of stts and ctts.
#include "p3gpp/samples/sample_lookup.h"

namespace zdr::p3gpp {
namespace {

// The run that covers a sample, if there is one.
template <typename Entry>
struct FoundRun {
  bool found = false;
  Entry entry{};
};

// Advances the position to the run that covers the sample. `advance(entry)` is called with each run before
// the position moves past it. Without a covering run the position ends past the last one.
template <typename Table, typename Entry, typename Advance>
Status find_run_forward(Table& table, uint32_t number, FoundRun<Entry>& run, Advance&& advance) {
  RunPosition& position = table.position;
  while (position.index < table.cursor.entry_count()) {
    Status status = read_entry(table.cursor, position.index, run.entry);
    if (status != P3GPP_OK) return status;
    const uint64_t samples_after = position.samples_before + run.entry.sample_count;
    if (number <= samples_after) {
      run.found = true;
      return P3GPP_OK;
    }
    status = advance(run.entry);
    if (status != P3GPP_OK) return status;
    position.samples_before = samples_after;
    ++position.index;
  }
  return P3GPP_OK;
}

Status find_stts_forward(SttsPayload& stts, uint32_t number, FoundRun<SttsEntry>& run) {
  return find_run_forward(stts, number, run, [&](const SttsEntry& entry) -> Status {
    const uint64_t time_after = stts.position.time + uint64_t{entry.sample_count} * entry.sample_delta;
    if (time_after > kLastTime) return P3GPP_ERR_OUT_OF_RANGE;
    stts.position.time = static_cast<uint32_t>(time_after);
    return P3GPP_OK;
  });
}

Status find_stts_backward(SttsPayload& stts, uint32_t number, FoundRun<SttsEntry>& run) {
  while (!run.found && stts.position.index > 0) {
    const Status status = step_back(stts, run.entry);
    if (status != P3GPP_OK) return status;
    run.found = number > stts.position.samples_before;
  }
  return P3GPP_OK;
}

Status decoding_time_of(SttsPayload& stts, uint32_t number, uint32_t& time) {
  TimedRunPosition& position = stts.position;
  if (number < position.samples_before / 2) position = {};
  FoundRun<SttsEntry> run;
  const Status status = number > position.samples_before ? find_stts_forward(stts, number, run)
                                                         : find_stts_backward(stts, number, run);
  if (status != P3GPP_OK) return status;
  if (!run.found) return P3GPP_OK;  // Kept: the caller's time stays unchanged.
  const uint64_t exact =
      position.time + (number - position.samples_before - 1) * uint64_t{run.entry.sample_delta};
  if (exact > kLastTime) return P3GPP_ERR_OUT_OF_RANGE;
  time = static_cast<uint32_t>(exact);
  return P3GPP_OK;
}

// Kept: a run is taken once the sample is at or past its last sample, not its first. A backward search
// therefore lands one run early, except on the last sample of a run, and finds nothing inside the first run.
Status find_ctts_backward(CttsPayload& ctts, uint32_t number, FoundRun<CttsEntry>& run) {
  RunPosition& position = ctts.position;
  while (!run.found && position.index > 0) {
    const Status status = read_entry(ctts.cursor, position.index - 1, run.entry);
    if (status != P3GPP_OK) return status;
    run.found = number >= position.samples_before;
    position.samples_before -= run.entry.sample_count;
    --position.index;
  }
  return P3GPP_OK;
}

// Kept: unlike the other tables, ctts is never searched from the front again, however far back the sample is.
Status find_ctts_run(CttsPayload& ctts, uint32_t number, FoundRun<CttsEntry>& run) {
  return number > ctts.position.samples_before
             ? find_run_forward(ctts, number, run, [](const CttsEntry&) -> Status { return P3GPP_OK; })
             : find_ctts_backward(ctts, number, run);
}

}  // namespace

Status step_back(SttsPayload& stts, SttsEntry& entry) {
  TimedRunPosition& position = stts.position;
  const Status status = read_entry(stts.cursor, position.index - 1, entry);
  if (status != P3GPP_OK) return status;
  position.samples_before -= entry.sample_count;
  position.time -= entry.sample_count * entry.sample_delta;
  --position.index;
  return P3GPP_OK;
}

Status sample_times(StblPayload& stbl, uint32_t number, uint32_t& decoding_time, uint32_t& composition_time) {
  auto* stts = payload_of<SttsPayload>(stbl.stts);
  auto* stsz = payload_of<StszPayload>(stbl.stsz);
  if (stts == nullptr || stsz == nullptr) return P3GPP_ERR_NO_TABLE;
  if (number == 0 || number > stsz->sample_count) return P3GPP_ERR_OUT_OF_RANGE;
  Status status = decoding_time_of(*stts, number, decoding_time);
  if (status != P3GPP_OK) return status;

  auto* ctts = payload_of<CttsPayload>(stbl.ctts);
  if (ctts == nullptr) {
    composition_time = decoding_time;
    return P3GPP_OK;
  }
  FoundRun<CttsEntry> run;
  status = find_ctts_run(*ctts, number, run);
  if (status != P3GPP_OK) return status;
  composition_time = decoding_time + (run.found ? run.entry.sample_offset : composition_time);
  return P3GPP_OK;
}

}  // namespace zdr::p3gpp
