// Reads arbitrary bytes as a speech file, scanned and read in any order: every scan returns the same result,
// and every frame is part of the file.
//
// Input: the number of operations; three bytes for each (a frame number of 11 bits and a capacity; capacity
// 255 is a scan); the file.
#include <algorithm>
#include <optional>
#include <span>
#include <vector>

#include "esparse/amr/amrf.h"
#include "fuzz/require.h"
#include "mediakit/files/temp_folder.h"

namespace {

using zdr::fuzz::require;
using Bytes = std::span<const uint8_t>;

constexpr size_t kOperationBytes = 3;
constexpr uint8_t kScan = 255;

void scan(AMRF_File* reader, std::optional<AMRF_Info>& first) {
  AMRF_Info info{};
  require(AMRF_Scan(reader, &info) == AMRF_OK, "a scan succeeds");
  if (!first) first = info;
  require(info.frame_count == first->frame_count && info.duration_ms == first->duration_ms &&
              info.codec == first->codec,
          "every scan returns the same");
}

void read(AMRF_File* reader, uint32_t number, uint32_t capacity, Bytes file) {
  // Exactly the capacity, so that the address sanitizer detects writes past its end.
  std::vector<uint8_t> frame(capacity == 0 ? AMRF_MaxFrameSize() : capacity);
  AMRF_FrameRequest request{number, capacity, frame.data()};
  if (AMRF_ReadFrame(reader, &request) != AMRF_OK) return;
  require(request.size <= frame.size(), "a frame fits the buffer");
  frame.resize(request.size);
  require(std::search(file.begin(), file.end(), frame.begin(), frame.end()) != file.end() || frame.empty(),
          "a frame is part of the file");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0 || size < 1 + data[0] * kOperationBytes) return 0;
  const Bytes operations(data + 1, data[0] * kOperationBytes);
  const Bytes file(operations.data() + operations.size(), data + size);
  static const zdr::test::TempFolder folder;
  static const std::filesystem::path path = folder / "speech.amr";
  zdr::test::write_file(path, {reinterpret_cast<const char*>(file.data()), file.size()});
  AMRF_File* reader = nullptr;
  if (AMRF_Open(&reader, path.u16string().c_str()) != AMRF_OK) return 0;
  std::optional<AMRF_Info> first;
  for (size_t at = 0; at < operations.size(); at += kOperationBytes) {
    const uint32_t number = operations[at] | (operations[at + 1] & 7u) << 8;
    if (operations[at + 2] == kScan) {
      scan(reader, first);
    } else {
      read(reader, number, operations[at + 2], file);
    }
  }
  AMRF_Close(reader);
  return 0;
}
