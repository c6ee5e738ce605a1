// AAC files through the filter: their pin, and the PCM that its worker's function puts into each sample.
#include <gtest/gtest.h>

#include <cstring>

#include "esparse/aac/aacf.h"
#include "mediakit/aac/adts_file.h"
#include "mediakit/aac/stream_builder.h"
#include "mediakit/files/id3_builder.h"
#include "os/os.h"
#include "tests/filters/sink_graph.h"

namespace zdr::tests {
namespace {

using aacf::test::adts_file;
using test::Bytes;
using namespace std::string_literals;

constexpr REFERENCE_TIME kMs = 10000;
constexpr LONG kRoom = 40960;  // ten frames of two channels

// The same file through the reader alone.
class Reader {
 public:
  explicit Reader(const std::filesystem::path& path) {
    const AACF_FileIo io = {OS_fopen, OS_fseek, OS_fread, OS_fwrite, OS_fclose, OS_ftell};
    const AACF_OpenParams params{&io, 0x80000};
    EXPECT_EQ(AACF_Open(&reader_, wide(path.string()).c_str(), &params), AACF_OK);
  }
  ~Reader() { AACF_Close(reader_); }

  AACF_File* get() { return reader_; }
  // PCM of `count` reads from frame `first` on, or of all, as far as it fits `room`.
  Bytes pcm(uint32_t first, uint32_t count = UINT32_MAX, size_t room = SIZE_MAX) {
    Bytes all;
    std::vector<int16_t> frame(8192);
    for (uint32_t i = 0; i < count; ++i) {
      const size_t left = std::min<size_t>(room - all.size(), 16384);
      AACF_FrameRequest request{first + i, static_cast<uint32_t>(left), frame.data()};
      if (AACF_ReadFrame(reader_, &request) != AACF_OK) break;
      const auto* const bytes = reinterpret_cast<const uint8_t*>(frame.data());
      all.insert(all.end(), bytes, bytes + request.size);
    }
    return all;
  }

