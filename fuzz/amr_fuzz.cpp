// Any bytes as a speech file: scans and reads in any order. Every scan tells the same, and what a read gives
// stands in the file. Input: a count of operations, three bytes for each (a frame number of 11 bits, a
// capacity; 255: scan), then the file.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "esparse/amr/frame_reader.h"
#include "mediakit/files/memory_source.h"

namespace {

using Bytes = std::vector<uint8_t>;

constexpr size_t kOperationBytes = 3;
constexpr uint8_t kScan = 255;

void require(bool condition, const char* what) {
  if (condition) return;
  std::fprintf(stderr, "not so: %s\n", what);
  std::abort();
}

void scan(zdr::amrf::FrameReader& frames, std::optional<AMRF_Info>& first) {
  AMRF_Info info{};
  require(frames.scan(info), "a scan of memory succeeds");
  if (!first) first = info;
  require(info.frame_count == first->frame_count && info.duration_ms == first->duration_ms &&
              info.codec == first->codec,
          "a second scan tells the same");
}

void read(zdr::amrf::FrameReader& frames, uint32_t number, uint32_t capacity, const Bytes& file) {
  // Of no byte more than may be written, so that the address sanitizer sees one too many.
  Bytes frame(capacity == 0 ? AMRF_MaxFrameSize() : capacity);
  AMRF_FrameRequest request{number, capacity, frame.data()};
  if (frames.read(request) != AMRF_OK) return;
  require(request.size <= frame.size(), "a frame fits the buffer");
  frame.resize(request.size);
  require(std::search(file.begin(), file.end(), frame.begin(), frame.end()) != file.end() || frame.empty(),
          "a frame is of the file");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0 || size < 1 + data[0] * kOperationBytes) return 0;
  const std::span operations(data + 1, data[0] * kOperationBytes);
  const Bytes file(data + 1 + operations.size(), data + size);
  zdr::tests::SourceCalls calls;
  zdr::amrf::FrameReader frames(std::make_unique<zdr::tests::MemorySource>(file, calls));
  if (!frames.skip_header()) return 0;
  std::optional<AMRF_Info> first;
  for (size_t at = 0; at < operations.size(); at += kOperationBytes) {
    const uint32_t number = operations[at] | (operations[at + 1] & 7u) << 8;
    if (operations[at + 2] == kScan) {
      scan(frames, first);
    } else {
      read(frames, number, operations[at + 2], file);
    }
  }
  return 0;
}
