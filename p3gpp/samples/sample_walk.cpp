// The first sample of a stretch is looked up in all tables. Those after it, to the end of its chunk and of
// its runs of times, only have a size to be read. Whatever is out of the ordinary ends the stretch, so that
// the general lookup decides about it.
#include "p3gpp/samples/sample_walk.h"

#include <algorithm>

#include "p3gpp/samples/sample_lookup.h"
#include "p3gpp/samples/sample_reading.h"

namespace zdr::p3gpp {
namespace {

// What the samples of a stretch have in common.
struct Stretch {
  uint64_t last = 0;  // sample
  uint32_t delta = 0;
  uint32_t composition_offset = 0;
};

// Reads the run at the position of a table if it covers the sample.
template <typename Table, typename Entry>
bool read_covering_run(Table& table, uint32_t number, Entry& run) {
  const RunPosition& position = table.position;
  return number > position.samples_before && position.index < table.cursor.entry_count() &&
         read_entry(table.cursor, position.index, run) == P3GPP_OK &&
         number - position.samples_before <= run.sample_count;
}

// Finds the stretch of a sample that has just been located; it may be that sample alone.
Stretch find_stretch(const StblPayload& stbl, uint32_t number) {
  auto& stsc = *payload_of<StscPayload>(stbl.stsc);
  auto& stts = *payload_of<SttsPayload>(stbl.stts);
  auto* ctts = payload_of<CttsPayload>(stbl.ctts);
  StscEntry chunks;
  SttsEntry times;
  CttsEntry offsets{UINT32_MAX, 0};
  Stretch stretch{.last = number};
  if (read_entry(stsc.cursor, stsc.position.index, chunks) != P3GPP_OK ||
      !read_covering_run(stts, number, times) ||
      (ctts != nullptr && !read_covering_run(*ctts, number, offsets)))
    return stretch;
  const uint64_t in_run = number - stsc.position.samples_before - 1;
  const uint64_t left_in_chunk = chunks.samples_per_chunk - 1 - in_run % chunks.samples_per_chunk;
  stretch.last = std::min({number + left_in_chunk, stts.position.samples_before + times.sample_count,
                           uint64_t{payload_of<StszPayload>(stbl.stsz)->sample_count}});
  if (ctts != nullptr)
    stretch.last = std::min(stretch.last, ctts->position.samples_before + offsets.sample_count);
  const uint64_t time =
      stts.position.time + (number - stts.position.samples_before - 1) * uint64_t{times.sample_delta};
  if (times.sample_delta != 0)
    stretch.last = std::min(stretch.last, number + (kLastTime - time) / times.sample_delta);
  stretch.delta = times.sample_delta;
  stretch.composition_offset = offsets.sample_offset;
  return stretch;
}

}  // namespace

Status locate_samples(const TrackPath& path, std::span<P3gppSample> samples, uint32_t& located) {
  StblPayload& stbl = *path.stbl;
  P3gppSample sample = samples[0];
  sample.buffer = nullptr;
  located = 0;
  for (; located < samples.size(); ++sample.number) {
    Status status = read_sample(path, sample, 0);
    if (status != P3GPP_OK) return status;
    samples[located++] = sample;
    const Stretch stretch = find_stretch(stbl, sample.number);
    while (located < samples.size() && sample.number < stretch.last) {
      uint32_t size = 0;
      if (sample_size(*payload_of<StszPayload>(stbl.stsz), sample.number + 1, size) != P3GPP_OK) break;
      ++sample.number;
      sample.file_offset += sample.size;
      sample.size = size;
      sample.decoding_time += stretch.delta;
      sample.composition_time = sample.decoding_time - path.trak->edit_shift + stretch.composition_offset;
      samples[located++] = sample;
    }
    stbl.sequential.last_sample = sample.number;
    stbl.sequential.next_offset = sample.file_offset + sample.size;
  }
  return P3GPP_OK;
}

}  // namespace zdr::p3gpp
