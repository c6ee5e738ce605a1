// The smallest and the largest entry of each block of a table of numbers, so that a walk over a table that is
// not sorted skips the blocks that cannot end it.
//
// The walk reports every entry that it reads; a block is known once a walk has read all of it, in order.
// Memory: an eighth of the table, at most 130 KiB, taken with the first report.
#pragma once

#include <cstdint>
#include <limits>
#include <memory>

namespace zdr::p3gpp {

class EntryBlocks {
 public:
  // `count`: entries of the table that can be read, the same at each call.
  void note(uint32_t index, uint32_t value, uint32_t count);

  // `index`, or, if it is the first of its block, the first index of the block from there on that may have an
  // entry at or above `number`; one past the blocks if there is none.
  uint32_t skip_forward(uint32_t index, uint64_t number) const;
  // `index`, or, if it is the last of its block, the last index of the block from there back that may have an
  // entry at or below `number`; 0 if there is none.
  uint32_t skip_back(uint32_t index, uint64_t number) const;

 private:
  struct Range {
    uint32_t smallest = 0;
    uint32_t largest = std::numeric_limits<uint32_t>::max();
    bool may_reach(uint64_t number) const { return largest >= number; }
    bool may_fall_to(uint64_t number) const { return smallest <= number; }
    void include(Range other);
  };
  // The entries of a block read so far, one after another.
  struct Run {
    bool is_active = false;
    uint32_t next = 0;
    Range range;
    void add(uint32_t index, uint32_t value, bool starts_block, int direction);
  };

  void divide(uint32_t count);
  void store(uint32_t block, Range range);
  bool is_first_of_block(uint32_t index) const { return index % block_entries_ == 0; }
  bool is_last_of_block(uint32_t index) const {
    return index + 1 == count_ || (index + 1) % block_entries_ == 0;
  }

  uint32_t count_ = 0;
  uint32_t block_entries_ = 0;  // 0: the table is not divided
  uint32_t block_count_ = 0;
  std::unique_ptr<Range[]> blocks_;
  std::unique_ptr<Range[]> groups_;  // of kGroup blocks each
  Run up_;
  Run down_;
};

}  // namespace zdr::p3gpp
