// Streams: random operations against a model, on one thread and on several; sharing of devices, sizes,
// statuses, opening and closing.
#include <gtest/gtest.h>

#include <atomic>
#include <random>
#include <thread>

#include "mediakit/drivers/stream_model.h"
#include "tests/fmgr/device_tap.h"

namespace zdr::test {
namespace {

class Streams : public testing::TestWithParam<uint32_t> {
 protected:
  Source source_{GetParam(), "0123456789abcdef"};
  Context context_ = make_context(0, 0);
};

INSTANTIATE_TEST_SUITE_P(Devices, Streams, testing::ValuesIn(kOpenTypes));

TEST_P(Streams, KeptPositionsMatchTheModelAfterAnyCalls) {
  for (const size_t content_size : {0u, 1u, 97u, 200u}) {
    for (const uint32_t buffer_size : {0u, 1u, 2u, 7u, 64u, 500u}) {
      std::mt19937 random(static_cast<uint32_t>(content_size * 1000 + buffer_size));
      std::vector<uint8_t> script(4 * 3000);
      for (uint8_t& byte : script) byte = static_cast<uint8_t>(random());
      const auto disagreement = ScriptedStreams(GetParam(), content_size, buffer_size).run(script);
      EXPECT_FALSE(disagreement) << *disagreement << " (" << content_size << " bytes, buffers of "
                                 << buffer_size << ")";
    }
  }
}

// Two threads read, while two others open and close streams of the same descriptor.
TEST_P(Streams, KeepTheirOwnPositionsOnFourThreads) {
  const Source source(GetParam(), make_content(1000));
  for (const uint32_t buffer_size : {0u, 16u}) {
    const Context context = make_context(buffer_size, buffer_size);
    std::atomic<int> wrong = 0;
    const auto read_at_random = [&](uint32_t seed) {
      std::minstd_rand random(seed);
      Stream stream = open_stream(source, "rb", context);
      for (int i = 0; i < 1500; ++i) {
        if (seed > 2) {
          stream.reset();
          stream = open_stream(source, "rb", context);
        }
        const size_t at = random() % 1000;
        const auto count = static_cast<uint32_t>(1 + random() % 40);
        seek64(stream, static_cast<int64_t>(at), FMGR_SEEK_SET);
        if (read_text(stream, count) != source.content().substr(at, count)) ++wrong;
      }
    };
    std::vector<std::thread> threads;
    for (uint32_t seed = 1; seed <= 4; ++seed) threads.emplace_back(read_at_random, seed);
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(wrong, 0);
  }
}

TEST_P(Streams, KeptADeviceIsSharedByTheAddressOfTheDescriptor) {
  const Stream first = open_stream(source_, "rb", context_);
  const Stream second = open_stream(source_, "r", context_);
  const Stream other_class = open_stream(source_, "rt+", context_);
  const Context other_context = make_context(0, 0);
  const Stream elsewhere = open_stream(source_, "rb", other_context);
  for (const Stream* stream : {&first, &second, &other_class, &elsewhere}) {
    EXPECT_EQ(read_text(*stream, 8), "01234567");
  }
  EXPECT_EQ(first->file, second->file);
  EXPECT_NE(first->file, other_class->file);
  EXPECT_NE(first->file, elsewhere->file);
  FMGR_Descriptor twin = source_.descriptor();
  const Stream same_path(FMGR_FOpen(&twin, "rb", context_.get()));
  EXPECT_NE(first->file, same_path->file);
}

TEST_P(Streams, KeptEveryReadSeeksTheDeviceFirst) {
  const Stream first = open_stream(source_, "rb", context_);
  const Stream second = open_stream(source_, "rb", context_);
  DeviceTap tap(first.get());
  for (int i = 0; i < 3; ++i) read_text(first, 4);
  read_text(second, 4);
  EXPECT_EQ(FMGR_FSeek(first.get(), 1, FMGR_SEEK_SET), FMGR_OK);
  EXPECT_EQ(FMGR_FSeek(first.get(), -3, FMGR_SEEK_END), FMGR_OK);
  read_text(first, 4);
  EXPECT_EQ(tap.log(), "srsrsrsrzsr");
  EXPECT_EQ(first->counters.stream_reads, 4u);
  EXPECT_EQ(first->counters.device_reads, 4u);
  EXPECT_EQ(second->counters.device_reads, 1u);
}

TEST_P(Streams, ReturnFailuresOfTheDeviceAndAreReleasedEvenIfItFailsToClose) {
  Stream stream = open_stream(source_, "rb", context_);
  DeviceTap tap(stream.get());
  read_text(stream, 4);
  char byte = 0;
  uint32_t size = 77;
  uint64_t size64 = 0;
  tap.fail('s', -4711);
  EXPECT_EQ(FMGR_FRead(stream.get(), &byte, 1), -4711);
  tap.fail('r', -4711);
  EXPECT_EQ(FMGR_FRead(stream.get(), &byte, 1), FMGR_ERR_GENERIC);
  EXPECT_EQ(tell(stream), 4u);
  tap.fail('z', -4711);
  EXPECT_EQ(FMGR_FSize64(stream.get(), &size64), -4711);
  EXPECT_EQ(FMGR_FSize(stream.get(), &size), -4711);
  EXPECT_EQ(size, 0u);
  EXPECT_EQ(FMGR_FSeek(stream.get(), 5, FMGR_SEEK_END), FMGR_OK);
  EXPECT_EQ(tell(stream), 5u) << "an unknown size counts as 0";
  tap.fail('c', -4711);
  EXPECT_EQ(FMGR_FClose(stream.release()), -4711);
  EXPECT_EQ(context_->first_file, nullptr);
  EXPECT_EQ(read_text(open_stream(source_, "rb", context_), 2), "01");
}

TEST_P(Streams, CloseInAnyOrderAndWithTheContext) {
  Stream streams[] = {open_stream(source_, "rb", context_), open_stream(source_, "rb", context_),
                      open_stream(source_, "rb", context_), open_stream(source_, "rt+", context_)};
  streams[0].reset();  // its owner
  EXPECT_EQ(read_text(streams[2], 2), "01");
  EXPECT_EQ(streams[2]->file->device->owner, streams[2]->file->first_stream);
  streams[2].reset();
  streams[2] = open_stream(source_, "rb", context_);
  EXPECT_EQ(read_text(streams[1], 2), "01");
  const DeviceTap tap(streams[1].get());
  for (Stream& stream : streams) stream.release();
  EXPECT_EQ(FMGR_Deinit(context_.release()), FMGR_OK);
  EXPECT_EQ(tap.log(), "c");
}

TEST(StreamSizes, AboveTwoGiBNeed64Bits) {
  const Source source(FMGR_DEV_FILE_W, "");
  const Context context = make_context(0, 0);
  const std::pair<uint64_t, int32_t> kSizes[] = {
      {0x7FFFFFFF, FMGR_OK}, {0x80000000, FMGR_ERR_TOO_LARGE}, {5ull << 30, FMGR_ERR_TOO_LARGE}};
  for (const auto& [expected, status] : kSizes) {
    write_sparse_file(source.path(), expected);
    const Stream stream = open_stream(source, "rb", context);
    uint32_t size = 77;
    uint64_t size64 = 0;
    EXPECT_EQ(FMGR_FSize(stream.get(), &size), status);
    EXPECT_EQ(size, status == FMGR_OK ? expected : 0);
    EXPECT_EQ(FMGR_FSize64(stream.get(), &size64), FMGR_OK);
    EXPECT_EQ(size64, expected);
    EXPECT_EQ(seek64(stream, -2, FMGR_SEEK_END), FMGR_OK);
    EXPECT_EQ(read_text(stream, 3).size(), 2u);
    EXPECT_EQ(FMGR_FSeek(stream.get(), -8, FMGR_SEEK_END), FMGR_OK);
    EXPECT_EQ(tell(stream), (size - 8) & 0xFFFFFFFF) << "a size beyond 32 bits counts as 0";
  }
}

TEST(StreamArguments, KeptReadsOf0BytesAndNullArgumentsAreRefused) {
  const Source source(FMGR_DEV_MEMORY, "0123");
  const Context context = make_context(0, 0);
  const Stream stream = open_stream(source, "rb", context);
  char byte = 0;
  const FMGR_Config config = {};
  FMGR_Context* made = nullptr;
  for (const int32_t status :
       {FMGR_FRead(stream.get(), &byte, 0), FMGR_FRead(stream.get(), nullptr, 1),
        FMGR_FReadAt(stream.get(), 0, 0, &byte, 1, nullptr), FMGR_FTell(stream.get(), nullptr),
        FMGR_FSize(stream.get(), nullptr), FMGR_FSize64(stream.get(), nullptr), FMGR_Init(nullptr, &config),
        FMGR_Init(&made, nullptr), FMGR_Deinit(nullptr)}) {
    EXPECT_EQ(status, FMGR_ERR_BAD_ARGUMENT);
  }
  EXPECT_EQ(FMGR_FRead(nullptr, &byte, 1), FMGR_ERR_GENERIC);
  EXPECT_EQ(FMGR_FClose(nullptr), FMGR_ERR_GENERIC);
  EXPECT_EQ(FMGR_FOpen(nullptr, "rb", context.get()), nullptr);
  EXPECT_EQ(FMGR_FOpen(&source.descriptor(), nullptr, context.get()), nullptr);
  EXPECT_EQ(FMGR_FOpen(&source.descriptor(), "rb", nullptr), nullptr);
}

TEST(StreamReads, AreLimitedTo2GiBLikeBuffers) {
  const Source source(FMGR_DEV_CALLBACK, "0123");
  const Context unbuffered = make_context(0, 0);
  const Stream stream = open_stream(source, "rb", unbuffered);
  char buffer[4];
  EXPECT_EQ(FMGR_FRead(stream.get(), buffer, 0xFFFFFFFF), 4);
  EXPECT_EQ(source.reads.back().count, uint32_t{INT32_MAX});
  const Context buffered = make_context(0xFFFFFFFF, 0xFFFFFFFF);
  EXPECT_EQ(open_stream(source, "rb", buffered)->buffer->capacity, uint32_t{INT32_MAX});
}

}  // namespace
}  // namespace zdr::test
