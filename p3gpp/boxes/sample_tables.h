// The sample tables of a track (ISO/IEC 14496-12, 8.6 and 8.7): stts, ctts, stss, stsh, stsc, stco, co64,
// stsz. Each is stored as a cursor into the file, with the position that the lookups carry from one call to
// the next.
//
// stts, ctts and stsc are run-length coded, so a lookup walks runs from its position; reading in order takes
// at most one step per sample.
#pragma once

#include <cstdint>

#include "p3gpp/boxes/entry_blocks.h"
#include "p3gpp/boxes/lookup_state.h"
#include "p3gpp/boxes/table_cursor.h"
#include "p3gpp/parse/big_endian.h"
#include "p3gpp/parse/box_node.h"
#include "p3gpp/parse/box_reader.h"
#include "p3gpp/parse/status.h"

namespace zdr::p3gpp {

// --- Entries ---

struct SttsEntry {
  static constexpr uint16_t kSize = 8;
  uint32_t sample_count;
  uint32_t sample_delta;  // media time scale
  static SttsEntry decode(const uint8_t* raw) { return {load_be32(raw), load_be32(raw + 4)}; }
};

struct CttsEntry {
  static constexpr uint16_t kSize = 8;
  uint32_t sample_count;
  uint32_t sample_offset;  // negative offsets wrap, and so do sums with them
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

// --- Payloads ---

struct AnyTablePayload : BoxPayload {
  TableCursor cursor;
  void describe(const BoxNode& node, BoxFields& fields) const override;
};

template <typename EntryType>
struct TablePayload : AnyTablePayload {
  using Entry = EntryType;
};

struct SttsPayload final : TablePayload<SttsEntry> {
  TimedRunPosition position;
};

struct CttsPayload final : TablePayload<CttsEntry> {
  RunPosition position;
};

// Never empty: a table without entries is dropped, and then every sample is a sync sample.
struct StssPayload final : TablePayload<Number32Entry> {
  SyncPosition position;
  EntryBlocks blocks;  // after the sorted front
};

struct StscPayload final : TablePayload<StscEntry> {
  RunPosition position;
};

struct StcoPayload final : TablePayload<Number32Entry> {};
struct Co64Payload final : TablePayload<Number64Entry> {};
struct StshPayload final : TablePayload<StshEntry> {};  // no lookup uses it

struct StszPayload final : TablePayload<Number32Entry> {
  uint32_t default_size = 0;  // bytes of every sample; 0: each sample has an entry
  uint32_t sample_count = 0;
  PartialSizeSum partial_sum;
  void describe(const BoxNode& node, BoxFields& fields) const override;
};

// --- Parsers of the table headers ---

Status parse_stts(BoxReader& reader, BoxNode& node);
Status parse_ctts(BoxReader& reader, BoxNode& node);
// Makes no payload if the table has no entries.
Status parse_stss(BoxReader& reader, BoxNode& node);
Status parse_stsc(BoxReader& reader, BoxNode& node);
Status parse_stco(BoxReader& reader, BoxNode& node);
Status parse_co64(BoxReader& reader, BoxNode& node);
Status parse_stsh(BoxReader& reader, BoxNode& node);
// P3GPP_ERR_NO_TABLE when the box is too short for its entries.
Status parse_stsz(BoxReader& reader, BoxNode& node);

}  // namespace zdr::p3gpp
