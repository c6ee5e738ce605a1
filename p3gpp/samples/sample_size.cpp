// Sample sizes (stsz), and sums and maxima over many of them.
#include <algorithm>
#include <bit>
#include <cstring>

#include "p3gpp/samples/sample_lookup.h"

namespace zdr::p3gpp {
namespace {

// Ranges up to this many entries are summed through the cache, longer ones in blocks that bypass it.
constexpr uint32_t kCachedRangeEntries = 256;
constexpr bool kIsLittleEndian = std::endian::native == std::endian::little;

// Adds up the bytes of each place by themselves, so that many are added at once and none need to be swapped.
uint64_t sum_of(const uint8_t* sizes, uint32_t count) {
  constexpr uint32_t kLanes = 4;
  constexpr uint32_t kMostSteps = 257;  // of 255 at most fit into 16 bits
  using Numbers [[gnu::vector_size(kLanes * sizeof(uint32_t))]] = uint32_t;
  uint64_t places[4] = {};  // sums of the bytes of each place in memory
  uint32_t done = 0;
  while (done + kLanes <= count) {
    Numbers even{};
    Numbers odd{};
    const uint32_t steps = std::min(kMostSteps, (count - done) / kLanes);
    for (uint32_t step = 0; step < steps; ++step, done += kLanes) {
      Numbers stored;
      std::memcpy(&stored, sizes + size_t{done} * Number32Entry::kSize, sizeof stored);
      even += stored & 0x00FF00FFu;
      odd += stored >> 8 & 0x00FF00FFu;
    }
    for (uint32_t lane = 0; lane < kLanes; ++lane) {
      places[0] += even[lane] & 0xFFFF;
      places[1] += odd[lane] & 0xFFFF;
      places[2] += even[lane] >> 16;
      places[3] += odd[lane] >> 16;
    }
  }
  if (!kIsLittleEndian) std::ranges::reverse(places);
  uint64_t sum = (places[0] << 24) + (places[1] << 16) + (places[2] << 8) + places[3];
  for (; done < count; ++done) sum += load_be32(sizes + size_t{done} * Number32Entry::kSize);
  return sum;
}

// Compares four at a time: opening a track of millions of samples spends most of its time here.
uint32_t largest_of(const uint8_t* sizes, uint32_t count) {
  constexpr uint32_t kLanes = 4;
  using Numbers [[gnu::vector_size(kLanes * sizeof(uint32_t))]] = uint32_t;
  Numbers largest{};
  uint32_t done = 0;
  for (; done + kLanes <= count; done += kLanes) {
    Numbers stored;
    std::memcpy(&stored, sizes + size_t{done} * Number32Entry::kSize, sizeof stored);
    const Numbers swapped = (stored >> 8 & 0x00FF00FFu) | (stored << 8 & 0xFF00FF00u);  // in pairs of bytes
    const Numbers numbers = kIsLittleEndian ? swapped >> 16 | swapped << 16 : stored;
    largest = numbers > largest ? numbers : largest;
  }
  uint32_t result = 0;
  for (uint32_t lane = 0; lane < kLanes; ++lane) result = std::max(result, largest[lane]);
  for (; done < count; ++done) {
    result = std::max(result, load_be32(sizes + size_t{done} * Number32Entry::kSize));
  }
  return result;
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
      largest = std::max(largest, largest_of(sizes, batch));
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
