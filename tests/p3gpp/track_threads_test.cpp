// Two tracks of one file on two threads, opened, read, sought and closed again and again.
#include <random>
#include <thread>

#include "gtest/gtest.h"
#include "opened_movie.h"
#include "tests/support/movie_builder.h"

namespace zdr::test {
namespace {

TrackDescription track_of(uint32_t samples) {
  TrackDescription track = aac_track(samples);
  track.samples_per_chunk = {3, 1, 2};
  track.composition_offsets.assign(samples, 7);
  return track;
}

int wrong_samples(P3gppTrack* track, uint32_t id, uint32_t samples, std::minstd_rand& random) {
  int wrong = 0;
  uint32_t number = 1 + static_cast<uint32_t>(random() % samples);
  for (int i = 0; i < 200; ++i) {
    Bytes bytes(24);
    P3gppSample sample{};
    sample.number = number;
    sample.buffer = bytes.data();
    wrong += P3GPP_ReadSample(track, &sample) != P3GPP_OK || bytes != sample_content(id, number, 24);
    uint32_t time = sample.decoding_time + 1;
    uint32_t found = 0;
    wrong += P3GPP_TimeToSample(track, &time, &found) != P3GPP_OK;
    number = random() % 8 == 0 ? 1 + static_cast<uint32_t>(random() % samples) : number % samples + 1;
  }
  return wrong;
}

TEST(TrackThreads, TwoTracksAreReadAtOnce) {
  constexpr uint32_t kSamples = 2000;
  const OpenedMovie movie(
      build_movie(MovieDescription{.tracks = {track_of(kSamples), track_of(kSamples)}}).bytes);
  ASSERT_EQ(movie.status, P3GPP_OK);
  int wrong[2] = {0, 0};
  const auto play = [&](uint32_t id) {
    std::minstd_rand random(id);
    for (int round = 0; round < 20; ++round) {
      P3gppTrack* track = nullptr;
      if (P3GPP_OpenTrack(movie.file, &track, id, 2048) != P3GPP_OK) {
        ++wrong[id - 1];
        continue;
      }
      wrong[id - 1] += wrong_samples(track, id, kSamples, random);
      P3GPP_CloseTrack(track);
    }
  };
  std::thread other(play, 2);
  play(1);
  other.join();
  EXPECT_EQ(wrong[0], 0);
  EXPECT_EQ(wrong[1], 0);
}

}  // namespace
}  // namespace zdr::test
