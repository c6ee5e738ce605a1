// Compares the reader of speech files with the frames that the files are built from, also when reads and
// seeks fail.
#include "esparse/amr/amrf.h"

#include <gtest/gtest.h>

#include <memory>
#include <random>

#include "mediakit/files/speech_file.h"
#include "mediakit/files/temp_folder.h"
#include "os/os.h"
#include "tests/platform/fault_at.h"

namespace zdr::test {
namespace {

using platform::FaultPoint;

constexpr int32_t kFrameSize = static_cast<int32_t>(0x80004005);

struct CloseReader {
  void operator()(AMRF_File* reader) const { EXPECT_EQ(AMRF_Close(reader), 0); }
};
using Reader = std::unique_ptr<AMRF_File, CloseReader>;

// The file exists only while it is open. Null on failure.
Reader open(const Bytes& bytes) {
  const TempFolder folder;
  const auto path = folder / "speech.amr";
  write_file(path, {reinterpret_cast<const char*>(bytes.data()), bytes.size()});
  AMRF_File* reader = nullptr;
  const int32_t status = AMRF_Open(&reader, path.u16string().c_str());
  EXPECT_EQ(status == 0, reader != nullptr);
  return Reader(reader);
}

struct Result {
  int32_t status;
  Bytes frame;  // on success
  bool operator==(const Result&) const = default;
};
Result read(const Reader& reader, uint32_t number, uint32_t capacity = 100) {
  Bytes buffer(100);
  AMRF_FrameRequest request{number, capacity, buffer.data()};
  const int32_t status = AMRF_ReadFrame(reader.get(), &request);
  buffer.resize(status == 0 ? request.size : 0);
  return {status, buffer};
}

Result expected(const Speech& speech, uint32_t number, uint32_t capacity = 100) {
  if (number == 0 || number > speech.frames.size()) return {-1, {}};
  const Bytes& frame = speech.frames[number - 1];
  return capacity != 0 && capacity < frame.size() ? Result{kFrameSize, {}} : Result{0, frame};
}

void expect_count(const Reader& reader, const Speech& speech) {
  AMRF_Info info{};
  EXPECT_EQ(AMRF_Scan(reader.get(), &info), 0);
  EXPECT_EQ(info.frame_count, speech.frames.size());
  EXPECT_EQ(info.duration_ms, 20 * speech.frames.size());
  EXPECT_EQ(info.codec, speech.wide ? 80u : 64u);
}

// Frames of random types; every other file ends in a partial frame.
Speech random_speech(std::mt19937& random, bool wide, size_t count) {
  Speech made{wide, {}, {}};
  while (made.frames.size() < count) {
    const auto toc = static_cast<uint8_t>(random());
    // Wide-band types 11 to 13 would end every walk.
    const bool has_no_size = wide && toc / 8 % 16 >= 11 && toc / 8 % 16 <= 13;
    if (!has_no_size) made.add(toc);
  }
  if (random() % 2 == 0) made.tail.assign(1 + random() % 12, 0x04);
  return made;
}

TEST(Amrf, KeptFramesAreReadInAnyOrderAndACapacityOf0IsNoLimit) {
  std::mt19937 random(41);
  for (int round = 0; round < 60; ++round) {
    // Files of a few frames, and files of several blocks.
    const size_t count = round % 5 == 0 ? 4000 + random() % 2000 : random() % 40;
    const Speech speech = random_speech(random, round % 2 == 0, count);
    const Reader reader = open(speech.bytes());
    uint32_t number = 0;
    for (int step = 0; step < 200; ++step) {
      if (random() % 16 == 0) {
        expect_count(reader, speech);
        number = static_cast<uint32_t>(count);
      }
      if (random() % 8 == 0) number = static_cast<uint32_t>(random() % (count + 5));
      number += random() % 16 != 0 ? 1 : 0;
      // A truncated frame may exceed a small capacity before its end is missed.
      const bool is_truncated = number == count + 1;
      const uint32_t capacity =
          random() % 4 == 0 && !is_truncated ? static_cast<uint32_t>(random() % 40) : 100;
      ASSERT_EQ(read(reader, number, capacity), expected(speech, number, capacity))
          << "round " << round << ", frame " << number << " of " << count;
    }
  }
}

TEST(Amrf, KeptSizesOfReservedTypes) {
  for (int i = 0; i < 512; ++i) {
    const bool wide = i % 2 == 0;
    const auto toc = static_cast<uint8_t>(i / 2);
    const int type = toc / 8 % 16;
    const bool has_no_size = wide && type >= 11 && type <= 13;
    const uint32_t size = wide ? AMRF_FrameSizeWB(toc) : AMRF_FrameSizeNB(toc);
    EXPECT_EQ(size, has_no_size ? 0 : frame_bytes(wide, toc)) << i;
    if (!has_no_size) continue;
    const Speech three = speech(wide, 3, toc);
    const Reader reader = open(three.bytes());
    expect_count(reader, three);
    for (const uint32_t number : {1u, 2u, 3u, 4u})
      EXPECT_EQ(read(reader, number), expected(three, number)) << i;
  }
}

TEST(Amrf, KeptALineOfSixBytesIsNarrowBandAndAnyOtherWideBand) {
  const std::pair<std::string, uint32_t> kLines[] = {
      {"hello\n", 64}, {"#!AMR_MC1.0\n", 80}, {"#!AMR\r\n", 80}, {"\n", 80}};
  for (const auto& [line, codec] : kLines) {
    const Reader reader = open(Bytes(line.begin(), line.end()));
    AMRF_Info info{1, 1, 1};
    EXPECT_EQ(AMRF_Scan(reader.get(), &info), 0);
    EXPECT_EQ(info.codec, codec) << line;
    EXPECT_EQ(info.frame_count + info.duration_ms, 0u);
    EXPECT_EQ(read(reader, 1).status, -1);
  }
}

TEST(Amrf, KeptAWalkEndsAtAFrameOfSize0) {
  Speech made = speech(true, 2, 0x04);
  made.add(0x5C);
  made.add(0x04);
  const Reader reader = open(made.bytes());
  for (const uint32_t number : {2u, 3u, 4u})
    EXPECT_EQ(read(reader, number), expected(made, number)) << "in order";
  for (const uint32_t number : {6u, 4u, 1000u, 0xFFFFFFFFu}) {
    EXPECT_EQ(read(reader, number), (Result{0, {0x5C}})) << number;
  }
}

TEST(Amrf, SizeIs0IfAFrameCannotBeReached) {
  const Reader reader = open(speech(false, 3, 0x04).bytes());
  const std::pair<uint32_t, uint32_t> kSizes[] = {{4, 100}, {5, 0}, {1000, 0}};
  for (const auto& [number, size] : kSizes) {
    uint8_t buffer[100];
    AMRF_FrameRequest request{number, 100, buffer};
    EXPECT_EQ(AMRF_ReadFrame(reader.get(), &request), -1);
    EXPECT_EQ(request.size, size) << number;
  }
}

TEST(Amrf, AFailedOpenClosesTheFile) {
  const TempFolder folder;
  const std::u16string no_line = (folder / "speech.amr").u16string();
  write_file(no_line, std::string(200000, 'x'));
  for (const char16_t* path : {u"no/such/file.amr", no_line.c_str(), static_cast<const char16_t*>(nullptr)}) {
    AMRF_File* reader = reinterpret_cast<AMRF_File*>(1);
    EXPECT_EQ(AMRF_Open(&reader, path), -1);
    EXPECT_EQ(reader, nullptr);
  }
  void* const writer = OS_fopen(no_line.c_str(), "r+");
  EXPECT_EQ(OS_fclose(writer), 0);
}

TEST(Amrf, NullArgumentsAreRefused) {
  const Reader reader = open(speech(false, 1, 0).bytes());
  AMRF_FrameRequest request{1, 100, nullptr};
  for (const int32_t status :
       {AMRF_Open(nullptr, u"x"), AMRF_Close(nullptr), AMRF_Scan(reader.get(), nullptr),
        AMRF_ReadFrame(reader.get(), nullptr), AMRF_ReadFrame(reader.get(), &request),
        AMRF_TimeToFrame(reader.get(), 1, nullptr)}) {
    EXPECT_EQ(status, -1);
  }
}

// Reads all frames in order, with some jumps. A failing call costs one result: the same request, repeated,
// succeeds.
void use_reader(const Speech& speech, const FaultAt& fault) {
  const Reader reader = open(speech.bytes());
  AMRF_Info info{};
  const bool counts =
      reader && AMRF_Scan(reader.get(), &info) == 0 && info.frame_count == speech.frames.size();
  EXPECT_TRUE(counts || fault.triggered());
  for (uint32_t number = 1; reader && number <= speech.frames.size(); number += number % 900 == 0 ? 37 : 1) {
    const bool had_triggered = fault.triggered();
    Result result = read(reader, number);
    if (result.status != 0) {
      ASSERT_TRUE(!had_triggered && fault.triggered()) << number;
      result = read(reader, number);
    }
    ASSERT_EQ(result, expected(speech, number)) << number;
  }
}

TEST(AmrfFaults, EveryFailingReadAndSeekCostsOneResultAndReadingInOrderNeverSeeks) {
  std::mt19937 random(7);
  const Speech speech = random_speech(random, true, 8000);
  // Reads of blocks; seeks after the count and at the jumps.
  const std::tuple<FaultPoint, int, int> kPoints[] = {{FaultPoint::kFileRead, 11, 1000},
                                                      {FaultPoint::kFileSeek, 2, 1 + 8000 / 900}};
  for (const auto& [point, fewest, most] : kPoints) {
    int calls = -1;
    for (bool triggered = true; triggered; ++calls) {
      const FaultAt fault(point, calls + 2);
      use_reader(speech, fault);
      triggered = fault.triggered();
    }
    EXPECT_TRUE(fewest <= calls && calls <= most) << calls;
  }
}

// Zeros after the line are frames of type 0. The file is in memory where possible, because disks read holes
// slowly.
TEST(Amrf, LinesWithin2GiBAndFramesWithin4GiBAreRead) {
  const TempFolder folder(std::filesystem::exists("/dev/shm") ? "/dev/shm"
                                                              : std::filesystem::temp_directory_path());
  const auto path = folder / "large.awb";
  AMRF_File* reader = nullptr;
  write_sparse_file(path, uint64_t{1} << 31);
  std::ofstream(path, std::ios::binary | std::ios::app) << '\n';
  EXPECT_EQ(AMRF_Open(&reader, path.u16string().c_str()), -1);
  write_file(path, "#!AMR-WB\n");
  std::filesystem::resize_file(path, (uint64_t{1} << 32) + 100000);
  ASSERT_EQ(AMRF_Open(&reader, path.u16string().c_str()), 0);
  AMRF_Info info{};
  EXPECT_EQ(AMRF_Scan(reader, &info), 0);
  EXPECT_EQ(info.frame_count, 0xFFFFFFF7u / 18);
  AMRF_Close(reader);
}

}  // namespace
}  // namespace zdr::test
