// Opening a track for reading: two streams, and a cache for each sample table out of one budget.
#include <algorithm>

#include "p3gpp/samples/sample_reading.h"
#include "p3gpp/samples/track_access.h"

namespace zdr::p3gpp {
namespace {

constexpr uint32_t kMinCacheBudget = 1024;

// Hands out the budget table by table. What a small table does not need stays for those after it, so the
// order of the shares matters.
class CacheBudget {
 public:
  CacheBudget(uint32_t bytes, FMGR_Stream* stream) : left_(bytes), stream_(stream) {}

  Status status() const { return status_; }

  // Gives the table in `slot`, if there is one, 1/divisor of what is left.
  template <typename Payload>
  void grant(const BoxSlot& slot, uint32_t divisor) {
    auto* table = payload_of<Payload>(slot);
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
  budget.grant<SttsPayload>(stbl.stts, 6);
  budget.grant<CttsPayload>(stbl.ctts, 5);
  budget.grant<StssPayload>(stbl.stss, 4);
  const auto* stsz = payload_of<StszPayload>(stbl.stsz);
  if (stsz != nullptr && stsz->default_size == 0) budget.grant<StszPayload>(stbl.stsz, 3);
  budget.grant<StscPayload>(stbl.stsc, 2);
  // Kept on purpose: an stco that takes all leaves a co64 beside it none, which fails.
  budget.grant<StcoPayload>(stbl.stco, 1);
  budget.grant<Co64Payload>(stbl.co64, 1);
  return budget.status();
}

void detach_caches(const StblPayload& stbl) noexcept {
  const auto detach = [](auto* table) {
    if (table != nullptr) table->cursor.detach();
  };
  detach(payload_of<SttsPayload>(stbl.stts));
  detach(payload_of<CttsPayload>(stbl.ctts));
  detach(payload_of<StssPayload>(stbl.stss));
  detach(payload_of<StszPayload>(stbl.stsz));
  detach(payload_of<StscPayload>(stbl.stsc));
  detach(payload_of<StcoPayload>(stbl.stco));
  detach(payload_of<Co64Payload>(stbl.co64));
}

void reset_positions(StblPayload& stbl) {
  if (auto* stts = payload_of<SttsPayload>(stbl.stts)) stts->position = {};
  if (auto* ctts = payload_of<CttsPayload>(stbl.ctts)) ctts->position = {};
  if (auto* stss = payload_of<StssPayload>(stbl.stss)) stss->position = {};
  if (auto* stsc = payload_of<StscPayload>(stbl.stsc)) stsc->position = {};
  if (auto* stsz = payload_of<StszPayload>(stbl.stsz)) stsz->partial_sum = {};
  stbl.sequential = {};
}

// Writers number the chunks from 1, as the standard has it, or from 0.
Status read_chunk_number_base(StblPayload& stbl) {
  auto* stsc = payload_of<StscPayload>(stbl.stsc);
  if (stsc == nullptr) return P3GPP_ERR_NO_TABLE;
  StscEntry entry{};
  const Status status = read_entry(stsc->cursor, 0, entry);
  if (status != P3GPP_OK) return status;
  // Kept on purpose: only the low byte counts, so that 256 is taken for 0.
  const auto base = static_cast<uint8_t>(entry.first_chunk);
  if (base > 1) return P3GPP_ERR_NO_TABLE;
  stbl.chunk_number_base = base;
  return P3GPP_OK;
}

Status open_streams(const P3gppFile& file, TrakPayload& trak) {
  trak.data_stream.reset(FMGR_FOpen(file.descriptor, "rb", file.context));
  if (trak.data_stream == nullptr) return P3GPP_ERR_OPEN;
  trak.table_stream.reset(FMGR_FOpen(file.descriptor, "rb", file.context));
  return trak.table_stream == nullptr ? P3GPP_ERR_OPEN : P3GPP_OK;
}

Status prepare(const P3gppFile& file, const TrackPath& path, uint32_t cache_budget) {
  Status status = open_streams(file, *path.trak);
  if (status != P3GPP_OK) return status;
  reset_positions(*path.stbl);
  status = attach_caches(*path.stbl, cache_budget, path.trak->table_stream.get());
  if (status != P3GPP_OK) return status;
  status = read_chunk_number_base(*path.stbl);
  if (status != P3GPP_OK) return status;
  // A list without an empty edit shifts nothing; that is no reason not to play the track.
  (void)find_edit_shift(*path.trak, path.trak->edit_shift);
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
