// Speech files through the filter: their pin, and what its worker's function puts into each sample.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "filters/source/mp4/interfaces/zdr_guids.h"
#include "mediakit/files/speech_file.h"
#include "tests/filters/sink_graph.h"

namespace zdr::tests {
namespace {

constexpr REFERENCE_TIME kMs = 10000;

// A loaded file of so many frames of 32 bytes.
struct NarrowBand : FilterUnderTest {
  explicit NarrowBand(uint32_t frames = 100) {
    EXPECT_EQ(load(speech(false, frames, 0x3C).bytes(), "clip.amr"), S_OK);
  }
};

TEST(AmrFile, OffersItsBandOnOnePin) {
  const std::tuple<std::string, bool, GUID, DWORD> kCases[] = {
      {"clip.amr", false, mp4source::kSubtypeAmrNarrowBand, 8000},
      {"clip.AWB", true, mp4source::kSubtypeAmrWideBand, 16000},
      {"required: the line decides.awb", false, mp4source::kSubtypeAmrNarrowBand, 8000}};
  for (const auto& [name, is_wide, subtype, rate] : kCases) {
    SCOPED_TRACE(name);
    SinkGraph graph;
    ASSERT_EQ(graph.under_test.load(speech(is_wide, 2, 0x3C).bytes(), name), S_OK);
    EXPECT_EQ(graph.under_test.pin_names(), std::vector<std::string>{"AMR Audio1"});
    CMediaType type;
    ASSERT_EQ(graph.under_test.pin(0).GetMediaType(0, &type), S_OK);
    EXPECT_EQ(type.majortype, MEDIATYPE_Audio);
    EXPECT_EQ(type.subtype, subtype);
    EXPECT_EQ(type.formattype, FORMAT_WaveFormatEx);
    const WAVEFORMATEX expected{0x7A22, 1, rate, 0, 4, 0, 0};
    ASSERT_EQ(type.cbFormat, sizeof expected);
    EXPECT_EQ(std::memcmp(type.pbFormat, &expected, sizeof expected), 0);
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

// Ten frames a sample, stamped with the end of the first; what is stamped with the end of the file is left
// out.
TEST(AmrFile, RequiredTenFramesASampleButForAGroupStampedWithTheEnd) {
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

TEST(AmrFile, ReadsNothingThatDoesNotFit) {
  NarrowBand under_test;
  EXPECT_EQ(under_test.fill(32 * 4 + 31).data.size(), 32u * 4);
  const Filled full = under_test.fill(32 * 4);  // no room at all for the fifth
  EXPECT_EQ(full.data.size(), 32u * 4);
  EXPECT_EQ(full.start, 6 * 20 * kMs);  // the frame that did not fit is passed over
  FakeSample none(0);
  EXPECT_EQ(under_test.fill(0, none), S_FALSE);
  none.get_pointer = E_OUTOFMEMORY;
  EXPECT_EQ(under_test.fill(0, none), E_OUTOFMEMORY);
}

TEST(AmrFile, SeeksToTheFrameOfATime) {
  const std::pair<REFERENCE_TIME, uint32_t> kCases[] = {{1, 1},        {kMs, 1},         {20 * kMs, 1},
                                                        {21 * kMs, 2}, {40 * kMs, 2},    {41 * kMs, 3},
                                                        {-kMs, 1},     {1000 * kMs, 50}, {1001 * kMs, 51}};
  for (const auto& [target, frame] : kCases) {
    NarrowBand under_test;
    ASSERT_EQ(under_test.seek(target), S_OK);
    const Filled sample = under_test.fill();
    EXPECT_TRUE(sample.discontinuity && sample.sync);
    EXPECT_EQ(sample.start, frame * 20 * kMs - target) << target;
    const Filled next = under_test.fill();
    EXPECT_FALSE(next.discontinuity);
    EXPECT_EQ(next.start, (frame + 10) * 20 * kMs - target);
  }
  for (const REFERENCE_TIME target : {2000 * kMs, REFERENCE_TIME{INT64_MAX}}) {
    NarrowBand under_test;
    ASSERT_EQ(under_test.seek(target), S_OK);
    EXPECT_TRUE(under_test.play().empty()) << target;
    ASSERT_EQ(under_test.seek(100 * kMs), S_OK);
    EXPECT_EQ(under_test.fill().start, 0);
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
  NarrowBand under_test;
  under_test.fill();
  for (const auto& each : kSeeks) {
    ASSERT_EQ(under_test.seek(each.target), S_OK);
    const Filled sample = under_test.fill();
    EXPECT_EQ(sample.discontinuity, each.moves);
    EXPECT_EQ(sample.start, each.frame * 20 * kMs - each.target);
  }
}

TEST(AmrFile, RequiredStopStartsItAnew) {
  SinkGraph graph;
  ASSERT_EQ(graph.under_test.load(speech(false, 100, 0x3C).bytes(), "clip.amr"), S_OK);
  ASSERT_EQ(graph.build(), S_OK);
  ASSERT_EQ(graph.seek(1000 * kMs), S_OK);
  // After a seek and a stop the file plays from its first frame, with times before the segment start.
  for (const REFERENCE_TIME first : {REFERENCE_TIME{0}, (20 - 1000) * kMs, (20 - 1000) * kMs}) {
    ASSERT_EQ(graph.run(), S_OK);
    ASSERT_TRUE(graph.wait_for_ends());
    ASSERT_FALSE(graph.segment(0).empty());
    EXPECT_EQ(graph.segment(0)[0].start, first);
    EXPECT_EQ(graph.segment(0)[0].data.size(), 320u);
    ASSERT_EQ(graph.stop(), S_OK);
  }
  EXPECT_EQ(graph.breaches(), std::vector<std::string>{});
}

// Unlike in ISO media, a sample that refuses the mark takes it along.
TEST(AmrFile, RequiredFirstSampleOfTheProcessAloneIsADiscontinuity) {
  NarrowBand under_test;
  FakeSample refusing(1000);
  refusing.set_discontinuity = E_ACCESSDENIED;
  EXPECT_EQ(under_test.fill(0, refusing), S_OK);
  const Filled next = under_test.fill();
  EXPECT_FALSE(next.discontinuity || next.sync);
}

TEST(AmrFile, LatenessAndPositionsAreThoseOfAnAudioStream) {
  NarrowBand under_test;
  under_test.fill();
  EXPECT_EQ(under_test.pin(0).Notify(nullptr, {Famine, 500, 100000 * kMs, 0}), S_OK);
  EXPECT_EQ(under_test.fill().start, 11 * 20 * kMs);
  LONGLONG position = 0;
  EXPECT_EQ(under_test.seeking(0)->GetCurrentPosition(&position), S_OK);
  EXPECT_EQ(position, 11 * 20 * kMs);
}

// What the sink writes behind the line is what the file has, but for a last group that is left out.
TEST(AmrFile, RealFilesComeOutAsTheyAre) {
  const std::pair<const char*, size_t> kFiles[] = {{"amr-nb.amr", 32}, {"amr-wb.awb", 0}};
  for (const auto& [name, left_out] : kFiles) {
    const std::filesystem::path path = std::filesystem::path(ZDR_SAMPLES_DIR) / name;
    FilterUnderTest under_test;
    ASSERT_EQ(under_test.load(path), S_OK);
    std::string delivered;
    for (const Filled& each : under_test.play()) delivered.append(each.data.begin(), each.data.end());
    std::string frames = read_file(path);
    frames = frames.substr(frames.find('\n') + 1);
    EXPECT_EQ(delivered, frames.substr(0, frames.size() - left_out)) << name;
  }
}

}  // namespace
}  // namespace zdr::tests
