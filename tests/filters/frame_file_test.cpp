// Speech and AAC files through the filter: their pin, and what FillBuffer() writes to each sample.
#include <gtest/gtest.h>

#include <algorithm>

#include "mediakit/aac/adts_file.h"
#include "mediakit/files/speech_file.h"
#include "tests/esparse/aac/opened_file.h"
#include "tests/filters/codecs.h"
#include "tests/filters/sink_graph.h"

namespace zdr::test {
namespace {

constexpr uint32_t kPcmFrame = 4096;  // bytes of two channels

std::filesystem::path sample_path(const char* name) {
  return std::filesystem::path(ZDR_SAMPLES_DIR) / name;
}

// A loaded file of frames of 32 bytes.
struct NarrowBand : FilterUnderTest {
  explicit NarrowBand(uint32_t frames = 100) {
    EXPECT_EQ(load(speech(false, frames, 0x3C).bytes(), "clip.amr"), S_OK);
  }
};

// A loaded file of two channels of 44.1 kHz.
struct Adts : FilterUnderTest {
  explicit Adts(size_t frames = 100) { EXPECT_EQ(load(adts_file(frames, 400), "clip.aac"), S_OK); }
  explicit Adts(const char* sample) { EXPECT_EQ(load(sample_path(sample)), S_OK); }
};

// --- Both kinds ---

TEST(FrameFile, KeptPinAcceptsEveryType) {
  const Bytes narrow = speech(false, 2, 0x3C).bytes();
  const Bytes wide = speech(true, 2, 0x3C).bytes();
  const struct {
    std::string name;
    Bytes content;
    std::string pin;
    GUID subtype;
    WAVEFORMATEX format;
    REFERENCE_TIME duration_ms;
  } kCases[] = {
      {"a.amr", narrow, "AMR Audio1", mp4source::kSubtypeAmrNarrowBand, {0x7A22, 1, 8000, 0, 4, 0, 0}, 40},
      {"a.AWB", wide, "AMR Audio1", mp4source::kSubtypeAmrWideBand, {0x7A22, 1, 16000, 0, 4, 0, 0}, 40},
      // The first line determines the band, not the extension.
      {"b.awb", narrow, "AMR Audio1", mp4source::kSubtypeAmrNarrowBand, {0x7A22, 1, 8000, 0, 4, 0, 0}, 40},
      {"a.AAC", adts_file(100, 400), "Audio1", MEDIASUBTYPE_PCM, {1, 2, 44100, 176400, 4, 16, 0}, 2321}};
  for (const auto& each : kCases) {
    SCOPED_TRACE(each.name);
    SinkGraph graph;
    ASSERT_EQ(graph.under_test.load(each.content, each.name), S_OK);
    EXPECT_EQ(graph.under_test.pin_names(), std::vector<std::string>{each.pin});
    CMediaType type;
    ASSERT_EQ(graph.under_test.media_type(type), S_OK);
    EXPECT_TRUE(type.majortype == MEDIATYPE_Audio && type.subtype == each.subtype);
    EXPECT_EQ(type.formattype, FORMAT_WaveFormatEx);
    EXPECT_EQ(block_of(type), wave_block(each.format));
    EXPECT_EQ(graph.under_test.pin(0).CheckMediaType(std::make_unique<CMediaType>().get()), S_OK);
    EXPECT_EQ(graph.build(), S_OK);
    LONGLONG duration = 0;
    EXPECT_EQ(graph.under_test.seeking(0)->GetDuration(&duration), S_OK);
    EXPECT_EQ(duration, each.duration_ms * kMs);
  }
}

TEST(FrameFile, KeptFrameThatDoesNotFitIsSkipped) {
  NarrowBand under_test;
  EXPECT_EQ(under_test.fill(32 * 4 + 31).data.size(), 32u * 4);
  const Filled full = under_test.fill(32 * 4);  // exactly full: the fifth frame is not read
  EXPECT_EQ(full.data.size(), 32u * 4);
  EXPECT_EQ(full.start, 6 * 20 * kMs);
  FakeSample none(0);
  EXPECT_EQ(under_test.fill(0, none), S_FALSE);

  Adts aac(60);
  // Frames 1 to 4: the first yields nothing, and the fifth does not fit.
  aac.fill(3 * kPcmFrame + kPcmFrame / 2);
  const Filled second = aac.fill(3 * kPcmFrame + kPcmFrame / 2);
  EXPECT_EQ(second.data.size(), 3 * kPcmFrame);
  EXPECT_EQ(second.start, 139 * kMs);  // of frame 7
}

// Unlike in ISO media, a sample that refuses the discontinuity mark consumes it.
TEST(FrameFile, ARefusedCallSkipsTheFrameAndUsesUpTheMark) {
  NarrowBand under_test;
  FakeSample refusing(1000);
  refusing.set_discontinuity = E_ACCESSDENIED;
  EXPECT_EQ(under_test.fill(0, refusing), S_OK);
  refusing.set_actual_data_length = VFW_E_BUFFER_OVERFLOW;
  EXPECT_EQ(under_test.fill(0, refusing), VFW_E_BUFFER_OVERFLOW);
  refusing.get_pointer = E_OUTOFMEMORY;
  EXPECT_EQ(under_test.fill(0, refusing), E_OUTOFMEMORY);
  const Filled next = under_test.fill();
  EXPECT_FALSE(next.discontinuity);
  EXPECT_EQ(next.start, 22 * 20 * kMs);
}

// A speech file starts again with its first frame, an AAC file with the one that the decoder has held back.
TEST(FrameFile, KeptStopRewinds) {
  const struct {
    std::string name;
    REFERENCE_TIME target;       // of a seek before the first run; 0 without one
    REFERENCE_TIME first_start;  // of the first run, and of those after it
    REFERENCE_TIME later_start;
    size_t first_size;
    size_t later_size;
  } kCases[] = {{"amr-nb.amr", 1000 * kMs, 0, (20 - 1000) * kMs, 320, 320},
                {"aac-lc-44k-stereo.aac", 0, 23 * kMs, 23 * kMs, 9 * kPcmFrame, 10 * kPcmFrame}};
  for (const auto& each : kCases) {
    SCOPED_TRACE(each.name);
    SinkGraph graph;
    ASSERT_EQ(graph.under_test.load(sample_path(each.name.c_str())), S_OK);
    ASSERT_EQ(graph.build(), S_OK);
    if (each.target != 0) graph.seek(each.target);
    for (int run = 0; run < 3; ++run) {
      ASSERT_EQ(graph.run(), S_OK);
      ASSERT_TRUE(graph.wait_for_ends());
      const std::vector<SinkSample> samples = graph.sink(0).samples();
      ASSERT_FALSE(samples.empty());
      EXPECT_EQ(samples[0].start, run == 0 ? each.first_start : each.later_start);
      EXPECT_EQ(samples[0].data.size(), run == 0 ? each.first_size : each.later_size);
      ASSERT_EQ(graph.stop(), S_OK);
    }
    EXPECT_EQ(graph.breaches(), std::vector<std::string>{});
  }
}

// --- Speech ---

// Ten frames a sample; a group stamped with the end of the file is not delivered.
TEST(AmrFile, KeptGroupsCarryTheEndOfTheirFirstFrame) {
  std::mt19937 random(5);
  for (uint32_t count = 0; count <= 60; ++count) {
    Speech made{count % 2 == 0, {}, {}};
    while (made.frames.size() < count) made.add(static_cast<uint8_t>(random()));
    if (count % 3 == 0) made.tail = {0x04, 1, 2};
    std::vector<Filled> expected;
    for (uint32_t first = 0; first + 1 < count; first += 10) {
      const REFERENCE_TIME end = (first + 1) * 20 * kMs;
      expected.push_back({end, end + 1, first == 0, false, first == 0, {}});
      for (uint32_t i = first; i < std::min(first + 10, count); ++i) {
        expected.back().data.insert(expected.back().data.end(), made.frames[i].begin(), made.frames[i].end());
      }
    }
    FilterUnderTest under_test;
    ASSERT_EQ(under_test.load(made.bytes(), "clip.amr"), S_OK);
    EXPECT_EQ(under_test.play(), expected) << count;
  }
}

TEST(AmrFile, KeptSeekToTheSameTargetChangesNothing) {
  constexpr uint32_t kNone = 0;
  const std::tuple<REFERENCE_TIME, bool, uint32_t> kSeeks[] = {{0, false, 11},  // a file starts at 0
                                                               {1, true, 1},
                                                               {kMs, true, 1},
                                                               {20 * kMs, true, 1},
                                                               {21 * kMs, true, 2},
                                                               {40 * kMs, true, 2},
                                                               {41 * kMs, true, 3},
                                                               {-kMs, true, 1},
                                                               {1001 * kMs, true, 51},
                                                               {2000 * kMs, true, kNone},
                                                               {INT64_MAX, true, kNone},
                                                               {400 * kMs, true, 20},
                                                               {400 * kMs, false, 30},
                                                               {0, true, 1}};
  NarrowBand under_test;
  under_test.fill();
  for (const auto& [target, moves, frame] : kSeeks) {
    SCOPED_TRACE(target);
    ASSERT_EQ(under_test.seek(target), S_OK);
    FakeSample sample(1000);
    ASSERT_EQ(under_test.fill(0, sample), frame == kNone ? S_FALSE : S_OK);
    if (frame == kNone) continue;
    EXPECT_EQ(sample.content().discontinuity && sample.content().sync, moves);
    EXPECT_EQ(sample.content().start, frame * 20 * kMs - target);
  }
}

// --- AAC ---

TEST(AacFile, KeptGroupsCarryTheTimeOfTheirSecondFrame) {
  const std::vector<Filled> delivered = Adts().play();
  // A hundred frames are read; the first read yields nothing.
  ASSERT_EQ(delivered.size(), 10u);
  const std::pair<REFERENCE_TIME, size_t> kFirst[] = {{23, 9}, {255, 10}, {487, 10}};
  for (size_t i = 0; i < std::size(kFirst); ++i) {
    EXPECT_EQ(delivered[i].start, kFirst[i].first * kMs);
    EXPECT_EQ(delivered[i].stop, delivered[i].start + 1);
    EXPECT_EQ(delivered[i].data.size(), kFirst[i].second * kPcmFrame);
  }
  EXPECT_EQ(delivered[9].start, 2113 * kMs);
  // With 10k + 1 frames, the last group starts at the stop position or just before it.
  const std::pair<size_t, size_t> kCases[] = {{2, 1}, {10, 1}, {11, 1}, {12, 2}, {21, 2}};
  for (const auto& [frames, samples] : kCases) EXPECT_EQ(Adts(frames).play().size(), samples) << frames;
}

TEST(AacFile, PlaysThePcmOfItsReaderAtTheRateOfTheDecoder) {
  const std::tuple<const char*, WORD, DWORD> kFiles[] = {{"aac-lc-44k-stereo.aac", WORD{2}, 44100},
                                                         {"aac-lc-8k-mono.aac", WORD{1}, 8000},
                                                         {"he-aac-v1-stereo.aac", WORD{2}, 44100},
                                                         {"he-aac-v2.aac", WORD{2}, 44100}};
  for (const auto& [name, channels, rate] : kFiles) {
    SCOPED_TRACE(name);
    Adts under_test(name);
    CMediaType type;
    ASSERT_EQ(under_test.media_type(type), S_OK);
    const auto* const format = reinterpret_cast<const WAVEFORMATEX*>(type.pbFormat);
    EXPECT_EQ(format->nChannels, channels);
    EXPECT_EQ(format->nSamplesPerSec, rate);
    Bytes delivered;
    for (const Filled& sample : under_test.play()) {
      delivered.insert(delivered.end(), sample.data.begin(), sample.data.end());
    }
    const Bytes content = read_bytes(sample_path(name));
    OpenedFile reader(content);
    Bytes expected;
    for (uint32_t number = 1;; ++number) {
      const OpenedFile::Read read = reader.read(number);
      if (read.status != AACF_OK) break;
      const auto* const bytes = reinterpret_cast<const uint8_t*>(read.pcm.data());
      expected.insert(expected.end(), bytes, bytes + 2 * read.pcm.size());
    }
    ASSERT_GE(expected.size(), delivered.size());
    EXPECT_LE(expected.size() - delivered.size(), kPcmFrame * 4);
    expected.resize(delivered.size());
    EXPECT_EQ(delivered, expected);
  }
}

// Even a seek to the current position, with the same result as in a file that was just opened. A seek to 0 or
// before it requests 1 ms.
TEST(AacFile, KeptEverySeekRestartsTheDecoder) {
  const std::pair<REFERENCE_TIME, REFERENCE_TIME> kSeeks[] = {{0, 23},    {0, 23},    {500, 510},
                                                              {500, 510}, {123, 139}, {-5, 23}};
  const char* const kName = "aac-lc-44k-stereo.aac";
  Adts under_test(kName);
  for (const auto& [target_ms, start_ms] : kSeeks) {
    SCOPED_TRACE(target_ms);
    Adts fresh(kName);
    ASSERT_EQ(fresh.seek(target_ms * kMs), S_OK);
    ASSERT_EQ(under_test.seek(target_ms * kMs), S_OK);
    const Filled sample = under_test.fill();
    EXPECT_EQ(sample, fresh.fill());
    EXPECT_TRUE(sample.discontinuity && sample.sync);
    EXPECT_EQ(sample.start, (start_ms - target_ms) * kMs);
    EXPECT_EQ(sample.data.size(), 9u * kPcmFrame);
  }
  ASSERT_EQ(under_test.seek(1000000 * kMs), S_OK);
  EXPECT_TRUE(under_test.play().empty());
}

}  // namespace
}  // namespace zdr::test
