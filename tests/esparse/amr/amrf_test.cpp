// The reader of speech files: against the frames that a file was made of, and in the cases that decide.
#include "esparse/amr/amrf.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "esparse/amr/frame_reader.h"
#include "mediakit/files/memory_source.h"
#include "mediakit/files/speech_file.h"
#include "os/os.h"

namespace zdr::tests {
namespace {

constexpr int32_t kTooSmall = static_cast<int32_t>(0x80004005);

struct Answer {
  int32_t status;
  Bytes frame;  // when the status is 0
  bool operator==(const Answer&) const = default;
};
std::ostream& operator<<(std::ostream& out, const Answer& answer) {
  return out << "status " << answer.status << ", " << answer.frame.size() << " bytes";
}

template <class Read>
Answer ask(uint32_t number, uint32_t capacity, Read read) {
  Bytes buffer(100);
  AMRF_FrameRequest request{number, capacity, buffer.data()};
  const int32_t status = read(request);
  buffer.resize(status == 0 ? request.size : 0);
  return {status, buffer};
}
Answer ask(AMRF_File* reader, uint32_t number, uint32_t capacity = 100) {
  return ask(number, capacity, [&](AMRF_FrameRequest& request) { return AMRF_ReadFrame(reader, &request); });
}

// What is to be answered.
Answer expected(const Speech& speech, uint32_t number, uint32_t capacity = 100) {
  if (number == 0 || number > speech.frames.size()) return {-1, {}};
  const Bytes& frame = speech.frames[number - 1];
  return capacity != 0 && capacity < frame.size() ? Answer{kTooSmall, {}} : Answer{0, frame};
}

void expect_count(AMRF_File* reader, const Speech& speech) {
  AMRF_Info info{};
  EXPECT_EQ(AMRF_Scan(reader, &info), 0);
  EXPECT_EQ(info.frame_count, speech.frames.size());
  EXPECT_EQ(info.duration_ms, 20 * speech.frames.size());
  EXPECT_EQ(info.codec, speech.wide ? 80u : 64u);
}

TEST(Amrf, GivesTheFramesThatAFileIsMadeOf) {
  std::mt19937 random(41);
  for (int round = 0; round < 60; ++round) {
    // Files of a few frames, and files of some blocks.
    const size_t count = round % 5 == 0 ? 4000 + random() % 2000 : random() % 40;
    const Speech speech = random_speech(random, round % 2 == 0, count);
    const OnDisk file(speech);
    const Reader reader = file.open();
    uint32_t number = 0;
    for (int step = 0; step < 200; ++step) {
      if (random() % 16 == 0) {
        expect_count(reader.get(), speech);
        number = static_cast<uint32_t>(count);
      }
      if (random() % 8 == 0) number = static_cast<uint32_t>(random() % (count + 5));
      number += random() % 16 != 0 ? 1 : 0;
      // Of the frame that is cut off only its size counts as long as that is too large.
      const bool is_cut = number == count + 1;
      const uint32_t capacity = random() % 4 == 0 && !is_cut ? static_cast<uint32_t>(random() % 40) : 100;
      ASSERT_EQ(ask(reader.get(), number, capacity), expected(speech, number, capacity))
          << "round " << round << ", frame " << number << " of " << count;
    }
  }
}

// Also the reserved types: 10 of wide-band is as large as SID, 11 to 13 have no size and take a byte.
TEST(Amrf, RequiredSizesOfEveryType) {
  for (int toc = 0; toc < 256; ++toc) {
    for (const bool wide : {false, true}) {
      const auto byte = static_cast<uint8_t>(toc);
      const int type = toc / 8 % 16;
      const bool has_no_size = wide && type >= 11 && type <= 13;
      const uint32_t size = wide ? AMRF_FrameSizeWB(byte) : AMRF_FrameSizeNB(byte);
      EXPECT_EQ(size, has_no_size ? 0 : frame_bytes(wide, byte)) << toc;
      if (toc % 8 != 4) continue;
      const Speech three = speech(wide, 3, byte);
      const OnDisk file(three);
      const Reader reader = file.open();
      expect_count(reader.get(), three);
      for (const uint32_t number : {1u, 2u, 3u, 4u}) {
        EXPECT_EQ(ask(reader.get(), number), expected(three, number)) << toc;
      }
    }
  }
  EXPECT_EQ(AMRF_MaxFrameSize(), 100u);
}

TEST(Amrf, RequiredLineOfSixBytesIsNarrowBandAndAnyOtherWideBand) {
  const std::pair<std::string, uint32_t> kLines[] = {
      {"hello\n", 64}, {"#!AMR_MC1.0\n", 80}, {"#!AMR\r\n", 80}, {"\n", 80}};
  for (const auto& [line, codec] : kLines) {
    const OnDisk file(Bytes(line.begin(), line.end()));
    const Reader reader = file.open();
    AMRF_Info info{1, 1, 1};
    EXPECT_EQ(AMRF_Scan(reader.get(), &info), 0);
    EXPECT_EQ(info.codec, codec) << line;
    EXPECT_EQ(info.frame_count + info.duration_ms, 0u);
    EXPECT_EQ(ask(reader.get(), 1).status, -1);
  }
}

TEST(Amrf, RequiredStepOverATypeWithoutASizeStaysOnIt) {
  // Two whole frames, one without a size, and one more.
  Speech made = speech(true, 2, 0x04);
  made.add(0x5C);
  made.add(0x04);
  const OnDisk file(made);
  const Reader reader = file.open();
  for (const uint32_t number : {2u, 3u, 4u}) {  // in order, it is read over
    EXPECT_EQ(ask(reader.get(), number), expected(made, number));
  }
  for (const uint32_t number : {6u, 4u, 1000u, 0xFFFFFFFFu}) {
    EXPECT_EQ(ask(reader.get(), number), (Answer{0, {0x5C}})) << number;
  }
}

TEST(Amrf, FindsTheFrameThatIsHeardAtTheEndOfATime) {
  const OnDisk file(speech(false, 0, 0));
  const Reader reader = file.open();
  const std::pair<uint32_t, uint32_t> kCases[] = {{0, 1},  {1, 1},  {20, 1},
                                                  {21, 2}, {40, 2}, {0xFFFFFFFF, 0xFFFFFFFF / 20 + 1}};
  for (const auto& [time_ms, frame] : kCases) {
    uint32_t number = 0;
    EXPECT_EQ(AMRF_TimeToFrame(reader.get(), time_ms, &number), 0);
    EXPECT_EQ(number, frame) << time_ms;
  }
}

TEST(Amrf, AFailedOpenLeavesNothingBehind) {
  const OnDisk no_line(Bytes(200000, 'x'));
  for (const char16_t* path :
       {u"no/such/file.amr", no_line.wide_path.c_str(), static_cast<const char16_t*>(nullptr)}) {
    AMRF_File* reader = reinterpret_cast<AMRF_File*>(1);
    EXPECT_EQ(AMRF_Open(&reader, path), -1);
    EXPECT_EQ(reader, nullptr);
  }
  // Nobody holds the file any more, so it may be written.
  void* const writer = OS_fopen(no_line.wide_path.c_str(), "r+");
  EXPECT_NE(writer, nullptr);
  OS_fclose(writer);
}

TEST(Amrf, RefusesNullArguments) {
  const OnDisk file(speech(false, 1, 0));
  const Reader reader = file.open();
  AMRF_Info info{};
  AMRF_FrameRequest request{1, 100, nullptr};
  uint32_t number = 0;
  for (const int32_t status :
       {AMRF_Open(nullptr, file.wide_path.c_str()), AMRF_Close(nullptr), AMRF_Scan(nullptr, &info),
        AMRF_Scan(reader.get(), nullptr), AMRF_ReadFrame(nullptr, &request),
        AMRF_ReadFrame(reader.get(), nullptr), AMRF_ReadFrame(reader.get(), &request),
        AMRF_TimeToFrame(nullptr, 1, &number), AMRF_TimeToFrame(reader.get(), 1, nullptr)}) {
    EXPECT_EQ(status, -1);
  }
}

// --- Sources that fail, or do not end ----------------------------------------------------------------------

// Reads all frames in order, then some far apart. What a failing call of the source costs is one answer: the
// same question, asked again, is answered as if nothing had been.
void exercise(const Speech& speech, SourceCalls& calls) {
  const Bytes bytes = speech.bytes();
  const auto has_struck = [&] { return calls.fail_at != 0 && calls.calls >= calls.fail_at; };
  amrf::FrameReader frames(std::make_unique<MemorySource>(bytes, calls));
  if (!frames.skip_header()) {
    EXPECT_TRUE(has_struck());
    return;
  }
  AMRF_Info info{};
  EXPECT_TRUE(frames.scan(info) || has_struck());
  EXPECT_TRUE(info.frame_count == speech.frames.size() || has_struck());
  const auto read = [&](AMRF_FrameRequest& request) { return frames.read(request); };
  for (uint32_t number = 1; number <= speech.frames.size(); number += number % 900 == 0 ? 37 : 1) {
    const uint32_t calls_before = calls.calls;
    Answer answer = ask(number, 100, read);
    if (answer.status != 0) {
      ASSERT_TRUE(calls_before < calls.fail_at && calls.fail_at <= calls.calls) << number;
      answer = ask(number, 100, read);
    }
    ASSERT_EQ(answer, expected(speech, number)) << number << ", call " << calls.fail_at;
  }
}

TEST(AmrfFaults, EveryFailingReadAndSeekCostsOneAnswerAndReadingInOrderNeverSeeks) {
  std::mt19937 random(7);
  const Speech speech = random_speech(random, true, 8000);
  SourceCalls whole;
  exercise(speech, whole);
  ASSERT_GT(whole.calls, 10u);
  ASSERT_LE(whole.seeks, 1 + 8000u / 900) << "behind the count, and to the places far apart";
  for (uint32_t fail_at = 1; fail_at <= whole.calls; ++fail_at) {
    SourceCalls calls{.fail_at = fail_at};
    exercise(speech, calls);
  }
}

// As a device may be.
class EndlessSource final : public amrf::ByteSource {
 public:
  EndlessSource(std::string_view begin, uint8_t filling) : begin_(begin), filling_(filling) {}
  uint32_t read(void* buffer, uint32_t count) override {
    std::memset(buffer, filling_, count);
    std::copy(begin_.begin(), begin_.end(), static_cast<char*>(buffer));
    begin_ = {};
    return count;
  }
  bool seek(int32_t) override { return true; }

 private:
  std::string_view begin_;
  const uint8_t filling_;
};

TEST(AmrfFaults, ASourceWithoutAnEndIsGivenUp) {
  amrf::FrameReader no_line(std::make_unique<EndlessSource>("", 'x'));
  EXPECT_FALSE(no_line.skip_header());
  amrf::FrameReader frames(std::make_unique<EndlessSource>("#!AMR-WB\n", 0x44));
  ASSERT_TRUE(frames.skip_header());
  AMRF_Info info{};
  EXPECT_TRUE(frames.scan(info));
  EXPECT_EQ(info.frame_count, 0xFFFFFFF7u / 61);  // of 4 GiB behind the line
}

}  // namespace
}  // namespace zdr::tests
