// Any bytes as a speech file: scans and reads in any order, against a plain reading of the same bytes.
// Input: a count of operations, three bytes for each (a frame number of 11 bits, a capacity; 255: scan), then
// the file.
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <span>
#include <vector>

#include "esparse/amr/frame_reader.h"
#include "tests/esparse/amr/memory_source.h"
#include "tests/esparse/amr/plain_amr_reader.h"

namespace {

using zdr::tests::PlainAmrReader;

constexpr size_t kOperationBytes = 3;
constexpr uint8_t kScan = 255;

void require(bool condition, const char* what) {
  if (condition) return;
  std::fprintf(stderr, "disagrees with the plain reading: %s\n", what);
  std::abort();
}

void compare_scans(zdr::amrf::FrameReader& frames, PlainAmrReader& plain) {
  AMRF_Info info{};
  const AMRF_Info expected = plain.scan();
  require(frames.scan(info), "scan");
  require(info.frame_count == expected.frame_count && info.duration_ms == expected.duration_ms &&
              info.codec == expected.codec,
          "counts");
}

void compare_reads(zdr::amrf::FrameReader& frames, PlainAmrReader& plain, uint32_t number,
                   uint32_t capacity) {
  uint8_t frame[100] = {};
  uint8_t expected_frame[100] = {};
  AMRF_FrameRequest request{number, capacity, frame};
  AMRF_FrameRequest expected{number, capacity, expected_frame};
  require(frames.read(request) == plain.read_frame(expected), "status of a read");
  require(request.size == expected.size, "size of a frame");
  require(std::memcmp(frame, expected_frame, sizeof frame) == 0, "bytes of a frame");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0 || size < 1 + data[0] * kOperationBytes) return 0;
  const std::span operations(data + 1, data[0] * kOperationBytes);
  const std::vector<uint8_t> file(data + 1 + operations.size(), data + size);
  zdr::tests::SourceCalls calls;
  zdr::amrf::FrameReader frames(std::make_unique<zdr::tests::MemorySource>(file, calls));
  if (!frames.skip_header()) return 0;
  PlainAmrReader plain(file);
  for (size_t at = 0; at < operations.size(); at += kOperationBytes) {
    const uint32_t number = operations[at] | (operations[at + 1] & 7u) << 8;
    if (operations[at + 2] == kScan) {
      compare_scans(frames, plain);
    } else {
      compare_reads(frames, plain, number, operations[at + 2]);
    }
  }
  return 0;
}
