// Locates a sample in the file: its chunk (stsc), the offset of the chunk (stco or co64), and the sizes
// (stsz) of the samples before it in the chunk.
#include "p3gpp/samples/sample_lookup.h"

namespace zdr::p3gpp {
namespace {

// The tables that locate a sample. If a track has both offset tables, stco is used.
struct LocationTables {
  StscPayload* stsc;
  StcoPayload* stco;
  Co64Payload* co64;
  StszPayload* stsz;

  explicit LocationTables(const StblPayload& stbl)
      : stsc(payload_of<StscPayload>(stbl.stsc)),
        stco(payload_of<StcoPayload>(stbl.stco)),
        co64(payload_of<Co64Payload>(stbl.co64)),
        stsz(payload_of<StszPayload>(stbl.stsz)) {}
  bool complete() const { return stsc != nullptr && (stco != nullptr || co64 != nullptr) && stsz != nullptr; }
  uint32_t chunk_count() const {
    return stco != nullptr ? stco->cursor.entry_count() : co64->cursor.entry_count();
  }
};

// Where a chunk begins, in the file and among the samples.
struct ChunkLocation {
  uint32_t description_index = 0;
  uint32_t samples_before = 0;  // samples of all chunks before this one
  uint64_t offset = 0;          // file offset
};

// Consecutive chunks with equally many samples: one stsc entry, and how many samples it covers.
struct ChunkRun {
  StscEntry entry;
  uint64_t samples;
};

// Counts the samples of an entry, whose chunks end before `next_first_chunk`. Entries out of order cover no
// samples, so that the sum of the runs before a position never shrinks.
uint64_t samples_of_run(const StscEntry& entry, uint64_t next_first_chunk) {
  if (next_first_chunk <= entry.first_chunk) return 0;
  return (next_first_chunk - entry.first_chunk) * entry.samples_per_chunk;
}

Status read_run(const LocationTables& tables, uint32_t index, ChunkRun& run) {
  TableCursor& cursor = tables.stsc->cursor;
  const Status status = read_entry(cursor, index, run.entry);
  if (status != P3GPP_OK) return status;
  // The last run extends to the end of the chunks.
  // Kept: one chunk too far if the chunks are numbered from 0.
  uint64_t next_first_chunk = uint64_t{tables.chunk_count()} + 1;
  if (index + 1 < cursor.entry_count()) {
    StscEntry next;
    const Status next_status = read_entry(cursor, index + 1, next);
    if (next_status != P3GPP_OK) return next_status;
    next_first_chunk = next.first_chunk;
  }
  run.samples = samples_of_run(run.entry, next_first_chunk);
  return P3GPP_OK;
}

// If the runs end before the sample, the position stays past the last run.
Status find_run_forward(const LocationTables& tables, uint32_t number, StscEntry& found) {
  RunPosition& position = tables.stsc->position;
  while (position.index < tables.stsc->cursor.entry_count()) {
    ChunkRun run;
    const Status status = read_run(tables, position.index, run);
    if (status != P3GPP_OK) return status;
    if (number - position.samples_before <= run.samples) {
      found = run.entry;
      return P3GPP_OK;
    }
    position.samples_before += run.samples;
    ++position.index;
  }
  return P3GPP_ERR_OUT_OF_RANGE;
}

Status find_run_backward(const LocationTables& tables, uint32_t number, StscEntry& found) {
  RunPosition& position = tables.stsc->position;
  while (position.index > 0) {
    ChunkRun run;
    const Status status = read_run(tables, position.index - 1, run);
    if (status != P3GPP_OK) return status;
    position.samples_before -= run.samples;
    --position.index;
    if (number > position.samples_before) {
      found = run.entry;
      return P3GPP_OK;
    }
  }
  return P3GPP_ERR_OUT_OF_RANGE;
}

Status find_run(const LocationTables& tables, uint32_t number, StscEntry& found) {
  RunPosition& position = tables.stsc->position;
  if (number < position.samples_before / 2) position = {};
  return number > position.samples_before ? find_run_forward(tables, number, found)
                                          : find_run_backward(tables, number, found);
}

// `index` may have wrapped below 0; the cursor then refuses it.
Status chunk_offset(const LocationTables& tables, uint32_t index, uint64_t& offset) {
  if (tables.stco == nullptr) {
    Number64Entry entry;
    const Status status = read_entry(tables.co64->cursor, index, entry);
    if (status == P3GPP_OK) offset = entry.value;
    return status;
  }
  Number32Entry entry;
  const Status status = read_entry(tables.stco->cursor, index, entry);
  if (status == P3GPP_OK) offset = entry.value;
  return status;
}

// Finds the file offset and size of a sample in the given chunk.
Status locate_in_chunk(StblPayload& stbl, const ChunkLocation& chunk, P3gppSample& sample) {
  StszPayload& stsz = *payload_of<StszPayload>(stbl.stsz);
  SequentialRead& sequential = stbl.sequential;
  uint64_t offset = sequential.next_offset;
  // Kept: chunks are distinguished only by their offset, so two at the same offset are read as one.
  const bool in_sequence = sequential.valid && sample.number == sequential.last_sample + 1 &&
                           chunk.offset == sequential.chunk_offset;
  if (!in_sequence) {
    uint64_t bytes_before = 0;
    const Status status = bytes_between(stsz, chunk.samples_before + 1, sample.number, bytes_before);
    if (status != P3GPP_OK) return status;
    offset = chunk.offset + bytes_before;
  }
  uint32_t size = 0;
  const Status status = sample_size(stsz, sample.number, size);
  if (status != P3GPP_OK) {
    if (in_sequence) sequential.valid = false;
    return status;
  }
  sample.file_offset = offset;
  sample.size = size;
  sequential.chunk_offset = chunk.offset;
  sequential.next_offset = offset + size;
  sequential.valid = true;
  return P3GPP_OK;
}

Status chunk_of_sample(StblPayload& stbl, uint32_t number, ChunkLocation& chunk) {
  const LocationTables tables(stbl);
  if (!tables.complete()) return P3GPP_ERR_NO_TABLE;
  if (number == 0 || number > tables.stsz->sample_count) return P3GPP_ERR_OUT_OF_RANGE;
  StscEntry entry;
  const Status status = find_run(tables, number, entry);
  if (status != P3GPP_OK) return status;
  // The run covers the sample, so samples_per_chunk is not 0 and run_start is below `number`.
  const auto run_start = static_cast<uint32_t>(tables.stsc->position.samples_before);
  const uint32_t chunks_before = (number - run_start - 1) / entry.samples_per_chunk;
  chunk.description_index = entry.description_index;
  chunk.samples_before = run_start + chunks_before * entry.samples_per_chunk;
  return chunk_offset(tables, entry.first_chunk + chunks_before - stbl.chunk_number_base, chunk.offset);
}

}  // namespace

Status locate_sample(StblPayload& stbl, P3gppSample& sample) {
  ChunkLocation chunk;
  Status status = chunk_of_sample(stbl, sample.number, chunk);
  if (status != P3GPP_OK) return status;
  sample.description_index = chunk.description_index;
  status = locate_in_chunk(stbl, chunk, sample);
  if (status != P3GPP_OK) return status;
  status = sample_times(stbl, sample.number, sample.decoding_time, sample.composition_time);
  if (status != P3GPP_OK) {
    // The offset is already past this sample; a second attempt must not start there.
    stbl.sequential.valid = false;
    return status;
  }
  stbl.sequential.last_sample = sample.number;
  return P3GPP_OK;
}

}  // namespace zdr::p3gpp
