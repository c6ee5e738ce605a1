// The cache of a sample table: where a refill starts, and how much it may read.
#include "p3gpp/boxes/table_cursor.h"

namespace zdr::p3gpp {

TableCursor::TableCursor(uint64_t entries_offset, uint32_t entry_count, uint16_t entry_size,
                         uint64_t bytes_in_box)
    : entries_offset_(entries_offset),
      entry_count_(entry_count),
      readable_count_(static_cast<uint32_t>(std::min<uint64_t>(entry_count, bytes_in_box / entry_size))),
      entry_size_(entry_size) {}

Status TableCursor::attach(uint32_t cache_bytes, FMGR_Stream* stream) {
  detach();
  if (cache_bytes < entry_size_) return P3GPP_ERR_BAD_ARGUMENT;
  const uint64_t table_bytes = uint64_t{entry_count_} * entry_size_;
  const auto capacity = static_cast<uint32_t>(std::min<uint64_t>(cache_bytes, table_bytes));
  cache_ = std::make_unique_for_overwrite<uint8_t[]>(capacity);
  capacity_ = capacity;
  stream_ = stream;
  return entry_count_ == 0 ? P3GPP_OK : fill(0);
}

void TableCursor::detach() noexcept {
  cache_.reset();
  capacity_ = 0;
  first_cached_ = 0;
  cached_count_ = 0;
  stream_ = nullptr;
}

Status TableCursor::refill(uint32_t index) {
  if (index >= entry_count_) return P3GPP_ERR_BAD_ARGUMENT;
  if (cached_count_ == 0 || index > first_cached_) return fill(index);
  // Kept: reading backwards, the block is centred on the entry, so that the next steps back hit the cache.
  const uint32_t half = (cached_count_ - 1) / 2;
  return fill(index < half ? 0 : index - half);
}

Status TableCursor::fill(uint32_t start) {
  // The header may claim more than its box holds; bytes past the box do not belong to this table.
  if (start >= readable_count_) return P3GPP_ERR_READ;
  const uint32_t count = std::min(capacity_ / entry_size_, readable_count_ - start);
  cached_count_ = 0;  // a failed read may leave a partial block
  const Status status = read_entries(start, count, cache_.get());
  if (status != P3GPP_OK) return status;
  first_cached_ = start;
  cached_count_ = count;
  return P3GPP_OK;
}

Status TableCursor::read_entries(uint32_t first, uint32_t count, uint8_t* out) const {
  const uint64_t position = entries_offset_ + uint64_t{first} * entry_size_;
  return read_at(stream_, position, out, count * entry_size_);
}

}  // namespace zdr::p3gpp
