// Plays real files through the pins and seeks in them; the streams must keep the rules in every case.
// ZDR_EXTRA_MEDIA may name a folder with more files.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <random>

#include "tests/filters/sink_graph.h"

namespace zdr::test {
namespace {

std::vector<std::filesystem::path> media_files() {
  std::vector<std::filesystem::path> files;
  for (const char* folder : {ZDR_SAMPLES_DIR, static_cast<const char*>(std::getenv("ZDR_EXTRA_MEDIA"))}) {
    if (folder == nullptr) continue;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) files.push_back(entry.path());
  }
  std::sort(files.begin(), files.end());
  return files;
}

// The samples of one pin since the last seek, with absolute times.
struct Segment {
  std::vector<SinkSample> samples;
  mp4source::Positions positions;  // of the pin, afterwards

  REFERENCE_TIME time(size_t i) const { return positions.start + samples[i].start; }
  bool has(size_t i, DWORD flag) const { return (samples[i].flags & flag) != 0; }
};

Segment segment_of(SinkGraph& graph, size_t index) {
  Segment segment{graph.sink(index).samples(), {}};
  graph.under_test.seeking(static_cast<int>(index))
      ->GetPositions(&segment.positions.start, &segment.positions.stop);
  return segment;
}

void expect_fresh_start(const Segment& segment) {
  for (size_t i = 0; i < segment.samples.size(); ++i) {
    ASSERT_EQ(segment.has(i, AM_SAMPLE_DATADISCONTINUITY), i == 0) << i;
    ASSERT_LE(segment.time(i), segment.positions.stop) << i;
    ASSERT_GE(segment.time(i), segment.time(i == 0 ? i : i - 1)) << i;
  }
}

void expect_video(const Segment& video, const Segment* audio, REFERENCE_TIME target) {
  EXPECT_TRUE(video.has(0, AM_SAMPLE_SPLICEPOINT));
  // It starts at the last sync sample before the target: the next one is after it, or at it, where the
  // lookup of the time returns the frame before.
  for (size_t i = 1; i < video.samples.size(); ++i) {
    if (!video.has(i, AM_SAMPLE_SPLICEPOINT)) continue;
    ASSERT_GT(video.positions.start + video.samples[i].stop, target) << i;
    break;
  }
  // Video is shown from audio's first time when that comes later, from the target when there is no audio.
  REFERENCE_TIME shown_from = target;
  if (audio != nullptr) shown_from = std::max(audio->time(0), video.time(0));
  for (size_t i = 0; i < video.samples.size(); ++i) {
    const REFERENCE_TIME next = video.positions.start + video.samples[i].stop;
    if (next > video.positions.stop) continue;  // the last one before the stop is always shown
    ASSERT_EQ(video.has(i, AM_SAMPLE_PREROLL), video.time(i) < shown_from) << i;
  }
}

void seek_and_check(SinkGraph& graph, REFERENCE_TIME target) {
  SCOPED_TRACE(target);
  ASSERT_EQ(graph.seek(target), S_OK);
  ASSERT_TRUE(graph.wait_for_ends());
  Segment audio;
  Segment video;
  for (size_t i = 0; i < graph.sink_count(); ++i) {
    const bool is_audio = graph.under_test.pin(static_cast<int>(i)).stream() == mp4source::StreamKind::kAudio;
    Segment& segment = is_audio ? audio : video;
    segment = segment_of(graph, i);
    expect_fresh_start(segment);
  }
  EXPECT_TRUE(audio.samples.empty() || !video.samples.empty() || audio.samples[0].start == 0);
  if (!video.samples.empty()) expect_video(video, audio.samples.empty() ? nullptr : &audio, target);
}

TEST(RealFiles, PlayAndSeek) {
  std::mt19937 random(17);
  int files = 0;
  for (const auto& path : media_files()) {
    SCOPED_TRACE(path.filename());
    SinkGraph graph;
    // Files that cannot be loaded or connected are left to other tests.
    if (graph.under_test.load(path) != S_OK || graph.build() != S_OK) continue;
    if (graph.under_test.pin(0).track_info() == nullptr) continue;  // speech files have other rules
    ++files;
    ASSERT_EQ(graph.run(), S_OK);
    LONGLONG duration = 0;
    graph.under_test.seeking(0)->GetDuration(&duration);
    for (int i = 0; i < 6; ++i) {
      const auto target = static_cast<REFERENCE_TIME>(random() % 1000) * duration / 1000;
      ASSERT_NO_FATAL_FAILURE(seek_and_check(graph, target));
    }
    graph.stop();
    EXPECT_EQ(graph.breaches(), std::vector<std::string>{});
  }
  EXPECT_GE(files, 8);
}

}  // namespace
}  // namespace zdr::test
