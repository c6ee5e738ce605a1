// Finds the sample at a decoding time, over the runs of stts.
//
// Kept: the two directions of the walk yield different results. Walking backward finds the sample whose
// interval holds the time; walking forward finds the sample before that one (a time at the very start of a
// sample belongs to the previous one).
#include "p3gpp/samples/sample_lookup.h"

namespace zdr::p3gpp {
namespace {

// Reports a sample of the run at `position`. Fails if the sample number does not fit 32 bits.
Status sample_in_run(const TimedRunPosition& position, uint32_t delta, uint64_t number, TimedSample& sample) {
  if (number == 0) number = 1;
  if (number > std::numeric_limits<uint32_t>::max()) return P3GPP_ERR_OUT_OF_RANGE;
  sample.number = static_cast<uint32_t>(number);
  sample.time = position.time;
  if (number > position.samples_before) {
    // The sum is not after the requested time, so it fits.
    sample.time += static_cast<uint32_t>((number - position.samples_before - 1) * delta);
  }
  return P3GPP_OK;
}

// Past the last run: reports the number of the last sample, with the time just after it.
Status end_of_runs(uint64_t samples, uint64_t end, TimedSample& sample) {
  if (samples > std::numeric_limits<uint32_t>::max()) return P3GPP_ERR_OUT_OF_RANGE;
  sample.number = static_cast<uint32_t>(samples);
  sample.time = static_cast<uint32_t>(end);
  return P3GPP_OK;
}

Status find_forward(SttsPayload& stts, uint32_t time, TimedSample& sample) {
  TimedRunPosition& position = stts.position;
  const uint32_t entry_count = stts.cursor.entry_count();
  if (entry_count == 0) return P3GPP_ERR_BAD_ARGUMENT;
  // An earlier lookup of a sample that the runs do not reach has left the position past them.
  if (position.index >= entry_count) return end_of_runs(position.samples_before, position.time, sample);
  while (true) {
    SttsEntry entry;
    const Status status = read_entry(stts.cursor, position.index, entry);
    if (status != P3GPP_OK) return status;
    const uint64_t end = position.time + uint64_t{entry.sample_count} * entry.sample_delta;
    if (end > kLastTime || time <= end) {
      // The time is after the start of the run and not after its end, so the delta is not 0.
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
  TimedRunPosition& position = stts.position;
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
