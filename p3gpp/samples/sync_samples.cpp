// Sync samples (stss): whether a sample is one, and which is the next or the previous one.
//
// A query walks the table entry by entry from where the last query ended. Each entry read becomes the
// position.
#include "p3gpp/samples/sample_lookup.h"

namespace zdr::p3gpp {
namespace {

// Reads the entry at `index` and makes it the position.
Status move_to(StssPayload& stss, uint32_t index, uint32_t& number) {
  Number32Entry entry;
  const Status status = read_entry(stss.cursor, index, entry);
  if (status != P3GPP_OK) return status;
  stss.position = index;
  number = entry.value;
  return P3GPP_OK;
}

// Steps back until an entry is at or below `number`, or to the first entry.
// Kept: the first entry is the result of a backward search even when it is above `number`.
Status walk_back(StssPayload& stss, uint32_t number, uint32_t& entry) {
  while (entry > number && stss.position > 0) {
    const Status status = move_to(stss, stss.position - 1, entry);
    if (status != P3GPP_OK) return status;
  }
  return P3GPP_OK;
}

// Steps forward until an entry is at or above `number`, or the last entry is reached.
Status walk_forward(StssPayload& stss, uint32_t number, uint32_t& entry) {
  while (entry < number && stss.position + 1 < stss.cursor.entry_count()) {
    const Status status = move_to(stss, stss.position + 1, entry);
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
  while (entry <= number && stss.position + 1 < stss.cursor.entry_count()) {
    const Status status = move_to(stss, stss.position + 1, entry);
    if (status != P3GPP_OK) return status;
  }
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
  Status status = move_to(*stss, stss->position, entry);
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
  Status status = move_to(*stss, stss->position, entry);
  if (status != P3GPP_OK) return status;
  status = entry > number ? find_from_above(*stss, number, direction, entry)
                          : find_from_below(*stss, number, direction, entry);
  if (status == P3GPP_OK) found = entry;
  return status;
}

}  // namespace zdr::p3gpp
