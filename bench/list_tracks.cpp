// list_tracks FILE: prints the tracks of a file and the peak memory of the process. For compare_peers.py,
// which compares whole processes.
#include <cstdio>
#include <filesystem>
#include <vector>

#include "bench/huge_movie.h"

int main(int argument_count, char** arguments) {
  using namespace zdr::bench;
  require(argument_count == 2, "usage: list_tracks FILE");
  const OpenMovie movie(std::filesystem::path(arguments[1]).u16string());
  P3gppTrackCounts counts{};
  require(P3GPP_GetTrackCounts(movie.file(), &counts) == P3GPP_OK, "counting the tracks");
  for (const auto& [type, count] :
       {std::pair{P3GPP_TRACK_AUDIO, counts.audio}, {P3GPP_TRACK_VIDEO, counts.video}}) {
    std::vector<uint32_t> ids(count);
    uint32_t listed = 0;
    if (count == 0) continue;
    require(P3GPP_GetTrackIds(movie.file(), type, ids.data(), &listed) == P3GPP_OK, "listing the tracks");
    for (const uint32_t id : ids) {
      P3gppTrackInfo* info = nullptr;
      require(P3GPP_GetTrackInfo(movie.file(), id, &info) == P3GPP_OK, "describing a track");
      std::printf("track %u: %u samples\n", id, info->sample_count);
      info->release(info);
    }
  }
  print_peak_memory();
}
