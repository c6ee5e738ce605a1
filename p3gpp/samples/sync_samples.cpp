// Sync samples (stss): whether a sample is one, and which is the next or the previous one.
//
// A query walks the table entry by entry from where the last query ended; the last entry read becomes the
// position. Within the front of the table that is known to be sorted, a binary search replaces the walk;
// after it, the walk skips blocks that cannot end it. Result and position are the same. In an unsorted table
// the order of the walk decides the result.
#include <algorithm>

#include "p3gpp/samples/sample_lookup.h"

namespace zdr::p3gpp {
namespace {

// Reads the entry at `index` and makes it the position.
Status move_to(StssPayload& stss, uint32_t index, uint32_t& number) {
  Number32Entry entry;
  const Status status = read_entry(stss.cursor, index, entry);
  if (status != P3GPP_OK) return status;
  SyncPosition& position = stss.position;
  position.index = index;
  number = entry.value;
  if (index == position.sorted_count && number >= position.last_sorted) {
    ++position.sorted_count;
    position.last_sorted = number;
  }
  if (index >= position.sorted_count) stss.blocks.note(index, number, stss.cursor.readable_count());
  return P3GPP_OK;
}

// Moves from the position by growing, then by shrinking steps as long as `is_passed(entry)` holds, to the
// last such entry within the sorted front. `direction` is 1 or -1. An entry that cannot be read ends the skip
// only: the walk that follows reports it if it gets there.
template <typename IsPassed>
void skip_sorted(StssPayload& stss, int direction, IsPassed&& is_passed) {
  bool grows = true;
  for (int64_t step = 1; step > 0;) {
    const int64_t index = int64_t{stss.position.index} + direction * step;
    Number32Entry entry;
    const bool passed = index >= 0 && index < int64_t{stss.position.sorted_count} &&
                        read_entry(stss.cursor, static_cast<uint32_t>(index), entry) == P3GPP_OK &&
                        is_passed(entry.value);
    if (passed) stss.position.index = static_cast<uint32_t>(index);
    grows = grows && passed;
    step = grows ? step * 2 : step / 2;
  }
}

// Steps back until an entry is at or below `number`, or to the first entry.
// Kept: the first entry is the result of a backward search even when it is above `number`.
Status walk_back(StssPayload& stss, uint32_t number, uint32_t& entry) {
  while (entry > number && stss.position.index > 0) {
    skip_sorted(stss, -1, [number](uint32_t value) { return value > number; });
    if (stss.position.index == 0) return move_to(stss, 0, entry);
    const uint32_t next = stss.blocks.skip_back(stss.position.index - 1, number);
    stss.position.index = next + 1;
    const Status status = move_to(stss, next, entry);
    if (status != P3GPP_OK) return status;
  }
  return P3GPP_OK;
}

// Steps forward until an entry is at or above `number`, or the last entry is reached. `number` may be one
// more than any entry can be.
Status walk_forward(StssPayload& stss, uint64_t number, uint32_t& entry) {
  const uint32_t count = stss.cursor.entry_count();
  while (entry < number && stss.position.index + 1 < count) {
    skip_sorted(stss, 1, [number](uint32_t value) { return value < number; });
    if (stss.position.index + 1 == count) return move_to(stss, count - 1, entry);
    const uint32_t next = std::min(stss.blocks.skip_forward(stss.position.index + 1, number), count - 1);
    stss.position.index = next - 1;
    const Status status = move_to(stss, next, entry);
    if (status != P3GPP_OK) return status;
  }
  return P3GPP_OK;
}

// Kept: coming from an entry above `number`, a forward search may return `number` itself; coming from an
// entry at or below it, it returns the next sync sample.
Status find_from_above(StssPayload& stss, uint32_t number, SyncDirection direction, uint32_t& entry) {
  const Status status = walk_back(stss, number, entry);
  if (status != P3GPP_OK || direction == SyncDirection::kBackward) return status;
  return walk_forward(stss, number, entry);
}

Status find_from_below(StssPayload& stss, uint32_t number, SyncDirection direction, uint32_t& entry) {
  const Status status = walk_forward(stss, uint64_t{number} + 1, entry);
  if (status != P3GPP_OK) return status;
  if (direction == SyncDirection::kBackward) return walk_back(stss, number, entry);
  return entry > number ? P3GPP_OK : P3GPP_ERR_NO_SYNC_SAMPLE;
}

// Without a table every sample is a sync sample.
// Kept: the result is the neighbour, never the sample itself, and from the last sample both directions fail.
Status neighbour(uint32_t number, uint32_t sample_count, SyncDirection direction, uint32_t& found) {
  if (number == sample_count) return P3GPP_ERR_OUT_OF_RANGE;
  if (direction == SyncDirection::kForward) {
    found = number + 1;
  } else {
    found = number == 1 ? 1 : number - 1;
  }
  return P3GPP_OK;
}

}  // namespace

Status is_sync_sample(StblPayload& stbl, uint32_t number, bool& is_sync) {
  auto* stsz = payload_of<StszPayload>(stbl.stsz);
  if (stsz == nullptr) return P3GPP_ERR_NO_TABLE;
  if (number == 0) return P3GPP_ERR_BAD_ARGUMENT;
  auto* stss = payload_of<StssPayload>(stbl.stss);
  // Kept: past the last sample the result is false, not an error.
  is_sync = stss == nullptr && number <= stsz->sample_count;
  if (stss == nullptr || number > stsz->sample_count) return P3GPP_OK;

  uint32_t entry = 0;
  Status status = move_to(*stss, stss->position.index, entry);
  if (status != P3GPP_OK) return status;
  if (number < entry / 2) {
    status = move_to(*stss, 0, entry);
    if (status != P3GPP_OK) return status;
    status = walk_forward(*stss, number, entry);
  } else if (entry > number) {
    status = walk_back(*stss, number, entry);
  } else {
    status = walk_forward(*stss, number, entry);
  }
  is_sync = status == P3GPP_OK && entry == number;
  return status;
}

Status find_sync_sample(StblPayload& stbl, uint32_t number, SyncDirection direction, uint32_t& found) {
  auto* stsz = payload_of<StszPayload>(stbl.stsz);
  if (stsz == nullptr) return P3GPP_ERR_NO_TABLE;
  if (number == 0 || number > stsz->sample_count) return P3GPP_ERR_OUT_OF_RANGE;
  auto* stss = payload_of<StssPayload>(stbl.stss);
  if (stss == nullptr) return neighbour(number, stsz->sample_count, direction, found);

  uint32_t entry = 0;
  Status status = move_to(*stss, stss->position.index, entry);
  if (status != P3GPP_OK) return status;
  status = entry > number ? find_from_above(*stss, number, direction, entry)
                          : find_from_below(*stss, number, direction, entry);
  if (status == P3GPP_OK) found = entry;
  return status;
}

}  // namespace zdr::p3gpp
