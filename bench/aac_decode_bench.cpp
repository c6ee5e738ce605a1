// Decodes whole ADTS files on one core: seconds of audio per second of processor time. The files are those of
// samples/, or the one that ZDR_BENCH_AAC names. compare_aac_decoders.sh compares the result with other
// decoders.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "aacdec/fixed/cpu.h"
#include "aacdec/zd_aac_dec.h"
#include "mediakit/aac/adts_file.h"

namespace zdr::bench {
namespace {

using namespace aacdec;

struct Closer {
  void operator()(Zd_AAC_Dec_Instance* instance) const { Zd_AAC_Dec_Close(instance); }
};

Zd_AAC_Dec_Config configuration(const test::AdtsFile& file) {
  test::Bytes start = file.frames[0].header;
  start.insert(start.end(), file.frames[0].payload.begin(), file.frames[0].payload.end());
  auto length = static_cast<int32_t>(start.size());
  Zd_AAC_Dec_Config config{};
  if (Zd_AAC_Dec_GetConfig(start.data(), &length, &config, 1, nullptr, 0) != ZD_AAC_DEC_OK) std::abort();
  return config;
}

// Decodes every frame. Returns the number of bytes of PCM.
int64_t decode(const test::AdtsFile& file, Zd_AAC_Dec_Config& config, Zd_AAC_Dec_Instance* instance,
               std::vector<int16_t>& pcm) {
  if (Zd_AAC_Dec_SetConfig(instance, &config) != ZD_AAC_DEC_OK) std::abort();
  int64_t bytes = 0;
  for (const test::AdtsFrame& frame : file.frames) {
    auto consumed = static_cast<int32_t>(frame.payload.size());
    auto written = static_cast<int32_t>(pcm.size() * sizeof(int16_t));
    Zd_AAC_Dec_Decode(instance, frame.payload.data(), &consumed, pcm.data(), &written);
    bytes += written;
  }
  return bytes;
}

void decode_file(benchmark::State& state, const std::string& name) {
  const char* path = std::getenv("ZDR_BENCH_AAC");
  const test::AdtsFile file = path != nullptr ? test::read_adts_file(path) : test::sample(name);
  const auto level = static_cast<VectorLevel>(state.range(0));
  limit_vector_level(level);
  if (vector_level() != level) {
    state.SkipWithError("not on this processor");
    return;
  }
  Zd_AAC_Dec_Config config = configuration(file);
  Zd_AAC_Dec_Instance* instance = nullptr;
  if (Zd_AAC_Dec_Create(&instance, ZD_AAC_DEC_MODE_PS) != ZD_AAC_DEC_OK) std::abort();
  const std::unique_ptr<Zd_AAC_Dec_Instance, Closer> owner(instance);
  std::vector<int16_t> pcm(2 * 2048);
  int64_t bytes = 0;
  for (auto _ : state) bytes += decode(file, config, instance, pcm);
  const double seconds = static_cast<double>(bytes) / (2.0 * config.channels * config.outputRate);
  state.counters["x_real_time"] = benchmark::Counter(seconds, benchmark::Counter::kIsRate);
  limit_vector_level(VectorLevel::kAvx2);
}
BENCHMARK_CAPTURE(decode_file, lc, "aac-lc-44k-stereo.aac")->ArgName("level")->DenseRange(0, 2);
BENCHMARK_CAPTURE(decode_file, ltp, "aac-ltp-44k-stereo.aac")->ArgName("level")->DenseRange(0, 2);
BENCHMARK_CAPTURE(decode_file, he_v1, "he-aac-v1-stereo.aac")->ArgName("level")->DenseRange(0, 2);
BENCHMARK_CAPTURE(decode_file, he_v2, "he-aac-v2.aac")->ArgName("level")->DenseRange(0, 2);

}  // namespace
}  // namespace zdr::bench
