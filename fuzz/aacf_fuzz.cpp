// Reads arbitrary bytes as an AAC file: opens and queries it, reads frames in order and after jumps, closes
// it.
//
// The last byte selects the time of a jump; the rest is the file. The files of samples/ are good seeds.
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "esparse/aac/aacf.h"
#include "mediakit/files/memory_file.h"

namespace {

constexpr uint32_t kPcmBytes = 16384;
int16_t pcm[kPcmBytes / 2];

void read(AACF_File* reader, uint32_t number) {
  AACF_FrameRequest request{number, kPcmBytes, pcm};
  if (AACF_ReadFrame(reader, &request) == AACF_OK && request.size > kPcmBytes) std::abort();
}

void query_and_read(AACF_File* reader, uint32_t jump) {
  AACF_StreamInfo info{};
  AACF_Duration duration{};
  ID3P_Text text{};
  AACF_GetStreamInfo(reader, &info);
  AACF_GetDuration(reader, &duration);
  if (duration.frame_count != info.total_frames) std::abort();
  AACF_GetTagText(reader, &text);
  if (text.release != nullptr) text.release(&text);
  for (uint32_t number = 1; number < 8; ++number) read(reader, number);
  AACF_RefreshConfig(reader);
  uint32_t number = 0;
  if (AACF_TimeToFrame(reader, 1 + jump * (duration.duration_ms / 256), &number) == AACF_OK)
    read(reader, number);
  read(reader, number + 1);
  read(reader, 0xFFFFFFFF);
  read(reader, info.total_frames);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  ID3P_SetConsole([](const char*) {});
  Zd_AAC_Dec_SetConsole([](const char*) {});
  zdr::test::MemoryFile file({data, size - 1});
  const AACF_OpenParams params{&file.io(), 4096};
  AACF_File* reader = nullptr;
  if (AACF_Open(&reader, u"", &params) == AACF_OK) {
    query_and_read(reader, data[size - 1]);
    AACF_Close(reader);
  }
  if (file.counts().opens != file.counts().closes) std::abort();
  return 0;
}
