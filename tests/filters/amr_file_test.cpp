// Speech files through the filter: their pin, and what its worker's function puts into each sample.
#include <gtest/gtest.h>

#include <fstream>
#include <random>

#include "filters/source/mp4/interfaces/zdr_guids.h"
#include "tests/esparse/amr/plain_amr_reader.h"
#include "tests/filters/sink_graph.h"

namespace zdr::tests {
namespace {

using test::Bytes;

constexpr REFERENCE_TIME kMs = 10000;
constexpr DWORD kAbsolute = AM_SEEKING_AbsolutePositioning;

Bytes speech(const std::string& line, const std::vector<uint8_t>& tocs) {
  Bytes bytes(line.begin(), line.end());
  const PlainAmrReader sizes(bytes);
  uint8_t filling = 0;
  for (const uint8_t toc : tocs) {
    bytes.push_back(toc);
    for (uint32_t i = 1; i < sizes.size_of(toc); ++i) bytes.push_back(++filling);
  }
  return bytes;
}
Bytes narrow_band(uint32_t frames) {
  return speech("#!AMR\n", std::vector<uint8_t>(frames, 0x3C));
}

struct Delivered {
  REFERENCE_TIME start;
  REFERENCE_TIME stop;
  Bytes data;
  bool operator==(const Delivered&) const = default;
};
std::ostream& operator<<(std::ostream& out, const Delivered& each) {
  return out << each.start << '-' << each.stop << ' ' << each.data.size() << " bytes";
}

std::vector<Delivered> play(FilterUnderTest& under_test, LONG room = 1000) {
  std::vector<Delivered> delivered;
  FakeSample sample(room);
  while (under_test.fill(0, sample) == S_OK) delivered.push_back({sample.start, sample.stop, sample.data()});
  return delivered;
}

// Ten frames a sample, stamped with the end of the first; what is stamped with the end of the file is left
// out.
std::vector<Delivered> expected(const Bytes& bytes) {
  PlainAmrReader reader(bytes);
  const AMRF_Info info = reader.scan();
  std::vector<Delivered> all;
  uint8_t frame[100];
  AMRF_FrameRequest request{1, 100, frame};
  for (; reader.read_frame(request) == 0; ++request.number, request.size = 100) {
    const REFERENCE_TIME end = request.number * 20 * kMs;
    if (request.number % 10 == 1) {
      if (end >= info.duration_ms * kMs) break;
      all.push_back({end, end + 1, {}});
    }
    all.back().data.insert(all.back().data.end(), frame, frame + request.size);
  }
  return all;
}

HRESULT seek(FilterUnderTest& under_test, REFERENCE_TIME start) {
  return under_test.seeking(0)->SetPositions(&start, kAbsolute, nullptr, 0);
}

TEST(AmrFile, OffersItsBandOnOnePin) {
  const struct {
    std::string name;
    std::string line;
    GUID subtype;
    DWORD rate;
  } kCases[] = {{"clip.amr", "#!AMR\n", mp4source::kSubtypeAmrNarrowBand, 8000},
                {"clip.AWB", "#!AMR-WB\n", mp4source::kSubtypeAmrWideBand, 16000},
                {"required: the line decides.awb", "#!AMR\n", mp4source::kSubtypeAmrNarrowBand, 8000}};
  for (const auto& each : kCases) {
    SCOPED_TRACE(each.name);
    SinkGraph graph;
    ASSERT_EQ(graph.under_test.load(speech(each.line, {0x3C, 0x3C}), each.name), S_OK);
    EXPECT_EQ(graph.under_test.pin_names(), std::vector<std::string>{"AMR Audio1"});
    CMediaType type;
    ASSERT_EQ(graph.under_test.pin(0).GetMediaType(0, &type), S_OK);
    EXPECT_EQ(type.majortype, MEDIATYPE_Audio);
    EXPECT_EQ(type.subtype, each.subtype);
    EXPECT_EQ(type.formattype, FORMAT_WaveFormatEx);
    ASSERT_EQ(type.cbFormat, sizeof(WAVEFORMATEX));
    WAVEFORMATEX wave;
    std::memcpy(&wave, type.pbFormat, sizeof wave);
    EXPECT_EQ(wave.wFormatTag, 0x7A22);
    EXPECT_EQ(wave.nChannels, 1);
    EXPECT_EQ(wave.nSamplesPerSec, each.rate);
    EXPECT_EQ(wave.nAvgBytesPerSec + wave.wBitsPerSample + wave.cbSize, 0u);
    EXPECT_EQ(wave.nBlockAlign, 4);
    EXPECT_EQ(graph.under_test.pin(0).GetMediaType(1, &type), VFW_S_NO_MORE_ITEMS);
    // Required: whatever is proposed.
    EXPECT_EQ(graph.under_test.pin(0).CheckMediaType(&type), S_OK);
    EXPECT_EQ(graph.under_test.pin(0).CheckMediaType(std::make_unique<CMediaType>().get()), S_OK);
    EXPECT_EQ(graph.build(), S_OK);
    LONGLONG duration = 0;
    EXPECT_EQ(graph.under_test.seeking(0)->GetDuration(&duration), S_OK);
    EXPECT_EQ(duration, 40 * kMs);
  }
}

TEST(AmrFile, RefusesAFileWithoutALine) {
  FilterUnderTest under_test;
  EXPECT_EQ(under_test.load(under_test.folder / "missing.amr"), VFW_E_NOT_FOUND);
  EXPECT_EQ(under_test.load(Bytes(100, 'x'), "clip.amr"), VFW_E_INVALID_FILE_FORMAT);
  EXPECT_EQ(under_test.pin_count(), 0);
  EXPECT_EQ(under_test.load(narrow_band(0), "clip.amr"), S_OK);
  EXPECT_TRUE(play(under_test).empty());
}

TEST(AmrFile, DeliversTenFramesASample) {
  std::mt19937 random(5);
  for (int round = 0; round < 60; ++round) {
    std::vector<uint8_t> tocs(random() % 60);
    for (uint8_t& toc : tocs) toc = static_cast<uint8_t>(random());
    Bytes bytes = speech(round % 2 == 0 ? "#!AMR\n" : "#!AMR-WB\n", tocs);
    if (round % 3 == 0 && tocs.size() > 5) bytes.resize(bytes.size() - random() % 20);
    FilterUnderTest under_test;
    ASSERT_EQ(under_test.load(bytes, "clip.amr"), S_OK);
    EXPECT_EQ(play(under_test), expected(bytes)) << "round " << round;
  }
}

TEST(AmrFile, RequiredGroupStampedWithTheEndOfTheFileIsLeftOut) {
  const std::pair<uint32_t, size_t> kCases[] = {{1, 0}, {2, 1}, {10, 1}, {11, 1}, {12, 2}, {151, 15}};
  for (const auto& [frames, samples] : kCases) {
    FilterUnderTest under_test;
    ASSERT_EQ(under_test.load(narrow_band(frames), "clip.amr"), S_OK);
    const std::vector<Delivered> delivered = play(under_test);
    ASSERT_EQ(delivered.size(), samples) << frames;
    EXPECT_TRUE(delivered.empty() || delivered[0].start == 20 * kMs);
  }
}

TEST(AmrFile, ReadsNothingThatDoesNotFit) {
  FilterUnderTest under_test;
  ASSERT_EQ(under_test.load(narrow_band(30), "clip.amr"), S_OK);
  FakeSample sample(32 * 4 + 31);
  ASSERT_EQ(under_test.fill(0, sample), S_OK);
  EXPECT_EQ(sample.length, 32 * 4);
  FakeSample full(32 * 4);  // no room at all for the fifth
  ASSERT_EQ(under_test.fill(0, full), S_OK);
  EXPECT_EQ(full.length, 32 * 4);
  // Kept: the frame that did not fit is passed over.
  EXPECT_EQ(full.start, 6 * 20 * kMs);
  FakeSample none(0);
  EXPECT_EQ(under_test.fill(0, none), S_FALSE);
  none.get_pointer = E_OUTOFMEMORY;
  EXPECT_EQ(under_test.fill(0, none), E_OUTOFMEMORY);
}

TEST(AmrFile, SeeksToTheFrameOfATime) {
  const struct {
    REFERENCE_TIME target;
    uint32_t frame;
  } kCases[] = {{1, 1},        {kMs, 1},  {20 * kMs, 1},    {21 * kMs, 2},   {40 * kMs, 2},
                {41 * kMs, 3}, {-kMs, 1}, {1000 * kMs, 50}, {1001 * kMs, 51}};
  for (const auto& each : kCases) {
    FilterUnderTest under_test;
    ASSERT_EQ(under_test.load(narrow_band(100), "clip.amr"), S_OK);
    ASSERT_EQ(seek(under_test, each.target), S_OK);
    FakeSample sample(1000);
    ASSERT_EQ(under_test.fill(0, sample), S_OK) << each.target;
    EXPECT_TRUE(sample.discontinuity && sample.sync);
    EXPECT_EQ(sample.start, each.frame * 20 * kMs - each.target);
    FakeSample next(1000);
    ASSERT_EQ(under_test.fill(0, next), S_OK);
    EXPECT_FALSE(next.discontinuity);
    EXPECT_EQ(next.start, (each.frame + 10) * 20 * kMs - each.target);
  }
}

TEST(AmrFile, SeeksBeyondItsEndWithoutASample) {
  for (const REFERENCE_TIME target : {2000 * kMs, REFERENCE_TIME{INT64_MAX}}) {
    FilterUnderTest under_test;
    ASSERT_EQ(under_test.load(narrow_band(100), "clip.amr"), S_OK);
    ASSERT_EQ(seek(under_test, target), S_OK);
    FakeSample sample(1000);
    EXPECT_EQ(under_test.fill(0, sample), S_FALSE);
    ASSERT_EQ(seek(under_test, 100 * kMs), S_OK);
    EXPECT_EQ(under_test.fill(0, sample), S_OK);
    EXPECT_EQ(sample.start, 0);
  }
}

TEST(AmrFile, RequiredSeekToTheSamePlaceChangesNothing) {
  const struct {
    REFERENCE_TIME target;
    bool moves;
    uint32_t frame;
  } kSeeks[] = {{0, false, 11},  // a file begins at 0
                {400 * kMs, true, 20},
                {400 * kMs, false, 30},
                {0, true, 1}};
  FilterUnderTest under_test;
  ASSERT_EQ(under_test.load(narrow_band(100), "clip.amr"), S_OK);
  FakeSample first(1000);
  ASSERT_EQ(under_test.fill(0, first), S_OK);
  for (const auto& each : kSeeks) {
    ASSERT_EQ(seek(under_test, each.target), S_OK);
    FakeSample sample(1000);
    ASSERT_EQ(under_test.fill(0, sample), S_OK);
    EXPECT_EQ(sample.discontinuity, each.moves);
    EXPECT_EQ(sample.start, each.frame * 20 * kMs - each.target);
  }
}

TEST(AmrFile, RequiredStopStartsItAnew) {
  SinkGraph graph;
  ASSERT_EQ(graph.under_test.load(narrow_band(100), "clip.amr"), S_OK);
  ASSERT_EQ(graph.build(), S_OK);
  ASSERT_EQ(graph.seek(1000 * kMs), S_OK);
  // After a seek and a stop the file plays from its first frame, with times before the segment start.
  const REFERENCE_TIME kFirst[] = {0, (20 - 1000) * kMs, (20 - 1000) * kMs};
  for (const REFERENCE_TIME first : kFirst) {
    ASSERT_EQ(graph.run(), S_OK);
    ASSERT_TRUE(graph.wait_for_ends());
    ASSERT_FALSE(graph.segment(0).empty());
    EXPECT_EQ(graph.segment(0)[0].start, first);
    EXPECT_EQ(graph.segment(0)[0].data.size(), 320u);
    ASSERT_EQ(graph.stop(), S_OK);
  }
  EXPECT_EQ(graph.breaches(), std::vector<std::string>{});
}

TEST(AmrFile, RequiredFirstSampleOfTheProcessIsADiscontinuity) {
  FilterUnderTest under_test;
  ASSERT_EQ(under_test.load(narrow_band(30), "clip.amr"), S_OK);
  FakeSample sample(1000);
  sample.set_discontinuity = E_ACCESSDENIED;  // of no consequence for speech files
  for (const bool marked : {true, false}) {
    ASSERT_EQ(under_test.fill(0, sample), S_OK);
    EXPECT_EQ(sample.discontinuity, marked);
    EXPECT_FALSE(sample.sync && !marked);
    sample = FakeSample(1000);
    if (marked) under_test.fill(0, sample);  // takes the mark that was refused
    sample = FakeSample(1000);
  }
}

TEST(AmrFile, LatenessAndPositionsAreThoseOfAnAudioStream) {
  FilterUnderTest under_test;
  ASSERT_EQ(under_test.load(narrow_band(100), "clip.amr"), S_OK);
  FakeSample sample(1000);
  ASSERT_EQ(under_test.fill(0, sample), S_OK);
  EXPECT_EQ(under_test.pin(0).Notify(nullptr, {Famine, 500, 100000 * kMs, 0}), S_OK);
  ASSERT_EQ(under_test.fill(0, sample), S_OK);
  EXPECT_EQ(sample.start, 11 * 20 * kMs);
  LONGLONG position = 0;
  EXPECT_EQ(under_test.seeking(0)->GetCurrentPosition(&position), S_OK);
  EXPECT_EQ(position, sample.start);
}

// What the sink writes behind the line is what the file has, but for a last group that is left out.
TEST(AmrFile, RealFilesComeOutAsTheyAre) {
  for (const char* name : {"amr-nb.amr", "amr-wb.awb"}) {
    const std::filesystem::path path = std::filesystem::path(ZDR_SAMPLES_DIR) / name;
    std::ifstream file(path, std::ios::binary);
    const Bytes bytes((std::istreambuf_iterator<char>(file)), {});
    FilterUnderTest under_test;
    ASSERT_EQ(under_test.load(path), S_OK);
    Bytes delivered;
    for (const Delivered& each : play(under_test)) {
      delivered.insert(delivered.end(), each.data.begin(), each.data.end());
    }
    const auto frames = std::find(bytes.begin(), bytes.end(), '\n') + 1;
    ASSERT_LE(delivered.size(), static_cast<size_t>(bytes.end() - frames));
    EXPECT_TRUE(std::equal(delivered.begin(), delivered.end(), frames));
    const uint32_t count = PlainAmrReader(bytes).scan().frame_count;
    EXPECT_EQ(bytes.size() - delivered.size() - static_cast<size_t>(frames - bytes.begin()),
              count % 10 == 1 ? 32u : 0u)
        << name;
  }
}

}  // namespace
}  // namespace zdr::tests