 private:
  AACF_File* reader_ = nullptr;
};

std::filesystem::path sample_path(const char* name) {
  return std::filesystem::path(ZDR_SAMPLES_DIR) / name;
}

WAVEFORMATEX format_of(const CMediaType& type) {
  WAVEFORMATEX wave;
  std::memcpy(&wave, type.pbFormat, sizeof wave);
  return wave;
}

// A loaded file of two channels of 44.1 kHz.
struct Adts : FilterUnderTest {
  explicit Adts(size_t frames = 100) { EXPECT_EQ(load(adts_file(frames, 400), "clip.AAC"), S_OK); }
};

TEST(AacFile, OffersPcmOnOnePin) {
  SinkGraph graph;
  ASSERT_EQ(graph.under_test.load(adts_file(100, 400), "clip.AAC"), S_OK);
  EXPECT_EQ(graph.under_test.pin_names(), std::vector<std::string>{"Audio1"});
  CZanMP4SourceOutputPin& pin = graph.under_test.pin(0);
  CMediaType type;
  ASSERT_EQ(pin.GetMediaType(0, &type), S_OK);
  EXPECT_EQ(type.majortype, MEDIATYPE_Audio);
  EXPECT_EQ(type.subtype, MEDIASUBTYPE_PCM);
  EXPECT_EQ(type.formattype, FORMAT_WaveFormatEx);
  ASSERT_EQ(type.cbFormat, sizeof(WAVEFORMATEX));
  const WAVEFORMATEX wave = format_of(type);
  EXPECT_EQ(wave.wFormatTag, WAVE_FORMAT_PCM);
  EXPECT_EQ(wave.nChannels, 2);
  EXPECT_EQ(wave.nSamplesPerSec, 44100u);
  EXPECT_EQ(wave.nAvgBytesPerSec, 176400u);
  EXPECT_EQ(wave.nBlockAlign, 4);
  EXPECT_EQ(wave.wBitsPerSample, 16);
  EXPECT_EQ(wave.cbSize, 0);
  EXPECT_EQ(pin.GetMediaType(1, &type), VFW_S_NO_MORE_ITEMS);
  // Required: whatever is proposed.
  EXPECT_EQ(pin.CheckMediaType(std::make_unique<CMediaType>().get()), S_OK);
  EXPECT_EQ(graph.build(), S_OK);
  LONGLONG duration = 0;
  EXPECT_EQ(graph.under_test.seeking(0)->GetDuration(&duration), S_OK);
  EXPECT_EQ(duration, 2321 * kMs);
}

TEST(AacFile, RequiredBufferSizeIsUnknownBeforeATypeWasAskedFor) {
  Adts under_test;
  HRESULT hr = S_OK;
  const com::ComPtr<IMemAllocator> allocator(new CMemAllocator(NAME("allocator of a test"), nullptr, &hr));
  ALLOCATOR_PROPERTIES properties{.cBuffers = 0, .cbBuffer = 0, .cbAlign = 1, .cbPrefix = 0};
  EXPECT_EQ(under_test.pin(0).DecideBufferSize(allocator.get(), &properties), -1);
  CMediaType type;
  ASSERT_EQ(under_test.pin(0).GetMediaType(0, &type), S_OK);
  EXPECT_EQ(under_test.pin(0).DecideBufferSize(allocator.get(), &properties), S_OK);
  EXPECT_EQ(properties.cBuffers, 4);
  EXPECT_EQ(properties.cbBuffer, kRoom);
}

TEST(AacFile, WhatCannotBeReadIsRefused) {
  FilterUnderTest under_test;
  EXPECT_EQ(under_test.load(under_test.folder / "missing.aac"), VFW_E_NOT_FOUND);
  EXPECT_EQ(under_test.load(Bytes(1000, 'x'), "clip.aac"), VFW_E_INVALID_FILE_FORMAT);
  // Flags that a tag must not have.
  const Bytes tagged = test::concat({test::id3v2(3, 0x10, Bytes(20, 0)), adts_file(10, 400)});
  EXPECT_EQ(under_test.load(tagged, "clip.aac"), VFW_E_INVALID_FILE_FORMAT);
  EXPECT_EQ(under_test.pin_count(), 0);
  const Bytes title = test::v23_frame("TIT2", test::bytes_of("\0Song"s));
  EXPECT_EQ(under_test.load(test::concat({test::id3v2(3, 0, title), adts_file(10, 400)}), "clip.aac"), S_OK);
}

TEST(AacFile, RequiredGroupsCarryTheTimeOfTheirSecondFrame) {
  const std::vector<Filled> delivered = Adts().play();
  // A hundred frames are read; the first read gives nothing.
  ASSERT_EQ(delivered.size(), 10u);
  const std::pair<REFERENCE_TIME, size_t> kFirst[] = {{23, 9}, {255, 10}, {487, 10}};
  for (size_t i = 0; i < std::size(kFirst); ++i) {
    EXPECT_EQ(delivered[i].start, kFirst[i].first * kMs);
    EXPECT_EQ(delivered[i].stop, delivered[i].start + 1);
    EXPECT_EQ(delivered[i].data.size(), kFirst[i].second * 4096);
  }
  EXPECT_EQ(delivered[9].start, 2113 * kMs);
}

// Of 10k + 1 frames the last group's time is that of the stop, or just before it.
TEST(AacFile, RequiredLastGroupOfOneFrameMayBeLeftOut) {
  const std::pair<size_t, size_t> kCases[] = {{2, 1}, {10, 1}, {11, 1}, {12, 2}, {21, 2}};
  for (const auto& [frames, samples] : kCases) EXPECT_EQ(Adts(frames).play().size(), samples) << frames;
}

TEST(AacFile, PlaysWhatItsReaderGivesAtTheRateOfTheDecoder) {
  const struct {
    const char* name;
    WORD channels;
    DWORD rate;
  } kFiles[] = {{"aac-lc-44k-stereo.aac", 2, 44100},
                {"aac-lc-8k-mono.aac", 1, 8000},
                {"he-aac-v1-stereo.aac", 2, 44100},
                {"he-aac-v2.aac", 2, 44100}};
  for (const auto& each : kFiles) {
    FilterUnderTest under_test;
    ASSERT_EQ(under_test.load(sample_path(each.name)), S_OK);
    CMediaType type;
    ASSERT_EQ(under_test.pin(0).GetMediaType(0, &type), S_OK);
    EXPECT_EQ(format_of(type).nChannels, each.channels) << each.name;
    EXPECT_EQ(format_of(type).nSamplesPerSec, each.rate) << each.name;
    Bytes delivered;
    for (const Filled& sample : under_test.play()) {
      delivered.insert(delivered.end(), sample.data.begin(), sample.data.end());
    }
    const Bytes expected = Reader(sample_path(each.name)).pcm(1);
    ASSERT_GE(expected.size(), delivered.size()) << each.name;
    EXPECT_LE(expected.size() - delivered.size(), 4096u * 4) << each.name;
    EXPECT_TRUE(std::equal(delivered.begin(), delivered.end(), expected.begin())) << each.name;
  }
}

// The blocks of a real file behind the header of each kind.
struct Kind {
  const char* name;
  Bytes header;
  bool adts = false;
};
const Kind kKinds[] = {
    {"ADTS", {}, true}, {"ADIF", aacf::test::adif_header()}, {"raw", aacf::test::raw_header()}};

Bytes same_stream_as(const Kind& kind) {
  Bytes content = kind.header;
  for (const auto& frame : aacdec::test::read_adts_file(sample_path("aac-lc-44k-stereo.aac")).frames) {
    if (kind.adts) content.insert(content.end(), frame.header.begin(), frame.header.end());
    content.insert(content.end(), frame.payload.begin(), frame.payload.end());
  }
  return content;
}

TEST(AacFile, OfEveryKindPlaysTheSame) {
  std::vector<std::vector<Filled>> played;
  for (const Kind& kind : kKinds) {
    FilterUnderTest under_test;
    ASSERT_EQ(under_test.load(same_stream_as(kind), "clip.aac"), S_OK) << kind.name;
    played.push_back(under_test.play());
    ASSERT_GT(played.back().size(), 3u) << kind.name;
  }
  EXPECT_EQ(played[1], played[2]);
  // Frames of ADTS are estimated, and the last one is never counted.
  ASSERT_LE(played[0].size(), played[1].size());
  played[0].pop_back();
  EXPECT_TRUE(
      std::equal(played[0].begin(), played[0].end(), played[1].begin(),
                 [](const Filled& a, const Filled& b) { return a.start == b.start && a.data == b.data; }));
}

TEST(AacFile, RequiredFrameThatDoesNotFitIsPassedOver) {
  constexpr LONG kThreeFramesAndAHalf = 3 * 4096 + 2048;
  for (const Kind& kind : kKinds) {
    FilterUnderTest under_test;
    ASSERT_EQ(under_test.load(same_stream_as(kind), "clip.aac"), S_OK) << kind.name;
    Reader reader(under_test.folder / "clip.aac");
    // Frames 1 to 4 and the one of which nothing comes; 6 to 9, and so on.
    for (const uint32_t first : {1u, 6u, 10u}) {
      const Bytes expected = reader.pcm(first, 10, kThreeFramesAndAHalf);
      EXPECT_EQ(under_test.fill(kThreeFramesAndAHalf).data, expected) << kind.name << ' ' << first;
    }
  }
}

TEST(AacFile, RefusedBufferLosesItsFirstFrame) {
  FilterUnderTest under_test;
  const auto path = sample_path("aac-lc-44k-stereo.aac");
  ASSERT_EQ(under_test.load(path), S_OK);
  FakeSample none(kRoom);
  none.get_pointer = E_OUTOFMEMORY;
  EXPECT_EQ(under_test.fill(0, none), E_OUTOFMEMORY);
  EXPECT_EQ(under_test.fill(kRoom).data, Reader(path).pcm(2, 10));
}

TEST(AacFile, EverySeekDecodesAnew) {
  for (const Kind& kind : kKinds) {
    SCOPED_TRACE(kind.name);
    FilterUnderTest under_test;
    ASSERT_EQ(under_test.load(same_stream_as(kind), "clip.aac"), S_OK);
    const auto path = under_test.folder / "clip.aac";
    // Required: to 0 means to 1 ms, and to the same place means again.
    for (const REFERENCE_TIME target : {0 * kMs, 0 * kMs, 500 * kMs, 500 * kMs, 123 * kMs, -5 * kMs}) {
      Reader reader(path);
      uint32_t frame = 0;
      ASSERT_EQ(AACF_TimeToFrame(reader.get(),
                                 static_cast<uint32_t>(std::max(target / kMs, REFERENCE_TIME{1})), &frame),
                AACF_OK);
      uint64_t second_ms = 0;
      AACF_FrameToTime(reader.get(), frame + 1, &second_ms);
      ASSERT_EQ(under_test.seek(target), S_OK);
      const Filled sample = under_test.fill(kRoom);
      EXPECT_TRUE(sample.discontinuity && sample.sync) << target;
      EXPECT_EQ(sample.start, static_cast<REFERENCE_TIME>(second_ms) * kMs - target);
      EXPECT_EQ(sample.data, reader.pcm(frame, 10)) << target;
    }
    ASSERT_EQ(under_test.seek(1000000 * kMs), S_OK);
    EXPECT_TRUE(under_test.play().empty());
  }
}

TEST(AacFile, RequiredStopStartsItAnewWithTheFrameThatWasHeld) {
  SinkGraph graph;
  ASSERT_EQ(graph.under_test.load(sample_path("aac-lc-44k-stereo.aac")), S_OK);
  ASSERT_EQ(graph.build(), S_OK);
  std::vector<SinkSample> first_samples;
  for (int run = 0; run < 3; ++run) {
    ASSERT_EQ(graph.run(), S_OK);
    ASSERT_TRUE(graph.wait_for_ends());
    ASSERT_FALSE(graph.segment(0).empty());
    first_samples.push_back(graph.segment(0)[0]);
    ASSERT_EQ(graph.stop(), S_OK);
  }
  EXPECT_EQ(first_samples[0].data.size(), 9u * 4096);
  for (int run = 1; run < 3; ++run) {
    EXPECT_EQ(first_samples[run].start, 23 * kMs);
    EXPECT_EQ(first_samples[run].data.size(), 10u * 4096);
  }
  EXPECT_EQ(graph.breaches(), std::vector<std::string>{});
}

TEST(AacFile, AFrameThatCannotBeDecodedEndsItsGroup) {
  Bytes content = adts_file(60, 400);
  content[14 * 400 + 7] = 0x60;  // no block begins with the element that these bits announce
  FilterUnderTest under_test;
  ASSERT_EQ(under_test.load(content, "clip.aac"), S_OK);
  const std::vector<Filled> delivered = under_test.play();
  ASSERT_GE(delivered.size(), 4u);
  // Frames 11 to 14; the next group begins behind the damage.
  EXPECT_EQ(delivered[1].data.size(), 4u * 4096);
  EXPECT_EQ(delivered[2].data.size(), 10u * 4096);
  EXPECT_EQ(delivered[2].start, 371 * kMs);
}

}  // namespace
}  // namespace zdr::tests
