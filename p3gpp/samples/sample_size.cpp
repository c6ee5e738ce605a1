// Sample sizes (stsz), and sums and maxima over many of them.
#include <algorithm>
#include <bit>
#include <cstring>
#include <limits>

#include "p3gpp/samples/sample_lookup.h"

namespace zdr::p3gpp {
namespace {

// Ranges up to this many entries are summed through the cache, longer ones in blocks that bypass it.
constexpr uint32_t kCachedRangeEntries = 256;
constexpr bool kIsLittleEndian = std::endian::native == std::endian::little;

// A track of millions of samples has its sizes added up and compared here, in vectors.
using Halves [[gnu::vector_size(16)]] = uint16_t;
using SignedHalves [[gnu::vector_size(16)]] = int16_t;
constexpr uint32_t kHalves = sizeof(Halves) / sizeof(uint16_t);
constexpr uint32_t kNumbers = kHalves / 2;  // of 32 bits

Halves load_halves(const uint8_t* sizes) {
  Halves halves;
  std::memcpy(&halves, sizes, sizeof halves);
  return halves;
}

// Adds up the bytes of each place by themselves, so that many are added at once and none need to be swapped.
uint64_t sum_of(const uint8_t* sizes, uint32_t count) {
  constexpr uint32_t kMostSteps = 257;  // of 255 at most fit into 16 bits
  uint64_t places[4] = {};              // sums of the bytes of each place in memory
  while (count >= kNumbers) {
    Halves low{};
    Halves high{};
    const uint32_t steps = std::min(kMostSteps, count / kNumbers);
#pragma GCC unroll 4
    for (uint32_t step = 0; step < steps; ++step) {
      const Halves stored = load_halves(sizes + size_t{step} * sizeof(Halves));
      low += stored & 0xFF;
      high += stored >> 8;
    }
    for (uint32_t i = 0; i < kHalves; ++i) {
      places[i % 2 * 2] += kIsLittleEndian ? low[i] : high[i];
      places[i % 2 * 2 + 1] += kIsLittleEndian ? high[i] : low[i];
    }
    sizes += size_t{steps} * sizeof(Halves);
    count -= steps * kNumbers;
  }
  uint64_t sum = (places[0] << 24) + (places[1] << 16) + (places[2] << 8) + places[3];
  for (; count > 0; --count, sizes += Number32Entry::kSize) sum += load_be32(sizes);
  return sum;
}

// The largest upper half and the largest lower half of the numbers, joined: no number is larger, and if the
// upper half is 0, one is as large.
uint32_t bound_of(const uint8_t* sizes, uint32_t count) {
  SignedHalves largest = SignedHalves{} + std::numeric_limits<int16_t>::min();
  for (; count >= kNumbers; count -= kNumbers, sizes += sizeof(Halves)) {
    const Halves stored = load_halves(sizes);
    const Halves numbers = kIsLittleEndian ? stored << 8 | stored >> 8 : stored;
    const auto biased = reinterpret_cast<SignedHalves>(numbers ^ 0x8000);  // in the order of signed numbers
    largest = biased > largest ? biased : largest;
  }
  const Halves unbiased = reinterpret_cast<Halves>(largest) ^ 0x8000;
  uint32_t upper = 0;
  uint32_t lower = 0;
  for (uint32_t i = 0; i < kHalves; i += 2) {
    upper = std::max<uint32_t>(upper, unbiased[i]);
    lower = std::max<uint32_t>(lower, unbiased[i + 1]);
  }
  for (; count > 0; --count, sizes += Number32Entry::kSize) {
    upper = std::max(upper, load_be32(sizes) >> 16);
    lower = std::max(lower, load_be32(sizes) & 0xFFFF);
  }
  return upper << 16 | lower;
}

// Looks at single numbers only where their bound exceeds what was found before.
void find_larger(const uint8_t* sizes, uint32_t count, uint32_t& largest) {
  constexpr uint32_t kPart = 4096;  // numbers
  for (uint32_t done = 0; done < count; done += kPart) {
    const uint8_t* const part = sizes + size_t{done} * Number32Entry::kSize;
    const uint32_t part_count = std::min(kPart, count - done);
    const uint32_t bound = bound_of(part, part_count);
    if (bound <= largest) continue;
    if (bound <= 0xFFFF) {
      largest = bound;
      continue;
    }
    for (uint32_t i = 0; i < part_count; ++i)
      largest = std::max(largest, load_be32(part + size_t{i} * Number32Entry::kSize));
  }
}

Status sum_through_cache(TableCursor& cursor, uint32_t first_index, uint32_t count, uint64_t& sum) {
  for (uint32_t i = 0; i < count; ++i) {
    Number32Entry entry;
    const Status status = read_entry(cursor, first_index + i, entry);
    if (status != P3GPP_OK) return status;
    sum += entry.value;
  }
  return P3GPP_OK;
}

Status sum_in_blocks(const TableCursor& cursor, uint32_t first_index, uint32_t count, uint64_t& sum) {
  return cursor.scan(first_index, count,
                     [&](const uint8_t* sizes, uint32_t batch) { sum += sum_of(sizes, batch); });
}

}  // namespace

Status sample_size(StszPayload& stsz, uint32_t number, uint32_t& size) {
  if (number == 0) return P3GPP_ERR_BAD_ARGUMENT;
  if (number > stsz.sample_count) return P3GPP_ERR_OUT_OF_RANGE;
  if (stsz.default_size != 0) {
    size = stsz.default_size;
    return P3GPP_OK;
  }
  Number32Entry entry;
  const Status status = read_entry(stsz.cursor, number - 1, entry);
  if (status == P3GPP_OK) size = entry.value;
  return status;
}

Status bytes_between(StszPayload& stsz, uint32_t first, uint32_t next, uint64_t& bytes) {
  if (stsz.default_size != 0) {
    bytes = uint64_t{next - first} * stsz.default_size;
    return P3GPP_OK;
  }
  PartialSizeSum sum = stsz.partial_sum;
  if (sum.first != first || sum.next > next) sum = {first, first, 0};
  const uint32_t missing = next - sum.next;
  const Status status = missing <= kCachedRangeEntries
                            ? sum_through_cache(stsz.cursor, sum.next - 1, missing, sum.bytes)
                            : sum_in_blocks(stsz.cursor, sum.next - 1, missing, sum.bytes);
  if (status != P3GPP_OK) return status;
  sum.next = next;
  stsz.partial_sum = sum;
  bytes = sum.bytes;
  return P3GPP_OK;
}

Status largest_sample_size(const StszPayload& stsz, uint32_t& size) {
  uint32_t largest = stsz.default_size;
  if (largest == 0) {
    const Status status = stsz.cursor.scan(0, stsz.sample_count, [&](const uint8_t* sizes, uint32_t batch) {
      find_larger(sizes, batch, largest);
    });
    if (status != P3GPP_OK) return status;
  }
  size = largest;
  return P3GPP_OK;
}

Status bytes_of_first(const StszPayload& stsz, uint32_t count, uint64_t& bytes) {
  bytes = 0;
  if (count == 0) return P3GPP_OK;
  if (stsz.default_size != 0) {
    bytes = uint64_t{count} * stsz.default_size;
    return P3GPP_OK;
  }
  return sum_in_blocks(stsz.cursor, 0, count, bytes);
}

}  // namespace zdr::p3gpp
