// CSourceSeeking: formats, capabilities, and positions with the calls that follow their change.
#include <com_ptr.h>
#include <gtest/gtest.h>
#include <streams.h>

#include <string>
#include <utility>

namespace zdr::tests {
namespace {

class Seeker final : public CSourceSeeking {
 public:
  Seeker() : CSourceSeeking(NAME("Seeker"), nullptr, nullptr, &lock_) {}

  std::string take_changes() { return std::exchange(changes_, {}); }

  HRESULT start_result = S_OK;
  HRESULT stop_result = S_OK;

 private:
  HRESULT ChangeStart() override { return changed("start ", start_result); }
  HRESULT ChangeStop() override { return changed("stop ", stop_result); }
  HRESULT ChangeRate() override { return changed("rate ", S_OK); }
  HRESULT changed(const char* what, HRESULT result) {
    changes_ += what;
    return result;
  }

  CCritSec lock_;
  std::string changes_;
};

class SourceSeeking : public ::testing::Test {
 protected:
  com::ComPtr<Seeker> seeker{new Seeker};
};

constexpr LONGLONG kUnknown = INT64_MAX / 2;

TEST_F(SourceSeeking, MovesPositionsAndTellsStopBeforeStart) {
  constexpr DWORD kAbsolute = AM_SEEKING_AbsolutePositioning;
  constexpr DWORD kRelative = AM_SEEKING_RelativePositioning;
  constexpr DWORD kIncremental = AM_SEEKING_IncrementalPositioning;
  struct Step {
    LONGLONG current;
    DWORD current_flags;
    LONGLONG stop;
    DWORD stop_flags;
    HRESULT result;
    LONGLONG new_current;
    LONGLONG new_stop;
    const char* changes;
  };
  const Step steps[] = {
      {0, 0, 0, 0, S_OK, 0, kUnknown, ""},
      {100, kAbsolute, 500, kAbsolute, S_OK, 100, 500, "stop start "},
      {10, kRelative, 0, 0, S_OK, 110, 500, "start "},
      {0, 0, -50, kRelative, S_OK, 110, 450, "stop "},
      // Incremental counts from the new start.
      {-10, kRelative, 25, kIncremental, S_OK, 100, 125, "stop start "},
      // Modifiers are ignored for the start and refused for the stop.
      {7, kAbsolute | AM_SEEKING_SeekToKeyFrame | AM_SEEKING_NoFlush, 0, 0, S_OK, 7, 125, "start "},
      {9, kAbsolute, 9, kAbsolute | AM_SEEKING_SeekToKeyFrame, E_INVALIDARG, 7, 125, ""},
      {9, kIncremental, 9, kAbsolute, E_INVALIDARG, 7, 125, ""},
      {9, AM_SEEKING_SeekToKeyFrame, 9, kAbsolute, E_INVALIDARG, 7, 125, ""},
      // No clamping, no ordering; sums wrap.
      {INT64_MAX, kAbsolute, INT64_MIN, kAbsolute, S_OK, INT64_MAX, INT64_MIN, "stop start "},
      {1, kRelative, -1, kRelative, S_OK, INT64_MIN, INT64_MAX, "stop start "},
  };
  for (const Step& step : steps) {
    LONGLONG current = step.current;
    LONGLONG stop = step.stop;
    EXPECT_EQ(seeker->SetPositions(&current, step.current_flags, &stop, step.stop_flags), step.result);
    EXPECT_EQ(seeker->take_changes(), step.changes);
    EXPECT_EQ(seeker->GetPositions(&current, &stop), S_OK);
    EXPECT_EQ(current, step.new_current);
    EXPECT_EQ(stop, step.new_stop);
  }
  LONGLONG value = 0;
  EXPECT_EQ(seeker->SetPositions(nullptr, kAbsolute, &value, 0), E_POINTER);
  EXPECT_EQ(seeker->SetPositions(&value, kAbsolute, nullptr, kAbsolute), E_POINTER);
  EXPECT_EQ(seeker->SetPositions(nullptr, 0, nullptr, 0), S_OK);
  EXPECT_EQ(seeker->GetPositions(nullptr, nullptr), S_OK);
}

TEST_F(SourceSeeking, ReturnsTheLastResultOfItsChanges) {
  constexpr DWORD kAbsolute = AM_SEEKING_AbsolutePositioning;
  LONGLONG value = 1;
  seeker->stop_result = E_FAIL;
  EXPECT_EQ(seeker->SetPositions(&value, 0, &value, kAbsolute), E_FAIL);
  EXPECT_EQ(seeker->SetPositions(&value, kAbsolute, &value, kAbsolute), S_OK);
  seeker->start_result = E_ABORT;
  EXPECT_EQ(seeker->SetPositions(&value, kAbsolute, &value, kAbsolute), E_ABORT);
}

TEST_F(SourceSeeking, KnowsMediaTimeOnly) {
  const GUID& media_time = TIME_FORMAT_MEDIA_TIME;
  const GUID& frame = TIME_FORMAT_FRAME;
  EXPECT_EQ(seeker->IsFormatSupported(&frame), S_FALSE);
  EXPECT_EQ(seeker->SetTimeFormat(&media_time), S_OK);
  EXPECT_EQ(seeker->SetTimeFormat(&frame), E_INVALIDARG);
  LONGLONG target = 0;
  EXPECT_EQ(seeker->ConvertTimeFormat(&target, nullptr, 77, &media_time), S_OK);
  EXPECT_EQ(target, 77);
  EXPECT_EQ(seeker->ConvertTimeFormat(&target, nullptr, 1, &frame), E_INVALIDARG);
}

TEST_F(SourceSeeking, RequiredCheckOfCapabilitiesLeavesTheQuestion) {
  for (const DWORD asked : {DWORD{AM_SEEKING_CanPlayBackwards},
                            DWORD{AM_SEEKING_CanPlayBackwards | AM_SEEKING_CanSeekAbsolute}}) {
    DWORD caps = asked;
    EXPECT_EQ(seeker->CheckCapabilities(&caps), S_FALSE);
    EXPECT_EQ(caps, asked);
  }
}

TEST_F(SourceSeeking, AnswersWhatItCanAndWhatIsAvailable) {
  DWORD caps = 0;
  EXPECT_EQ(seeker->GetCapabilities(&caps), S_OK);
  EXPECT_EQ(caps, 0x37u);
  EXPECT_EQ(seeker->CheckCapabilities(&caps), S_OK);
  LONGLONG earliest = 1;
  LONGLONG latest = 1;
  EXPECT_EQ(seeker->GetAvailable(&earliest, &latest), S_OK);
  EXPECT_EQ(earliest, 0);
  EXPECT_EQ(latest, kUnknown);
  EXPECT_EQ(seeker->SetRate(-3.0), S_OK);
  EXPECT_EQ(seeker->take_changes(), "rate ");
  double rate = 0;
  EXPECT_EQ(seeker->GetRate(&rate), S_OK);
  EXPECT_EQ(rate, -3.0);
  EXPECT_EQ(seeker->GetCurrentPosition(&latest), E_NOTIMPL);
}

}  // namespace
}  // namespace zdr::tests
