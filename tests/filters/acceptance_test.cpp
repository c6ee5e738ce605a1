// Which types a pin accepts: the offered one, changed in one place at a time.
#include <gtest/gtest.h>

#include <functional>

#include "tests/filters/codecs.h"

namespace zdr::test {
namespace {

using namespace mp4source;

struct Change {
  std::string name;
  std::function<void(CMediaType&)> apply;
  bool accepted;
};
using Changes = std::vector<Change>;

VIDEOINFOHEADER& video(CMediaType& type) {
  return *reinterpret_cast<VIDEOINFOHEADER*>(type.pbFormat);
}
WAVEFORMATEX& wave(CMediaType& type) {
  return *reinterpret_cast<WAVEFORMATEX*>(type.pbFormat);
}

// The kinds of change.
std::function<void(CMediaType&)> set(GUID AM_MEDIA_TYPE::*field, const GUID& value) {
  return [=](CMediaType& type) { type.*field = value; };
}
std::function<void(CMediaType&)> truncated_to(ULONG length) {
  return [=](CMediaType& type) {
    type.cbFormat = length;
    type = CMediaType(type);  // with a block of that length
  };
}
std::function<void(CMediaType&)> byte(size_t offset) {
  return [=](CMediaType& type) { ++type.pbFormat[offset]; };
}
std::function<void(CMediaType&)> both(std::function<void(CMediaType&)> a,
                                      std::function<void(CMediaType&)> b) {
  return [=](CMediaType& type) { a(type), b(type); };
}
const auto subtype = [](const GUID& value) { return set(&AM_MEDIA_TYPE::subtype, value); };
const auto not_video = set(&AM_MEDIA_TYPE::majortype, MEDIATYPE_Audio);
const auto other_format = set(&AM_MEDIA_TYPE::formattype, FORMAT_None);
const auto no_block = [](CMediaType& type) { type.ResetFormatBuffer(); };

// Applies each change to a fresh copy of the offered type.
void expect_acceptance(const TrackDescription& track, const Changes& changes, const Changes& more = {}) {
  FilterUnderTest under_test(track);
  for (const Changes* list : {&changes, &more}) {
    for (const Change& change : *list) {
      CMediaType type;
      ASSERT_EQ(under_test.media_type(type), S_OK);
      change.apply(type);
      EXPECT_EQ(under_test.pin(0).CheckMediaType(&type), change.accepted ? S_OK : E_FAIL) << change.name;
    }
  }
}

const Changes kVideoChanges = {
    {"any video", subtype(kSubtypeAnyVideo), true},
    {"another subtype", subtype(MEDIASUBTYPE_PCM), false},
    {"width", [](CMediaType& t) { ++video(t).bmiHeader.biWidth; }, false},
    {"height", [](CMediaType& t) { ++video(t).bmiHeader.biHeight; }, false},
    {"compression", [](CMediaType& t) { ++video(t).bmiHeader.biCompression; }, false},
    {"extra size", [](CMediaType& t) { ++video(t).bmiHeader.biSize; }, false},
    {"bitrate", [](CMediaType& t) { ++video(t).dwBitRate; }, true},
    {"no block", no_block, false},
    {"short block", truncated_to(87), false},
    {"length without block", both(no_block, [](CMediaType& t) { t.cbFormat = 88; }), false},
};

TEST(Acceptance, Mpeg4VisualNeedsItsConfiguration) {
  expect_acceptance(track_of("MPEG-4 visual"), kVideoChanges,
                    {{"H.263", subtype(kSubtypeH263), false},
                     {"not video", not_video, false},
                     {"another format", other_format, false},
                     {"configuration", byte(88 + 4), false},
                     {"first frame", byte(88 + 5), true},
                     {"configuration truncated", truncated_to(88 + 4), false},
                     {"first frame missing", truncated_to(88 + 5), true}});
}

TEST(Acceptance, H263NeedsNoFirstFrame) {
  expect_acceptance(track_of("H.263"), kVideoChanges,
                    {{"AVC", subtype(kSubtypeAvc), false},
                     {"not video", not_video, false},
                     {"first frame missing", truncated_to(88), true}});
}

TEST(Acceptance, KeptAvcRuleChecksTheSubtypeOfVideoOnly) {
  expect_acceptance(avc_track(10), kVideoChanges,
                    {{"H.263", subtype(kSubtypeH263), false},
                     {"not video", not_video, true},
                     {"not video, any subtype", both(not_video, subtype(MEDIATYPE_Stream)), true},
                     {"another format, any subtype", both(other_format, subtype(kSubtypeH263)), true},
                     {"parameter sets", byte(88 + 5), true}});
}

// Each subtype has its own conditions, on every audio pin.
TEST(Acceptance, KeptAudioRulesIgnoreTheCodecOfTheTrack) {
  const auto speech = [](const GUID& value, const GUID& format_type, DWORD rate) {
    return both(both(subtype(value), set(&AM_MEDIA_TYPE::formattype, format_type)),
                [=](CMediaType& t) { wave(t).nSamplesPerSec = rate; });
  };
  const auto stereo = [](CMediaType& t) { wave(t).nChannels = 2; };
  const auto extra_byte = [](CMediaType& t) { wave(t).cbSize = 1; };
  const auto not_audio = set(&AM_MEDIA_TYPE::majortype, MEDIATYPE_Video);
  Changes changes = {
      {"narrow-band", speech(kSubtypeAmrNarrowBand, FORMAT_WaveFormatEx, 8000), true},
      {"narrow-band, private format", speech(kSubtypeAmrNarrowBand, kFormatAudioAccepted, 8000), true},
      {"narrow-band at 16 kHz", speech(kSubtypeAmrNarrowBand, FORMAT_WaveFormatEx, 16000), false},
      {"wide-band", speech(kSubtypeAmrWideBand, kFormatQcelp, 16000), true},
      {"wide-band at 8 kHz", speech(kSubtypeAmrWideBand, FORMAT_WaveFormatEx, 8000), false},
      {"EVRC", speech(kSubtypeEvrc, kFormatEvrc, 8000), true},
      {"EVRC at 16 kHz", speech(kSubtypeEvrc, kFormatEvrc, 16000), false},
      {"EVRC, video format", speech(kSubtypeEvrc, FORMAT_VideoInfo, 8000), false},
      {"QCELP, video format", speech(kSubtypeQcelp, FORMAT_VideoInfo, 44100), true},
      {"AC-3, video format", speech(kSubtypeDolbyAc3, FORMAT_VideoInfo, 44100), true},
      {"PCM", speech(MEDIASUBTYPE_PCM, FORMAT_WaveFormatEx, 8000), false},
      {"stereo narrow-band", stereo, false},
      {"stereo QCELP", both(subtype(kSubtypeQcelp), stereo), false},
      {"not audio", not_audio, false},
      {"QCELP, not audio", both(subtype(kSubtypeQcelp), not_audio), true},
      {"QCELP with extra bytes", both(subtype(kSubtypeQcelp), extra_byte), false},
      {"EVRC with extra bytes", both(subtype(kSubtypeEvrc), extra_byte), false},
      {"short block", truncated_to(17), false},
      {"AC-3, short block", both(subtype(kSubtypeDolbyAc3), truncated_to(1)), true},
      {"AC-3 without block", both(subtype(kSubtypeDolbyAc3), no_block), false},
  };
  for (const GUID& aac : kSubtypeAacAccepted) {
    changes.push_back({"AAC", speech(aac, FORMAT_WaveFormatEx, 44100), true});
    changes.push_back({"AAC, not audio", both(subtype(aac), not_audio), false});
  }
  expect_acceptance(amr_track(10), changes);
}

TEST(Acceptance, QcelpNeedsItsConfiguration) {
  expect_acceptance(track_of("QCELP in MPEG-4"),
                    {{"another byte", byte(19), false},
                     {"another length", [](CMediaType& t) { wave(t).cbSize = 1; }, false},
                     {"truncated", truncated_to(19), false}});
}

}  // namespace
}  // namespace zdr::test
