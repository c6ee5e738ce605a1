// A plain reader of ISO media files for comparison: it holds the whole file and expands all tables.
#ifndef ZDR_TESTS_P3GPP_PLAIN_READER_H
#define ZDR_TESTS_P3GPP_PLAIN_READER_H

#include <cstdint>
#include <vector>

#include "tests/support/box_builder.h"

namespace zdr::test {

struct PlainSample {
  uint64_t offset;
  uint32_t size;
  uint32_t decoding_time;  // initial delay of the edit list added, as the parser does
  uint32_t composition_time;
  uint32_t description_index;
};

struct PlainTrack {
  uint32_t id = 0;
  std::vector<PlainSample> samples;  // as many as every table covers
};

// The tracks of the first moov, in file order. Boxes are trusted: for sound files.
std::vector<PlainTrack> read_plainly(const Bytes& file);

}  // namespace zdr::test

#endif
