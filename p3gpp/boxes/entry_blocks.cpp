// Two levels of ranges: blocks of entries, and groups of blocks.
#include "p3gpp/boxes/entry_blocks.h"

#include <algorithm>
#include <new>

namespace zdr::p3gpp {
namespace {

constexpr uint32_t kMinBlockEntries = 16;
constexpr uint32_t kMaxBlocks = 16384;
constexpr uint32_t kGroup = 128;

constexpr uint32_t divided_up(uint32_t count, uint32_t size) {
  return count / size + (count % size != 0 ? 1 : 0);
}

}  // namespace

void EntryBlocks::Range::include(Range other) {
  smallest = std::min(smallest, other.smallest);
  largest = std::max(largest, other.largest);
}

void EntryBlocks::Run::add(uint32_t index, uint32_t value, bool starts_block, int direction) {
  if (starts_block) {
    range = {value, value};
  } else if (is_active && index == next) {
    range.include({value, value});
  }
  is_active = starts_block || (is_active && index == next);
  next = index + static_cast<uint32_t>(direction);
}

// Without memory every entry is walked over, with the same result.
void EntryBlocks::divide(uint32_t count) {
  count_ = count;
  const uint32_t size = std::max(kMinBlockEntries, divided_up(count, kMaxBlocks));
  block_count_ = divided_up(count, size);
  blocks_.reset(new (std::nothrow) Range[block_count_]);
  groups_.reset(new (std::nothrow) Range[divided_up(block_count_, kGroup)]);
  if (blocks_ && groups_) block_entries_ = size;
}

void EntryBlocks::note(uint32_t index, uint32_t value, uint32_t count) {
  if (count_ == 0) divide(count);
  if (block_entries_ == 0) return;
  const bool is_first = is_first_of_block(index);
  const bool is_last = is_last_of_block(index);
  up_.add(index, value, is_first, 1);
  down_.add(index, value, is_last, -1);
  if (is_last && up_.is_active) store(index / block_entries_, up_.range);
  if (is_first && down_.is_active) store(index / block_entries_, down_.range);
}

void EntryBlocks::store(uint32_t block, Range range) {
  blocks_[block] = range;
  const uint32_t first = block - block % kGroup;
  Range group = blocks_[first];
  for (uint32_t b = first + 1; b < std::min(first + kGroup, block_count_); ++b) group.include(blocks_[b]);
  groups_[block / kGroup] = group;
}

uint32_t EntryBlocks::skip_forward(uint32_t index, uint64_t number) const {
  if (block_entries_ == 0 || index >= count_ || !is_first_of_block(index)) return index;
  uint32_t block = index / block_entries_;
  while (block < block_count_ && !blocks_[block].may_reach(number)) {
    const bool skips_group = block % kGroup == 0 && !groups_[block / kGroup].may_reach(number);
    block += skips_group ? kGroup : 1;
  }
  return block < block_count_ ? block * block_entries_ : count_;
}

uint32_t EntryBlocks::skip_back(uint32_t index, uint64_t number) const {
  if (block_entries_ == 0 || index >= count_ || !is_last_of_block(index)) return index;
  int64_t block = index / block_entries_;
  while (block >= 0 && !blocks_[static_cast<size_t>(block)].may_fall_to(number)) {
    const bool skips_group =
        block % kGroup == kGroup - 1 && !groups_[static_cast<size_t>(block / kGroup)].may_fall_to(number);
    block -= skips_group ? kGroup : 1;
  }
  if (block < 0) return 0;
  return static_cast<uint32_t>(std::min<int64_t>((block + 1) * block_entries_, count_) - 1);
}

}  // namespace zdr::p3gpp
