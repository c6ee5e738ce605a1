// What a pin asks of an allocator.
#include <gtest/gtest.h>

#include "tests/filters/codec_tracks.h"
#include "tests/filters/filter_under_test.h"

namespace zdr::tests {
namespace {

// Grants what the test says, and keeps what was asked.
class FakeAllocator final : public IMemAllocator {
 public:
  HRESULT answer = S_OK;
  LONG missing_buffers = 0;
  LONG missing_bytes = 0;
  LONG lowered_request = 0;
  int calls = 0;
  ALLOCATOR_PROPERTIES asked{};

  HRESULT SetProperties(ALLOCATOR_PROPERTIES* request, ALLOCATOR_PROPERTIES* actual) override {
    ++calls;
    asked = *actual = *request;
    request->cbBuffer -= lowered_request;
    actual->cbBuffer -= lowered_request;
    actual->cBuffers -= missing_buffers;
    actual->cbBuffer -= missing_bytes;
    return answer;
  }
  HRESULT QueryInterface(REFIID, void** ppv) override { return *ppv = nullptr, E_NOINTERFACE; }
  ULONG AddRef() override { return 1; }
  ULONG Release() override { return 1; }
  HRESULT GetProperties(ALLOCATOR_PROPERTIES*) override { return E_NOTIMPL; }
  HRESULT Commit() override { return E_NOTIMPL; }
  HRESULT Decommit() override { return E_NOTIMPL; }
  HRESULT GetBuffer(IMediaSample**, REFERENCE_TIME*, REFERENCE_TIME*, DWORD) override { return E_NOTIMPL; }
  HRESULT ReleaseBuffer(IMediaSample*) override { return E_NOTIMPL; }
};

TEST(BufferSize, IsTheLargestSampleTenOfThemForAudio) {
  const test::Bytes aac_video = test::video_entry(
      "mp4v", 16, 16,
      test::esds({.object_type = 0x40, .stream_type = 4, .decoder_specific_info = {0x11, 0x90}}));
  const std::tuple<std::string, test::TrackDescription, LONG> kCases[] = {
      {"video", test::avc_track(3), 900},
      {"AMR", test::amr_track(3), 9000},
      {"required: ten also where a sample carries one", qcelp_track(3), 9000},
      {"no size table for video that calls itself AAC", video_track(aac_video, 3), 900},
      {"AAC, with the size table", test::aac_track(3), 9020},
  };
  for (auto [name, track, bytes] : kCases) {
    track.sizes = {10, 900, 20};
    FilterUnderTest under_test(track);
    FakeAllocator allocator;
    ALLOCATOR_PROPERTIES properties{.cBuffers = 7, .cbBuffer = 1, .cbAlign = 16, .cbPrefix = 3};
    EXPECT_EQ(under_test.pin(0).DecideBufferSize(&allocator, &properties), S_OK) << name;
    EXPECT_EQ(allocator.asked.cBuffers, 4) << name;
    EXPECT_EQ(allocator.asked.cbBuffer, bytes) << name;
    EXPECT_EQ(allocator.asked.cbAlign, 16) << name;
    EXPECT_EQ(allocator.asked.cbPrefix, 3) << name;
  }
}

TEST(BufferSize, TakesNoLessThanItAskedFor) {
  FilterUnderTest under_test(test::amr_track(3));
  const struct {
    HRESULT answer;
    LONG missing_buffers;
    LONG missing_bytes;
    LONG lowered_request;
    HRESULT expected;
  } kCases[] = {{VFW_E_ALREADY_COMMITTED, 0, 0, 0, VFW_E_ALREADY_COMMITTED},
                {S_OK, 1, 0, 0, E_FAIL},
                {S_OK, 0, 1, 0, E_FAIL},
                {S_OK, 0, 0, 1, E_FAIL},
                {S_OK, -1, -1, 0, S_OK},
                {S_FALSE, 0, 0, 0, S_FALSE}};
  for (const auto& each : kCases) {
    FakeAllocator allocator;
    allocator.answer = each.answer;
    allocator.missing_buffers = each.missing_buffers;
    allocator.missing_bytes = each.missing_bytes;
    allocator.lowered_request = each.lowered_request;
    ALLOCATOR_PROPERTIES properties{};
    EXPECT_EQ(under_test.pin(0).DecideBufferSize(&allocator, &properties), each.expected);
  }
}

TEST(BufferSize, NeedsASampleSizeThatTheFileCanHold) {
  test::TrackDescription lying = test::amr_track(2);
  lying.replaced["stsz"] = test::constant_stsz(0xFFFFFFFF, 2);
  const test::Bytes bytes = test::build_movie(lying).bytes;
  FakeAllocator allocator;
  ALLOCATOR_PROPERTIES properties{};
  {
    FilterUnderTest under_test;
    ASSERT_EQ(under_test.load(bytes), S_OK);
    EXPECT_EQ(under_test.pin(0).DecideBufferSize(&allocator, &properties), S_OK);
    EXPECT_EQ(allocator.asked.cbBuffer, static_cast<LONG>(bytes.size() * 10));
  }
  {
    FilterUnderTest under_test;
    const auto path = under_test.folder / "large.mp4";
    write_file(path, {reinterpret_cast<const char*>(bytes.data()), bytes.size()});
    std::filesystem::resize_file(path, 300'000'000);  // ten of that size are more than a LONG can tell
    ASSERT_EQ(under_test.load(path), S_OK);
    EXPECT_EQ(under_test.pin(0).DecideBufferSize(&allocator, &properties), E_OUTOFMEMORY);
  }
  FilterUnderTest under_test(test::amr_track(3, 0));
  allocator.calls = 0;
  EXPECT_EQ(under_test.pin(0).DecideBufferSize(&allocator, &properties), HRESULT{-1});
  EXPECT_EQ(allocator.calls, 0);
}

}  // namespace
}  // namespace zdr::tests
