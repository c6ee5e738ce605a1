// Which types a pin accepts: the offered one, changed in one place at a time.
#include <gtest/gtest.h>

#include <functional>

#include "filters/source/mp4/interfaces/zdr_guids.h"
#include "tests/filters/codec_tracks.h"
#include "tests/filters/filter_under_test.h"

namespace zdr::tests {
namespace {

using namespace mp4source;

struct Change {
  std::string name;
  std::function<void(CMediaType&)> apply;
  bool accepted;
};

VIDEOINFOHEADER& video(CMediaType& type) {
  return *reinterpret_cast<VIDEOINFOHEADER*>(type.pbFormat);
}
WAVEFORMATEX& wave(CMediaType& type) {
  return *reinterpret_cast<WAVEFORMATEX*>(type.pbFormat);
}
void shorten(CMediaType& type, ULONG length) {
  type.cbFormat = length;
  type = CMediaType(type);  // into a block of that length
}

// Applies each change to a fresh copy of the offered type.
void expect_answers(const test::TrackDescription& track, const std::vector<Change>& changes) {
  FilterUnderTest under_test(track);
  CZanMP4SourceOutputPin& pin = under_test.pin(0);
  for (const Change& change : changes) {
    CMediaType type;
    ASSERT_EQ(pin.GetMediaType(0, &type), S_OK);
    change.apply(type);
    EXPECT_EQ(pin.CheckMediaType(&type), change.accepted ? S_OK : E_FAIL) << change.name;
  }
}

std::vector<Change> changes_of_every_frame() {
  return {
      {"any video", [](CMediaType& t) { t.subtype = kSubtypeAnyVideo; }, true},
      {"another sub type", [](CMediaType& t) { t.subtype = MEDIASUBTYPE_PCM; }, false},
      {"width", [](CMediaType& t) { ++video(t).bmiHeader.biWidth; }, false},
      {"height", [](CMediaType& t) { ++video(t).bmiHeader.biHeight; }, false},
      {"compression", [](CMediaType& t) { ++video(t).bmiHeader.biCompression; }, false},
      {"extra size", [](CMediaType& t) { ++video(t).bmiHeader.biSize; }, false},
      {"bitrate", [](CMediaType& t) { ++video(t).dwBitRate; }, true},
      {"no block", [](CMediaType& t) { t.ResetFormatBuffer(); }, false},
      {"short block", [](CMediaType& t) { shorten(t, 87); }, false},
      {"length without block",
       [](CMediaType& t) {
         t.ResetFormatBuffer();
         t.cbFormat = 88;
       },
       false},
  };
}

std::vector<Change> joined(std::vector<Change> first, const std::vector<Change>& second) {
  first.insert(first.end(), second.begin(), second.end());
  return first;
}

TEST(Acceptance, OfMpeg4Visual) {
  expect_answers(mpeg4_visual_track(),
                 joined(changes_of_every_frame(),
                        {{"H.263", [](CMediaType& t) { t.subtype = kSubtypeH263; }, false},
                         {"not video", [](CMediaType& t) { t.majortype = MEDIATYPE_Audio; }, false},
                         {"another format", [](CMediaType& t) { t.formattype = FORMAT_None; }, false},
                         {"configuration", [](CMediaType& t) { ++t.pbFormat[88 + 4]; }, false},
                         {"first frame", [](CMediaType& t) { ++t.pbFormat[88 + 5]; }, true},
                         {"configuration cut off", [](CMediaType& t) { shorten(t, 88 + 4); }, false},
                         {"first frame cut off", [](CMediaType& t) { shorten(t, 88 + 5); }, true}}));
}

TEST(Acceptance, OfH263) {
  expect_answers(h263_track(),
                 joined(changes_of_every_frame(),
                        {{"AVC", [](CMediaType& t) { t.subtype = kSubtypeAvc; }, false},
                         {"not video", [](CMediaType& t) { t.majortype = MEDIATYPE_Audio; }, false},
                         {"first frame cut off", [](CMediaType& t) { shorten(t, 88); }, true}}));
}

TEST(Acceptance, RequiredAvcRuleLooksAtTheSubTypeOfVideoOnly) {
  expect_answers(test::avc_track(10),
                 joined(changes_of_every_frame(),
                        {{"H.263", [](CMediaType& t) { t.subtype = kSubtypeH263; }, false},
                         {"not video", [](CMediaType& t) { t.majortype = MEDIATYPE_Audio; }, true},
                         {"not video, any sub type",
                          [](CMediaType& t) { t.majortype = t.subtype = MEDIATYPE_Stream; }, true},
                         {"another format, any sub type",
                          [](CMediaType& t) { t.formattype = FORMAT_None, t.subtype = kSubtypeH263; }, true},
                         {"parameter sets", [](CMediaType& t) { ++t.pbFormat[88 + 5]; }, true}}));
}

// The codec of the track plays no part: each sub type has its own conditions on every audio pin.
TEST(Acceptance, RequiredAudioRulesDoNotLookAtTheCodecOfTheTrack) {
  const auto speech = [](const GUID& subtype, const GUID& format_type, DWORD rate) {
    return [=](CMediaType& t) {
      t.subtype = subtype;
      t.formattype = format_type;
      wave(t).nSamplesPerSec = rate;
    };
  };
  std::vector<Change> changes = {
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
      {"stereo narrow-band", [](CMediaType& t) { wave(t).nChannels = 2; }, false},
      {"stereo QCELP", [](CMediaType& t) { t.subtype = kSubtypeQcelp, wave(t).nChannels = 2; }, false},
      {"not audio", [](CMediaType& t) { t.majortype = MEDIATYPE_Video; }, false},
      {"QCELP, not audio", [](CMediaType& t) { t.majortype = MEDIATYPE_Video, t.subtype = kSubtypeQcelp; },
       true},
      {"QCELP with extra bytes", [](CMediaType& t) { t.subtype = kSubtypeQcelp, wave(t).cbSize = 1; }, false},
      {"EVRC with extra bytes", [](CMediaType& t) { t.subtype = kSubtypeEvrc, wave(t).cbSize = 1; }, false},
      {"short block", [](CMediaType& t) { shorten(t, 17); }, false},
      {"AC-3, short block", [](CMediaType& t) { t.subtype = kSubtypeDolbyAc3, shorten(t, 1); }, true},
      {"AC-3 without block", [](CMediaType& t) { t.subtype = kSubtypeDolbyAc3, t.ResetFormatBuffer(); },
       false},
  };
  for (const GUID& subtype : kSubtypeAacAccepted) {
    changes.push_back({"AAC", speech(subtype, FORMAT_WaveFormatEx, 44100), true});
    changes.push_back({"AAC, not audio",
                       [=](CMediaType& t) {
                         t.subtype = subtype;
                         t.majortype = MEDIATYPE_Video;
                       },
                       false});
  }
  expect_answers(test::amr_track(10), changes);
}

TEST(Acceptance, OfQcelpComparesTheConfiguration) {
  expect_answers(mpeg4_qcelp_track(), {{"as offered", [](CMediaType&) {}, true},
                                       {"another byte", [](CMediaType& t) { ++t.pbFormat[19]; }, false},
                                       {"another length", [](CMediaType& t) { wave(t).cbSize = 1; }, false},
                                       {"cut off", [](CMediaType& t) { shorten(t, 19); }, false}});
}

}  // namespace
}  // namespace zdr::tests
