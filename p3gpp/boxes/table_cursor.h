// Random access to the entries of one sample table, which stays in the file.
//
// While its track is open, a cursor owns a small cache of raw entries that it refills from the track's table
// stream, so that memory does not grow with the table. The result of a lookup never depends on the cache.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>

#include "p3gpp/parse/file_stream.h"
#include "p3gpp/parse/status.h"

namespace zdr::p3gpp {

class TableCursor {
 public:
  TableCursor() = default;
  // `entry_count` is the header's claim and bounds the indices; `bytes_in_box` bounds the reads, since a
  // header may claim more entries than its box holds.
  TableCursor(uint64_t entries_offset, uint32_t entry_count, uint16_t entry_size, uint64_t bytes_in_box);

  // Allocates a cache of at most `cache_bytes` and fills it from entry 0. `stream` is not owned.
  // P3GPP_ERR_BAD_ARGUMENT when not even one entry fits, or the status of the fill. May throw bad_alloc.
  Status attach(uint32_t cache_bytes, FMGR_Stream* stream);
  void detach() noexcept;

  // Points *entry at the raw entry, valid until the next call. P3GPP_ERR_BAD_ARGUMENT: no such entry;
  // P3GPP_ERR_READ, P3GPP_ERR_SEEK: the refill failed, or the entry lies beyond the box.
  Status get(uint32_t index, const uint8_t** entry);

  // Reads entries [first, first + count) in blocks of its own, bypassing the cache, and calls
  // `visit(const uint8_t* entries, uint32_t count)` for each block. For walks over much of a table. The block
  // is freed afterwards. May throw bad_alloc.
  template <typename Visit>
  Status scan(uint32_t first, uint64_t count, Visit&& visit) const;

  uint32_t entry_count() const { return entry_count_; }
  // Entries that lie within the box; never above entry_count().
  uint32_t readable_count() const { return readable_count_; }
  // 0 while no track is open on the table.
  uint32_t cache_capacity() const { return capacity_; }

 private:
  static constexpr uint32_t kScanBlockBytes = 256 * 1024;

  Status refill(uint32_t index);
  Status fill(uint32_t start);
  // The entries must lie within the box.
  Status read_entries(uint32_t first, uint32_t count, uint8_t* out) const;

  uint64_t entries_offset_ = 0;
  uint32_t entry_count_ = 0;
  uint32_t readable_count_ = 0;
  uint16_t entry_size_ = 1;
  std::unique_ptr<uint8_t[]> cache_;  // raw big-endian entries
  uint32_t capacity_ = 0;             // bytes
  uint32_t first_cached_ = 0;
  uint32_t cached_count_ = 0;
  FMGR_Stream* stream_ = nullptr;  // not owned
};

inline Status TableCursor::get(uint32_t index, const uint8_t** entry) {
  // An index below the cache wraps to a large number and misses too.
  if (index - first_cached_ >= cached_count_) {
    const Status status = refill(index);
    if (status != P3GPP_OK) return status;
  }
  *entry = cache_.get() + size_t{index - first_cached_} * entry_size_;
  return P3GPP_OK;
}

template <typename Visit>
Status TableCursor::scan(uint32_t first, uint64_t count, Visit&& visit) const {
  if (first + count > readable_count_) return P3GPP_ERR_READ;
  const auto block_entries = static_cast<size_t>(std::min<uint64_t>(count, kScanBlockBytes / entry_size_));
  const auto block = std::make_unique_for_overwrite<uint8_t[]>(block_entries * entry_size_);
  while (count > 0) {
    const auto batch = static_cast<uint32_t>(std::min<uint64_t>(count, block_entries));
    const Status status = read_entries(first, batch, block.get());
    if (status != P3GPP_OK) return status;
    visit(static_cast<const uint8_t*>(block.get()), batch);
    first += batch;
    count -= batch;
  }
  return P3GPP_OK;
}

}  // namespace zdr::p3gpp
