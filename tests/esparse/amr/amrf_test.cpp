// The reader of speech files: against a plain reading of the same bytes, and in the cases that decide.
#include "esparse/amr/amrf.h"

#include <gtest/gtest.h>

#include <array>
#include <random>

#include "esparse/amr/frame_reader.h"
#include "os/os.h"
#include "tests/esparse/amr/memory_source.h"
#include "tests/esparse/amr/plain_amr_reader.h"
#include "tests/esparse/amr/speech_file.h"

namespace zdr::tests {
namespace {

constexpr int32_t kTooSmall = static_cast<int32_t>(0x80004005);

// A read as all that it answers.
struct Answer {
  int32_t status;
  uint32_t size;
  std::array<uint8_t, 100> frame{};
  bool operator==(const Answer&) const = default;
};
std::ostream& operator<<(std::ostream& out, const Answer& answer) {
  return out << "status " << answer.status << ", size " << answer.size << ", first " << int{answer.frame[0]};
}

template <class Read>
Answer ask(uint32_t number, uint32_t capacity, Read read) {
  Answer answer{};
  AMRF_FrameRequest request{number, capacity, answer.frame.data()};
  answer.status = read(request);
  answer.size = request.size;
  return answer;
}
Answer ask(AMRF_File* reader, uint32_t number, uint32_t capacity = 100) {
  return ask(number, capacity, [&](AMRF_FrameRequest& request) { return AMRF_ReadFrame(reader, &request); });
}

// Frames of random types, whole but for a cut at the end.
Bytes random_frames(std::mt19937& random, bool wide, size_t count) {
  const PlainAmrReader sizes(with_line(wide ? kWideLine : kNarrowLine, {}));
  // Without the types that have no size, half of the time: they stop every walk.
  const bool all_types = random() % 2 == 0;
  Bytes frames;
  for (size_t i = 0; i < count; ++i) {
    const auto toc = static_cast<uint8_t>(random());
    const uint32_t size = sizes.size_of(toc);
    if (size == 0 && (!all_types || random() % 20 != 0)) continue;
    frames.push_back(toc);
    for (uint32_t k = 1; k < size; ++k) frames.push_back(static_cast<uint8_t>(random()));
  }
  if (random() % 2 == 0 && !frames.empty())
    frames.resize(frames.size() - random() % std::min<size_t>(frames.size(), 70));
  return frames;
}

TEST(Amrf, ReadsWhatAPlainReadingGives) {
  std::mt19937 random(41);
  for (int round = 0; round < 60; ++round) {
    const bool wide = round % 2 == 0;
    // Files of a few frames, and files of some blocks.
    const size_t count = round % 5 == 0 ? 4000 + random() % 2000 : random() % 40;
    const Bytes bytes = with_line(wide ? kWideLine : kNarrowLine, random_frames(random, wide, count));
    const OnDisk file(bytes);
    const Reader reader = file.open();
    PlainAmrReader plain(bytes);
    uint32_t number = 0;
    for (int step = 0; step < 200; ++step) {
      if (random() % 16 == 0) {
        AMRF_Info info{};
        ASSERT_EQ(AMRF_Scan(reader.get(), &info), 0);
        const AMRF_Info expected = plain.scan();
        EXPECT_EQ(info.frame_count, expected.frame_count);
        EXPECT_EQ(info.duration_ms, expected.duration_ms);
        EXPECT_EQ(info.codec, expected.codec);
        number = info.frame_count;
      }
      if (random() % 8 == 0) number = static_cast<uint32_t>(random() % (count + 5));
      number += random() % 16 != 0 ? 1 : 0;
      const auto capacity = static_cast<uint32_t>(random() % 4 == 0 ? random() % 40 : 100);
      const Answer expected =
          ask(number, capacity, [&](AMRF_FrameRequest& request) { return plain.read_frame(request); });
      ASSERT_EQ(ask(reader.get(), number, capacity), expected) << "round " << round << ", frame " << number;
    }
  }
}

TEST(Amrf, CountsWholeFramesOfEveryType) {
  const struct {
    std::string name;
    std::string line;
    Bytes frames;
    uint32_t codec;
    uint32_t count;
  } kCases[] = {
      {"no frame", kNarrowLine, {}, 64, 0},
      {"12.2 kbit/s", kNarrowLine, Bytes(64, 0x3C), 64, 2},
      {"cut off", kNarrowLine, Bytes(63, 0x3C), 64, 1},
      {"no data", kNarrowLine, Bytes(5, 0x7C), 64, 5},
      {"the top bit says nothing", kNarrowLine, Bytes(32, 0xBC), 64, 1},
      {"6.60 kbit/s", kWideLine, Bytes(36, 0x04), 80, 2},
      {"23.85 kbit/s", kWideLine, Bytes(122, 0x44), 80, 2},
      {"top bit of wide-band", kWideLine, Bytes(61, 0xC4), 80, 1},
      {"required: reserved type 10 is as large as SID", kWideLine, Bytes(12, 0x54), 80, 2},
      {"required: types without a size take a byte", kWideLine, {0x5C, 0x64, 0x6C}, 80, 3},
      {"required: any other line is wide-band", "#!AMR_MC1.0\n", Bytes(36, 0x04), 80, 2},
      {"required: CR LF is another line", "#!AMR\r\n", Bytes(36, 0x04), 80, 2},
      {"required: any line of six is narrow-band", "hello\n", Bytes(13, 0), 64, 1},
  };
  for (const auto& each : kCases) {
    SCOPED_TRACE(each.name);
    const OnDisk file(with_line(each.line, each.frames));
    const Reader reader = file.open();
    AMRF_Info info{};
    EXPECT_EQ(AMRF_Scan(reader.get(), &info), 0);
    EXPECT_EQ(info.codec, each.codec);
    EXPECT_EQ(info.frame_count, each.count);
    EXPECT_EQ(info.duration_ms, each.count * 20);
    EXPECT_EQ(ask(reader.get(), each.count + 1).status, -1);
  }
}

TEST(Amrf, RefusesAFrameThatDoesNotFitAndReadsItAfterwards) {
  const OnDisk file(with_line(kNarrowLine, Bytes(96, 0x3C)));
  const Reader reader = file.open();
  for (const uint32_t number : {1u, 2u, 3u}) {
    EXPECT_EQ(ask(reader.get(), number, 20).status, kTooSmall);
    EXPECT_EQ(ask(reader.get(), number, 32).size, 32u);  // not from where the refused one stopped
    EXPECT_EQ(ask(reader.get(), number, 0).size, 32u);   // required: 0 is no limit
  }
}

TEST(Amrf, RequiredStepOverATypeWithoutASizeStaysOnIt) {
  // Two whole frames, one without a size, and one more.
  Bytes frames(36, 0x04);
  frames.push_back(0x5C);
  frames.resize(frames.size() + 18, 0x04);
  const OnDisk file(with_line(kWideLine, frames));
  const Reader reader = file.open();
  EXPECT_EQ(ask(reader.get(), 2).size, 18u);
  EXPECT_EQ(ask(reader.get(), 3).size, 1u);
  EXPECT_EQ(ask(reader.get(), 4).size, 18u);  // in order, it is read over
  for (const uint32_t number : {6u, 4u, 1000u, 0xFFFFFFFFu}) {
    const Answer answer = ask(reader.get(), number);
    EXPECT_EQ(answer.size, 1u);
    EXPECT_EQ(answer.frame[0], 0x5C);
  }
}

TEST(Amrf, FindsTheFrameThatIsHeardAtTheEndOfATime) {
  const OnDisk file(with_line(kNarrowLine, {}));
  const Reader reader = file.open();
  const std::pair<uint32_t, uint32_t> kCases[] = {
      {0, 1}, {1, 1}, {19, 1}, {20, 1}, {21, 2}, {40, 2}, {41, 3}, {0xFFFFFFFF, 0xFFFFFFFF / 20 + 1}};
  for (const auto& [time_ms, frame] : kCases) {
    uint32_t number = 0;
    EXPECT_EQ(AMRF_TimeToFrame(reader.get(), time_ms, &number), 0);
    EXPECT_EQ(number, frame) << time_ms;
  }
}

TEST(Amrf, AFailedOpenLeavesNothingBehind) {
  AMRF_File* reader = reinterpret_cast<AMRF_File*>(1);
  EXPECT_EQ(AMRF_Open(&reader, u"no/such/file.amr"), -1);
  EXPECT_EQ(reader, nullptr);
  const OnDisk no_line(Bytes(200000, 'x'));
  reader = reinterpret_cast<AMRF_File*>(1);
  EXPECT_EQ(AMRF_Open(&reader, no_line.wide_path.c_str()), -1);
  EXPECT_EQ(reader, nullptr);
  // Nobody holds the file any more, so it may be written.
  void* const writer = OS_fopen(no_line.wide_path.c_str(), "r+");
  EXPECT_NE(writer, nullptr);
  OS_fclose(writer);
}

TEST(Amrf, RefusesNullArguments) {
  const OnDisk file(with_line(kNarrowLine, Bytes(13, 0)));
  const Reader reader = file.open();
  AMRF_File* opened = nullptr;
  AMRF_Info info{};
  AMRF_FrameRequest request{1, 100, nullptr};
  uint32_t number = 0;
  EXPECT_EQ(AMRF_Open(nullptr, file.wide_path.c_str()), -1);
  EXPECT_EQ(AMRF_Open(&opened, nullptr), -1);
  EXPECT_EQ(AMRF_Close(nullptr), -1);
  EXPECT_EQ(AMRF_Scan(nullptr, &info), -1);
  EXPECT_EQ(AMRF_Scan(reader.get(), nullptr), -1);
  EXPECT_EQ(AMRF_ReadFrame(nullptr, &request), -1);
  EXPECT_EQ(AMRF_ReadFrame(reader.get(), nullptr), -1);
  EXPECT_EQ(AMRF_ReadFrame(reader.get(), &request), -1);
  EXPECT_EQ(AMRF_TimeToFrame(nullptr, 1, &number), -1);
  EXPECT_EQ(AMRF_TimeToFrame(reader.get(), 1, nullptr), -1);
}

// --- Faults of the file and of memory
// -----------------------------------------------------------------------

// Reads all frames in order, then some far apart. What a failing call of the source costs is one answer: the
// same question, asked again, is answered as if nothing had been.
void exercise(const Bytes& bytes, SourceCalls& calls) {
  amrf::FrameReader frames(std::make_unique<MemorySource>(bytes, calls));
  if (!frames.skip_header()) {
    EXPECT_LE(calls.fail_at, calls.calls);
    return;
  }
  PlainAmrReader plain(bytes);
  const uint32_t count = plain.scan().frame_count;
  AMRF_Info info{};
  const bool scanned = frames.scan(info);
  EXPECT_TRUE(info.frame_count == count || calls.calls >= calls.fail_at);
  EXPECT_TRUE(scanned || calls.calls >= calls.fail_at);
  for (uint32_t number = 1; number <= count; number += number % 900 == 0 ? 37 : 1) {
    const auto read = [&](AMRF_FrameRequest& request) { return frames.read(request); };
    const Answer expected =
        ask(number, 100, [&](AMRF_FrameRequest& request) { return plain.read_frame(request); });
    const uint32_t calls_before = calls.calls;
    Answer answer = ask(number, 100, read);
    if (answer.status != 0) {
      ASSERT_TRUE(calls_before < calls.fail_at && calls.fail_at <= calls.calls) << number;
      answer = ask(number, 100, read);
    }
    ASSERT_EQ(answer, expected) << number << ", call " << calls.fail_at;
  }
}

TEST(AmrfFaults, EveryFailingReadAndSeekCostsOneAnswer) {
  std::mt19937 random(7);
  Bytes frames;
  while (frames.size() < 200000) {
    frames.push_back(static_cast<uint8_t>(random() % 8 * 8 + 4));
    frames.resize(frames.size() + AMRF_FrameSizeWB(frames.back()) - 1, 0xA5);
  }
  const Bytes bytes = with_line(kWideLine, frames);
  SourceCalls whole;
  exercise(bytes, whole);
  ASSERT_GT(whole.calls, 10u);
  for (uint32_t fail_at = 1; fail_at <= whole.calls; ++fail_at) {
    SourceCalls calls{.fail_at = fail_at};
    exercise(bytes, calls);
  }
}

TEST(AmrfFaults, ReadingInOrderSeeksOnce) {
  const Bytes bytes = with_line(kNarrowLine, Bytes(32 * 10000, 0x3C));
  SourceCalls calls;
  amrf::FrameReader frames(std::make_unique<MemorySource>(bytes, calls));
  ASSERT_TRUE(frames.skip_header());
  for (uint32_t number = 1; number <= 10000; ++number) {
    Answer answer = ask(number, 100, [&](AMRF_FrameRequest& request) { return frames.read(request); });
    ASSERT_EQ(answer.status, 0);
  }
  EXPECT_EQ(calls.seeks, 0u);
  EXPECT_LE(calls.calls, 6u);
}

}  // namespace
}  // namespace zdr::tests
