// Counts the frames of a speech file of 100 MB, reads them in order and walks to the last one, compared with
// reading the file in blocks.
#include <benchmark/benchmark.h>

#include <fstream>
#include <memory>
#include <vector>

#include "esparse/amr/amrf.h"
#include "mediakit/files/temp_folder.h"
#include "os/os.h"

namespace zdr::bench {
namespace {

constexpr uint32_t kFileBytes = 100'000'000;
constexpr uint32_t kBlockBytes = 64 * 1024;

// Frames of all wide-band rates in turn, 18 to 61 bytes, so that sizes are hard to predict.
class SpeechFile {
 public:
  SpeechFile() : path_(folder_ / "long.awb"), wide_path_(path_.u16string()) {
    std::vector<char> bytes;
    bytes.reserve(kFileBytes);
    for (const char c : std::string_view("#!AMR-WB\n")) bytes.push_back(c);
    for (uint8_t toc = 0; bytes.size() < kFileBytes; toc = static_cast<uint8_t>((toc + 0x18) % 0x48)) {
      bytes.push_back(static_cast<char>(toc));
      bytes.resize(bytes.size() + AMRF_FrameSizeWB(toc) - 1, 'x');
      ++frames_;
    }
    std::ofstream(path_, std::ios::binary).write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  }
  const char16_t* path() const { return wide_path_.c_str(); }
  uint32_t frames() const { return frames_; }

 private:
  test::TempFolder folder_;
  std::filesystem::path path_;
  std::u16string wide_path_;
  uint32_t frames_ = 0;
};

const SpeechFile& speech_file() {
  static const SpeechFile file;
  return file;
}

struct CloseReader {
  void operator()(AMRF_File* reader) const { AMRF_Close(reader); }
};
std::unique_ptr<AMRF_File, CloseReader> open_reader() {
  AMRF_File* reader = nullptr;
  AMRF_Open(&reader, speech_file().path());
  return std::unique_ptr<AMRF_File, CloseReader>(reader);
}

void count_bytes(benchmark::State& state) {
  state.SetBytesProcessed(state.iterations() * kFileBytes);
}

void BM_PlainReading(benchmark::State& state) {
  void* const file = OS_fopen(speech_file().path(), "rb");
  std::vector<char> block(kBlockBytes);
  for (auto _ : state) {
    OS_fseek(file, 0, OS_SEEK_BEGIN);
    while (OS_fread(block.data(), 1, kBlockBytes, file) > 0) benchmark::DoNotOptimize(block.data());
  }
  OS_fclose(file);
  count_bytes(state);
}
BENCHMARK(BM_PlainReading)->Unit(benchmark::kMillisecond);

void BM_Scan(benchmark::State& state) {
  const auto reader = open_reader();
  AMRF_Info info{};
  for (auto _ : state) AMRF_Scan(reader.get(), &info);
  if (info.frame_count + 1 < speech_file().frames()) state.SkipWithError("frames were not counted");
  count_bytes(state);
}
BENCHMARK(BM_Scan)->Unit(benchmark::kMillisecond);

void BM_ReadInOrder(benchmark::State& state) {
  const auto reader = open_reader();
  uint8_t frame[100];
  for (auto _ : state) {
    AMRF_FrameRequest request{1, sizeof frame, frame};
    while (AMRF_ReadFrame(reader.get(), &request) == AMRF_OK)
      request = {request.number + 1, sizeof frame, frame};
  }
  count_bytes(state);
}
BENCHMARK(BM_ReadInOrder)->Unit(benchmark::kMillisecond);

void BM_WalkToTheLast(benchmark::State& state) {
  const auto reader = open_reader();
  uint8_t frame[100];
  for (auto _ : state) {
    for (const uint32_t number : {speech_file().frames() - 1, 1u}) {
      AMRF_FrameRequest request{number, sizeof frame, frame};
      if (AMRF_ReadFrame(reader.get(), &request) != AMRF_OK) state.SkipWithError("a frame was not read");
    }
  }
  count_bytes(state);
}
BENCHMARK(BM_WalkToTheLast)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace zdr::bench
