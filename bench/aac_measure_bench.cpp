// Measures access units without decoding them, on one core: LC frames (44.1 kHz stereo, 128 kbit/s) per
// second, and the share of spectral Huffman decoding. The frames are those of a file in samples/, or of the
// ADTS file that ZDR_BENCH_AAC names.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <ctime>
#include <memory>
#include <vector>

#include "aacdec/syntax/channel_stream.h"
#include "aacdec/syntax/raw_data_block.h"
#include "aacdec/syntax/sampling_rates.h"
#include "aacdec/zd_aac_dec.h"
#include "mediakit/aac/adts_file.h"

namespace zdr::bench {
namespace {

using namespace aacdec;

const test::AdtsFile& input() {
  static const test::AdtsFile file = [] {
    const char* path = std::getenv("ZDR_BENCH_AAC");
    return path != nullptr ? test::read_adts_file(path) : test::sample("aac-lc-44k-stereo.aac");
  }();
  return file;
}

Zd_AAC_Dec_Config core_config() {
  const int32_t rate = kSamplingRates[input().sampling_index];
  return {2048, 1024, rate, 0, input().profile, rate, 0, 0};
}

void set_rate(benchmark::State& state) {
  size_t bytes = 0;
  for (const test::AdtsFrame& frame : input().frames) bytes += frame.payload.size();
  const auto frames = static_cast<double>(input().frames.size());
  state.counters["frames/s"] = benchmark::Counter(frames, benchmark::Counter::kIsIterationInvariantRate);
  state.counters["bytes/frame"] = static_cast<double>(bytes) / frames;
}

void measure_all() {
  for (const test::AdtsFrame& frame : input().frames) {
    Zd_AAC_Dec_Config config = core_config();
    auto length = static_cast<int32_t>(frame.payload.size());
    benchmark::DoNotOptimize(Zd_AAC_Dec_GetFrameLength(frame.payload.data(), 0, &config, &length, 0));
  }
}

void measure_frames(benchmark::State& state) {
  for (auto _ : state) measure_all();
  set_rate(state);
}
BENCHMARK(measure_frames);

// A channel of a frame, with the reader at its spectral data.
struct SpectralData {
  BitReader reader;
  StreamFormat format;
  ChannelStream channel;
};

// Returns the channels of the pair at the start of a frame; empty for other frames.
std::vector<SpectralData> spectral_data(const test::AdtsFrame& frame) {
  constexpr uint32_t kPairId = 1;
  SpectralData data{
      BitReader(frame.payload.data(), frame.payload.size()), {input().sampling_index, input().profile}, {}};
  BitReader& reader = data.reader;
  if (reader.read(3) != kPairId) return {};
  reader.skip(4);
  const bool common_window = reader.read_bit();
  if (common_window) {
    LtpData second_ltp;
    parse_ics_info(reader, data.format, data.channel.ics, data.channel.ltp, &second_ltp);
    const bool masked = reader.read(2) == 1;
    if (masked) reader.skip(uint64_t{data.channel.ics.group_count} * data.channel.ics.max_sfb);
  }
  std::vector<SpectralData> channels;
  for (int c = 0; c < kMaxChannels; ++c) {
    parse_channel_side_info(reader, data.format, common_window, false, data.channel);
    channels.push_back(data);
    skip_spectral_data(reader, data.format, data.channel);
  }
  return channels;
}

double seconds_of_spectral_data(std::vector<SpectralData>& channels, int rounds) {
  const std::clock_t start = std::clock();
  for (int round = 0; round < rounds; ++round) {
    for (SpectralData& data : channels) {
      BitReader reader = data.reader;
      benchmark::DoNotOptimize(skip_spectral_data(reader, data.format, data.channel));
    }
  }
  return static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
}

double seconds_of_measuring(int rounds) {
  const std::clock_t start = std::clock();
  for (int round = 0; round < rounds; ++round) measure_all();
  return static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
}

// Measures both alternately, so that other load on the machine affects both.
void share_of_spectral_huffman(benchmark::State& state) {
  std::vector<SpectralData> channels;
  for (const test::AdtsFrame& frame : input().frames) {
    for (const SpectralData& data : spectral_data(frame)) channels.push_back(data);
  }
  constexpr int kRounds = 10;
  double spectral = 0;
  double whole = 0;
  for (auto _ : state) {
    spectral += seconds_of_spectral_data(channels, kRounds);
    whole += seconds_of_measuring(kRounds);
  }
  state.counters["share"] = spectral / whole;
}
BENCHMARK(share_of_spectral_huffman);

// Parses frames as the decoder does, storing the spectral values.
void parse_frames_with_values(benchmark::State& state) {
  BlockContext context;
  context.format = {input().sampling_index, input().profile};
  context.keep_values = true;
  const auto record = std::make_unique<Frame>();
  for (auto _ : state) {
    for (const test::AdtsFrame& frame : input().frames) {
      BitReader reader(frame.payload.data(), frame.payload.size());
      benchmark::DoNotOptimize(parse_raw_data_block(reader, context, *record));
    }
  }
  set_rate(state);
}
BENCHMARK(parse_frames_with_values);

}  // namespace
}  // namespace zdr::bench
