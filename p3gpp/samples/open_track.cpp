// Opens a track for reading: two streams, and a cache for each sample table out of one budget.
#include "p3gpp/samples/open_track.h"

#include <algorithm>

#include "p3gpp/boxes/leaf_boxes.h"
#include "p3gpp/boxes/sample_tables.h"
#include "p3gpp/samples/track_access.h"

namespace zdr::p3gpp {
namespace {

constexpr uint32_t kMinCacheBudget = 1024;

// Kept: the budget is distributed table by table. What a small table does not need is left for the tables
// after it, so the order matters. Budgets below the minimum are raised to it.
class CacheBudget {
 public:
  CacheBudget(uint32_t bytes, FMGR_Stream* stream) : left_(bytes), stream_(stream) {}

  Status status() const { return status_; }

  // Gives the table in `slot`, if there is one, 1/divisor of what is left.
  void grant(const BoxSlot& slot, uint32_t divisor) {
    auto* table = payload_of<AnyTablePayload>(slot);
    if (table == nullptr || status_ != P3GPP_OK) return;
    status_ = table->cursor.attach(std::min(left_ / divisor, slot->size), stream_);
    left_ -= table->cursor.cache_capacity();
  }

 private:
  uint32_t left_;
  FMGR_Stream* stream_;
  Status status_ = P3GPP_OK;
};

Status attach_caches(const StblPayload& stbl, uint32_t cache_budget, FMGR_Stream* stream) {
  CacheBudget budget(std::max(cache_budget, kMinCacheBudget), stream);
  budget.grant(stbl.stts, 6);
  budget.grant(stbl.ctts, 5);
  budget.grant(stbl.stss, 4);
  const auto* stsz = payload_of<StszPayload>(stbl.stsz);
  if (stsz != nullptr && stsz->default_size == 0) budget.grant(stbl.stsz, 3);
  budget.grant(stbl.stsc, 2);
  // Kept: an stco that takes everything leaves nothing for a co64 in the same track, and the open fails.
  budget.grant(stbl.stco, 1);
  budget.grant(stbl.co64, 1);
  return budget.status();
}

void detach_caches(const StblPayload& stbl) noexcept {
  for (const BoxSlot* slot :
       {&stbl.stts, &stbl.ctts, &stbl.stss, &stbl.stsz, &stbl.stsc, &stbl.stco, &stbl.co64}) {
    auto* table = payload_of<AnyTablePayload>(*slot);
    if (table != nullptr) table->cursor.detach();
  }
}

void reset_positions(StblPayload& stbl) {
  const auto reset_position = [](auto* table) {
    if (table != nullptr) table->position = {};
  };
  reset_position(payload_of<SttsPayload>(stbl.stts));
  reset_position(payload_of<CttsPayload>(stbl.ctts));
  reset_position(payload_of<StssPayload>(stbl.stss));
  reset_position(payload_of<StscPayload>(stbl.stsc));
  auto* stsz = payload_of<StszPayload>(stbl.stsz);
  if (stsz != nullptr) stsz->partial_sum = {};
  stbl.sequential = {};
}

// Chunks are numbered from 1; some writers number them from 0.
Status read_chunk_number_base(StblPayload& stbl) {
  auto* stsc = payload_of<StscPayload>(stbl.stsc);
  if (stsc == nullptr) return P3GPP_ERR_NO_TABLE;
  StscEntry entry{};
  const Status status = read_entry(stsc->cursor, 0, entry);
  if (status != P3GPP_OK) return status;
  // Kept: only the low byte is used, so 256 is read as 0.
  const auto base = static_cast<uint8_t>(entry.first_chunk);
  if (base > 1) return P3GPP_ERR_NO_TABLE;
  stbl.chunk_number_base = base;
  return P3GPP_OK;
}

// The initial delay of the edit list: the duration of the first empty edit in a list of two or more.
// Kept: it is in the movie time scale and is added unconverted to times in the media time scale.
uint32_t edit_shift_of(const TrakPayload& trak) {
  const auto* edts = payload_of<EdtsPayload>(trak.edts);
  const auto* elst = edts == nullptr ? nullptr : payload_of<ElstPayload>(edts->elst);
  if (elst == nullptr || elst->entry_count() < 2) return 0;
  for (size_t i = 0; i < elst->entry_count(); ++i) {
    const ElstEntry edit = elst->entry(i);
    if (edit.media_time == kEmptyEdit) return edit.segment_duration;
  }
  return 0;
}

Status open_streams(const P3gppFile& file, TrakPayload& trak) {
  trak.data_stream.reset(FMGR_FOpen(file.descriptor, "rb", file.context));
  if (!trak.data_stream) return P3GPP_ERR_OPEN;
  trak.table_stream.reset(FMGR_FOpen(file.descriptor, "rb", file.context));
  return trak.table_stream ? P3GPP_OK : P3GPP_ERR_OPEN;
}

Status prepare(const P3gppFile& file, const TrackPath& path, uint32_t cache_budget) {
  Status status = open_streams(file, *path.trak);
  if (status != P3GPP_OK) return status;
  reset_positions(*path.stbl);
  status = attach_caches(*path.stbl, cache_budget, path.trak->table_stream.get());
  if (status != P3GPP_OK) return status;
  status = read_chunk_number_base(*path.stbl);
  if (status != P3GPP_OK) return status;
  path.trak->edit_shift = edit_shift_of(*path.trak);
  return P3GPP_OK;
}

}  // namespace

Status open_track(const P3gppFile& file, uint32_t track_id, uint32_t cache_budget, BoxNode*& trak) {
  BoxNode* node = nullptr;
  Status status = find_track(file, track_id, node);
  if (status != P3GPP_OK) return status;
  TrackPath path;
  status = walk_to_tables(node, path);
  if (status != P3GPP_OK) return status;
  close_track(path);
  status = guarded([&] { return prepare(file, path, cache_budget); });
  if (status != P3GPP_OK) {
    close_track(path);
    return status;
  }
  path.trak->open_path = path;
  trak = node;
  return P3GPP_OK;
}

void close_track(TrackPath path) noexcept {
  path.trak->data_stream.reset();
  path.trak->table_stream.reset();
  path.trak->open_path = {};
  detach_caches(*path.stbl);
}

}  // namespace zdr::p3gpp
