// Tracks and codecs of real files. The figures for the sample files are those of ffprobe.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "exercise.h"
#include "opened_movie.h"
#include "tests/support/failing_allocator.h"

namespace zdr::test {
namespace {

Bytes content_of(const std::filesystem::path& path) {
  std::ifstream stream(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

std::string codec_text(const P3gppDecoderInfo& info) {
  const auto pair = [](uint32_t a, char separator, uint32_t b) {
    return ' ' + std::to_string(a) + separator + std::to_string(b);
  };
  switch (info.object_type) {
    case P3GPP_OTI_AVC:
      return "avc" + pair(info.u.avc.width, 'x', info.u.avc.height);
    case P3GPP_OTI_H263:
      return "h263" + pair(info.u.h263.width, 'x', info.u.h263.height);
    case P3GPP_OTI_MPEG4_VISUAL:
      return "mpeg4" + pair(info.u.systems.width, 'x', info.u.systems.height);
    case P3GPP_OTI_AAC:
      return "aac" + pair(info.u.systems.channel_count, '@', info.u.systems.sample_rate);
    case P3GPP_OTI_AC3:
      return "ac3" + pair(info.u.ac3.channel_count, '@', info.u.ac3.sample_rate);
    case P3GPP_OTI_EAC3:
      return "eac3" + pair(info.u.eac3.channel_count, '@', info.u.eac3.sample_rate);
    case P3GPP_OTI_AMR:
      return "amr";
    case P3GPP_OTI_AMR_WB:
      return "amr-wb";
    default:
      return "?";
  }
}

// "codec, samples/time scale" of every video and audio track.
std::vector<std::string> describe(P3gppFile* file) {
  std::vector<std::string> tracks;
  for (const uint32_t type : {P3GPP_TRACK_VIDEO, P3GPP_TRACK_AUDIO}) {
    std::vector<uint32_t> ids(64);
    uint32_t count = 0;
    EXPECT_EQ(P3GPP_GetTrackIds(file, type, ids.data(), &count), P3GPP_OK);
    for (uint32_t i = 0; i < count; ++i) {
      const DecoderInfo decoder(file, ids[i]);
      P3gppTrackInfo* info = nullptr;
      EXPECT_EQ(decoder.status, P3GPP_OK);
      EXPECT_EQ(P3GPP_GetTrackInfo(file, ids[i], &info), P3GPP_OK);
      tracks.push_back(codec_text(*decoder.get()) + ", " + std::to_string(info->sample_count) + '/' +
                       std::to_string(info->time_scale));
      info->release(info);
    }
  }
  return tracks;
}

TEST(RealFiles, HaveTheTracksAndCodecsThatFfprobeSees) {
  struct Case {
    const char* name;
    std::vector<std::string> tracks;
  };
  const std::vector<Case> cases = {
      {"ac3.mp4", {"ac3 2@48000, 94/48000"}},
      {"avc-aac.mp4", {"avc 320x180, 100/12800", "aac 2@44100, 174/44100"}},
      {"avc-bframes.mp4", {"avc 320x180, 100/12800"}},
      {"eac3.mp4", {"eac3 2@48000, 94/48000"}},
      {"h263-amr.3gp", {"h263 176x144, 60/15360", "amr, 201/8000"}},
      {"moov-first.3gp", {"h263 176x144, 45/15360", "amr, 151/8000"}},
      {"mpeg4-amrwb.3gp", {"mpeg4 176x144, 60/15360", "amr-wb, 200/16000"}},
      {"two-tracks.3gp",
       {"mpeg4 128x96, 30/10240", "mpeg4 128x96, 30/10240", "amr, 151/8000", "amr, 151/8000"}},
  };
  for (const Case& each : cases) {
    SCOPED_TRACE(each.name);
    const OpenedMovie movie(content_of(std::filesystem::path(ZDR_SAMPLES_DIR) / each.name));
    ASSERT_EQ(movie.status, P3GPP_OK);
    EXPECT_EQ(describe(movie.file), each.tracks);
  }
}

// Any file, whatever it is: a documented status, the place of the error, and no memory beyond its size.
TEST(RealFiles, OpenOrTellWhereTheyFail) {
  const char* extra = std::getenv("ZDR_EXTRA_MEDIA");
  for (const char* folder : {static_cast<const char*>(ZDR_SAMPLES_DIR), extra}) {
    if (folder == nullptr) continue;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
      if (!entry.is_regular_file()) continue;
      SCOPED_TRACE(entry.path().filename());
      const Bytes file = content_of(entry.path());
      const OpenedMovie movie(file);
      const bool is_named = movie.error.path[0] != '\0';
      EXPECT_EQ(is_named, movie.error.status != P3GPP_OK && movie.error.status != P3GPP_ERR_NO_MOOV);
      EXPECT_LE(movie.error.offset, file.size());

      MemorySource source(file);
      FMGR_Context* context = nullptr;
      const FMGR_Config config{0, 0};
      ASSERT_EQ(FMGR_Init(&context, &config), FMGR_OK);
      {
        const FailingAllocator watch(0);
        EXPECT_EQ(exercise(source.descriptor, context, 200).undocumented_status, 0);
        EXPECT_LE(watch.largest(), std::max<size_t>(file.size(), 256 * 1024));
      }
      FMGR_Deinit(context);
    }
  }
}

}  // namespace
}  // namespace zdr::test
