// The sample tables of a track (ISO/IEC 14496-12, 8.6 and 8.7) as they are kept: a cursor into the file for
// each, and the position that the lookups (sample_lookup.h) carry from one call to the next.
//
// The tables are run-length coded, so a lookup walks runs. Its position names a run and what precedes it;
// reading in order then costs one step at most per sample.
#ifndef ZDR_P3GPP_SAMPLE_TABLES_H
#define ZDR_P3GPP_SAMPLE_TABLES_H

#include <cstdint>

#include "p3gpp/boxes/box_tree.h"
#include "p3gpp/boxes/table_cursor.h"
#include "p3gpp/parse/box_reader.h"
#include "p3gpp/parse/status.h"

namespace zdr::p3gpp {

// ---- Entries --------------------------------------------------------------------------------------------

struct SttsEntry {
  static constexpr uint16_t kSize = 8;
  uint32_t sample_count;
  uint32_t sample_delta;  // media time scale
  static SttsEntry decode(const uint8_t* raw) { return {load_be32(raw), load_be32(raw + 4)}; }
};

struct CttsEntry {
  static constexpr uint16_t kSize = 8;
  uint32_t sample_count;
  uint32_t sample_offset;  // a negative one wraps, and so does the sum that it enters
  static CttsEntry decode(const uint8_t* raw) { return {load_be32(raw), load_be32(raw + 4)}; }
};

struct StscEntry {
  static constexpr uint16_t kSize = 12;
  uint32_t first_chunk;
  uint32_t samples_per_chunk;
  uint32_t description_index;  // 1-based into stsd
  static StscEntry decode(const uint8_t* raw) {
    return {load_be32(raw), load_be32(raw + 4), load_be32(raw + 8)};
  }
};

// Tables of plain numbers: sync sample numbers, chunk offsets, sample sizes.
struct Number32Entry {
  static constexpr uint16_t kSize = 4;
  uint32_t value;
  static Number32Entry decode(const uint8_t* raw) { return {load_be32(raw)}; }
};
struct Number64Entry {
  static constexpr uint16_t kSize = 8;
  uint64_t value;
  static Number64Entry decode(const uint8_t* raw) { return {load_be64(raw)}; }
};

struct StshEntry {
  static constexpr uint16_t kSize = 8;
};

template <typename Entry>
Status read_entry(TableCursor& cursor, uint32_t index, Entry& entry) {
  const uint8_t* raw = nullptr;
  const Status status = cursor.get(index, &raw);
  if (status == P3GPP_OK) entry = Entry::decode(raw);
  return status;
}

// ---- Payloads -------------------------------------------------------------------------------------------

struct AnyTablePayload : BoxPayload {
  TableCursor cursor;
  void describe(const BoxNode& node, BoxFields& fields) const override;
};

template <typename EntryType>
struct TablePayload : AnyTablePayload {
  using Entry = EntryType;
};

// A run of a run-length coded table: which one, and how many samples the runs before it cover.
struct RunPosition {
  uint32_t index = 0;           // equals the entry count behind the last run
  uint64_t samples_before = 0;  // 64 bits: the counts of a file need not stay within 32
};

struct SttsPayload final : TablePayload<SttsEntry> {
  struct Position : RunPosition {
    uint32_t time = 0;  // decoding time of the run's first sample, media time scale
  } position;
};

struct CttsPayload final : TablePayload<CttsEntry> {
  RunPosition position;
};

// Never empty: a table without entries is not kept, and then every sample is a sync sample.
struct StssPayload final : TablePayload<Number32Entry> {
  uint32_t position = 0;  // entry index
};

struct StscPayload final : TablePayload<StscEntry> {
  RunPosition position;
};

struct StcoPayload final : TablePayload<Number32Entry> {};
struct Co64Payload final : TablePayload<Number64Entry> {};
struct StshPayload final : TablePayload<StshEntry> {};  // no lookup uses it

// Sum of the sizes of the samples [first, next), so that a sample located again, or one further on in its
// chunk, does not sum the chunk's sizes from the start.
struct PartialSizeSum {
  uint32_t first = 0;  // 1-based; 0: nothing summed
  uint32_t next = 0;
  uint64_t bytes = 0;
};

struct StszPayload final : TablePayload<Number32Entry> {
  uint32_t default_size = 0;  // bytes of every sample; 0: each has its entry
  uint32_t sample_count = 0;
  PartialSizeSum partial_sum;
  void describe(const BoxNode& node, BoxFields& fields) const override;
};

// ---- Header parsers, called by the sample table box -------------------------------------------------------

Status parse_stts(BoxReader& reader, BoxNode& node);
Status parse_ctts(BoxReader& reader, BoxNode& node);
// Makes no payload for a table without entries.
Status parse_stss(BoxReader& reader, BoxNode& node);
Status parse_stsc(BoxReader& reader, BoxNode& node);
Status parse_stco(BoxReader& reader, BoxNode& node);
Status parse_co64(BoxReader& reader, BoxNode& node);
Status parse_stsh(BoxReader& reader, BoxNode& node);
// P3GPP_ERR_NO_TABLE when the box cannot hold its entries.
Status parse_stsz(BoxReader& reader, BoxNode& node);

}  // namespace zdr::p3gpp

#endif
