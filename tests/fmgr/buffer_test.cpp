// Buffered mode: which buffer serves a read, and how unwritten bytes reach the device.
#include "fmgr/buffer.h"

#include <gtest/gtest.h>

#include "mediakit/files/sources.h"
#include "tests/fmgr/device_tap.h"

namespace zdr::test {
namespace {

// Stores bytes at the position of a stream as a writer would; the stream interface has no function for it.
bool put(const Stream& stream, std::string_view bytes) {
  FMGR_Buffer& buffer = *stream->buffer;
  if (!buffer.data || buffer.capacity - buffer.cursor < bytes.size()) return false;
  bytes.copy(reinterpret_cast<char*>(buffer.data.get()) + buffer.cursor, bytes.size());
  buffer.cursor += static_cast<uint32_t>(bytes.size());
  buffer.valid = std::max(buffer.valid, buffer.cursor);
  buffer.flags |= FMGR_Buffer::kUnwritten;
  return true;
}

TEST(Buffers, ServeTheirOwnStreamAndItsSiblings) {
  const Source source(FMGR_DEV_FILE, "0123456789abcdefghij");
  const Context context = make_context(8, 4);
  const Stream first = open_stream(source, "rb", context);
  const Stream second = open_stream(source, "rb", context);
  const DeviceTap tap(first.get());
  EXPECT_EQ(read_text(first, 3), "012");
  EXPECT_EQ(read_text(first, 3), "345");
  EXPECT_EQ(read_text(first, 2), "67") << "reading its last bytes does not empty the buffer";
  EXPECT_EQ(FMGR_FSeek(first.get(), 6, FMGR_SEEK_SET), FMGR_OK);
  EXPECT_EQ(read_text(second, 5), "01234") << "from the buffer of the first";
  EXPECT_EQ(tap.log(), "sr");
  EXPECT_EQ(read_text(second, 6), "56789a") << "three bytes from the first, then its own block";
  EXPECT_EQ(tap.log(), "srsr");
  EXPECT_EQ(read_text(first, 100), "6789abcdefghij");
  EXPECT_EQ(second->counters.stream_reads, 2u);
  EXPECT_EQ(second->counters.device_reads, 1u);
}

TEST(Buffers, OnlyThoseOfReadersHaveTheReadSize) {
  const Source source(FMGR_DEV_FILE, "0123456789");
  const Context context = make_context(8, 4);
  for (const char* mode : {"rb", "r+b", "ab", "a+", "wb"}) {
    const Stream stream = open_stream(source, mode, context);
    ASSERT_NE(stream, nullptr) << mode;
    EXPECT_EQ(stream->buffer->capacity, mode == std::string("rb") ? 8u : 4u) << mode;
  }
}

TEST(Buffers, KeptFailuresOfTheDeviceLookLikeTheEnd) {
  const Source source(FMGR_DEV_FILE, "0123456789");
  const Context context = make_context(4, 4);
  const Stream stream = open_stream(source, "rb", context);
  DeviceTap tap(stream.get());
  EXPECT_EQ(read_text(stream, 2), "01");
  char buffer[8];
  for (const char operation : {'s', 'r'}) {
    tap.fail(operation, -4711);
    EXPECT_EQ(FMGR_FSeek(stream.get(), 2, FMGR_SEEK_SET), FMGR_OK);
    EXPECT_EQ(FMGR_FRead(stream.get(), buffer, 8), operation == 's' ? 2 : 0);
    EXPECT_EQ(FMGR_FRead(stream.get(), buffer, 8), 0);
  }
  tap.pass_all();
  EXPECT_EQ(read_text(stream, 8), "23456789") << "the next read succeeds";
}

TEST(Buffers, KeptSeeksAndClosesSucceedWhenBytesCannotBeWritten) {
  const Source source(FMGR_DEV_FILE, "0123456789");
  const Context context = make_context(4, 4);
  Stream stream = open_stream(source, "r+b", context);
  DeviceTap tap(stream.get());
  EXPECT_EQ(read_text(stream, 1), "0");
  ASSERT_TRUE(put(stream, "xy"));
  const std::pair<char, int32_t> failures[] = {{'w', 3}, {'w', FMGR_ERR_WRITE}, {'s', FMGR_ERR_SEEK}};
  for (const auto& [operation, status] : failures) {
    tap.fail(operation, status);
    const int32_t reported = operation == 's' ? status : FMGR_ERR_GENERIC;
    EXPECT_EQ(fmgr::reanchor(*stream->buffer), reported);
    EXPECT_EQ(FMGR_FSeek(stream.get(), 8, FMGR_SEEK_SET), FMGR_OK);
    EXPECT_EQ(tell(stream), 3u);
  }
  tap.pass_all();
  EXPECT_EQ(FMGR_FSeek(stream.get(), 8, FMGR_SEEK_SET), FMGR_OK);
  EXPECT_EQ(read_text(stream, 4), "89");
  EXPECT_EQ(read_file(source.path()), "0xy3456789");
  EXPECT_EQ(stream->counters.device_writes, 5u);
  tap.fail('w', FMGR_ERR_WRITE);
  EXPECT_EQ(FMGR_FSeek(stream.get(), 8, FMGR_SEEK_SET), FMGR_OK);
  ASSERT_TRUE(put(stream, "z"));
  EXPECT_EQ(FMGR_FClose(stream.release()), FMGR_OK);
}

TEST(Buffers, KeptEndIncludesUnwrittenBytesOfLaterSiblingsOnly) {
  const Source source(FMGR_DEV_FILE, "0123456789");
  const Context context = make_context(8, 8);
  Stream first = open_stream(source, "r+b", context);
  const Stream second = open_stream(source, "r+b", context);
  const Stream third = open_stream(source, "r+b", context);  // its buffer is inserted after the first one
  EXPECT_EQ(FMGR_FSeek(second.get(), 8, FMGR_SEEK_SET), FMGR_OK);
  EXPECT_EQ(read_text(second, 1), "8");
  ASSERT_TRUE(put(second, "wxyz"));
  EXPECT_EQ(FMGR_FSeek(third.get(), 0, FMGR_SEEK_END), FMGR_OK);
  EXPECT_EQ(tell(third), 13u);
  EXPECT_EQ(FMGR_FSeek(first.get(), 0, FMGR_SEEK_END), FMGR_OK);
  EXPECT_EQ(tell(first), 13u);
  EXPECT_EQ(FMGR_FSeek(first.get(), 8, FMGR_SEEK_SET), FMGR_OK);
  EXPECT_EQ(read_text(first, 5), "8wxyz") << "a sibling's unwritten bytes are read too";
  EXPECT_EQ(FMGR_FSeek(second.get(), 0, FMGR_SEEK_SET), FMGR_OK);  // writes them
  EXPECT_EQ(FMGR_FSeek(first.get(), 12, FMGR_SEEK_SET), FMGR_OK);
  EXPECT_EQ(read_text(first, 1), "z");
  ASSERT_TRUE(put(first, "123"));
  EXPECT_EQ(FMGR_FSeek(second.get(), 0, FMGR_SEEK_END), FMGR_OK);
  EXPECT_EQ(tell(second), 13u) << "the first precedes it in the list";
  first.reset();
  EXPECT_EQ(read_file(source.path()), "012345678wxyz123");
}

}  // namespace
}  // namespace zdr::test
