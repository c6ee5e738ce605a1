// From a decoding time to a sample, over the runs of stts.
//
// Kept on purpose: the two directions of the walk answer differently. Backward it is the sample whose
// interval holds the time; forward it is the one before that (a time at the very start of a sample counts to
// the sample before).
#include <limits>

#include "p3gpp/samples/sample_lookup.h"

namespace zdr::p3gpp {
namespace {

constexpr uint64_t kLastTime = std::numeric_limits<uint32_t>::max();

// A sample of the run at `position`; counts that add up past 32 bits have no sample number.
Status sample_in_run(const SttsPayload::Position& position, uint32_t delta, uint64_t number,
                     TimedSample& sample) {
  if (number == 0) number = 1;
  if (number > std::numeric_limits<uint32_t>::max()) return P3GPP_ERR_OUT_OF_RANGE;
  sample.number = static_cast<uint32_t>(number);
  sample.time = position.time;
  if (number > position.samples_before) {
    // The time asked for lies at or behind this, so it fits.
    sample.time += static_cast<uint32_t>((number - position.samples_before - 1) * delta);
  }
  return P3GPP_OK;
}

// Behind the last run: the sample number is that of the last sample, the time the one just after it.
Status end_of_runs(uint64_t samples, uint64_t end, TimedSample& sample) {
  if (samples > std::numeric_limits<uint32_t>::max()) return P3GPP_ERR_OUT_OF_RANGE;
  sample.number = static_cast<uint32_t>(samples);
  sample.time = static_cast<uint32_t>(end);
  return P3GPP_OK;
}

Status find_forward(SttsPayload& stts, uint32_t time, TimedSample& sample) {
  SttsPayload::Position& position = stts.position;
  const uint32_t entry_count = stts.cursor.entry_count();
  if (entry_count == 0) return P3GPP_ERR_BAD_ARGUMENT;
  // An earlier lookup of a sample that the runs do not reach has left the position behind them.
  if (position.index >= entry_count) return end_of_runs(position.samples_before, position.time, sample);
  while (true) {
    SttsEntry entry;
    const Status status = read_entry(stts.cursor, position.index, entry);
    if (status != P3GPP_OK) return status;
    const uint64_t end = position.time + uint64_t{entry.sample_count} * entry.sample_delta;
    if (end > kLastTime || time <= end) {
      // The time lies behind the start of the run and not behind its end: the delta is not 0.
      const uint64_t number = (time - position.time) / entry.sample_delta + position.samples_before;
      return sample_in_run(position, entry.sample_delta, number, sample);
    }
    const uint64_t samples_after = position.samples_before + entry.sample_count;
    if (position.index + 1 == entry_count) return end_of_runs(samples_after, end, sample);
    position.samples_before = samples_after;
    position.time = static_cast<uint32_t>(end);
    ++position.index;
  }
}

Status find_backward(SttsPayload& stts, uint32_t time, TimedSample& sample) {
  SttsPayload::Position& position = stts.position;
  if (position.index == 0) {
    sample = {1, position.time};
    return P3GPP_OK;
  }
  SttsEntry entry{};
  do {
    const Status status = step_back(stts, entry);
    if (status != P3GPP_OK) return status;
  } while (position.index > 0 && time < position.time);
  const uint32_t samples_into_run = entry.sample_delta == 0 ? 0 : (time - position.time) / entry.sample_delta;
  const uint64_t number = uint64_t{samples_into_run} + 1 + position.samples_before;
  return sample_in_run(position, entry.sample_delta, number, sample);
}

}  // namespace

Status time_to_sample(StblPayload& stbl, uint32_t time, TimedSample& sample) {
  auto* stts = payload_of<SttsPayload>(stbl.stts);
  if (stts == nullptr) return P3GPP_ERR_NO_TABLE;
  if (time < stts->position.time / 2) stts->position = {};
  return time > stts->position.time ? find_forward(*stts, time, sample) : find_backward(*stts, time, sample);
}

}  // namespace zdr::p3gpp
