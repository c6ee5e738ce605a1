// play_to_nothing FILE: plays a file through the filter and discards the samples. For compare_peers.py, which
// compares whole processes.
#include <cstdio>
#include <filesystem>

#include "bench/counting_playback.h"
#include "bench/huge_movie.h"

int main(int argument_count, char** arguments) {
  using namespace zdr::bench;
  require(argument_count == 2, "usage: play_to_nothing FILE");
  Playback playback(std::filesystem::path(arguments[1]).u16string());
  playback.run();
  playback.pin().wait_for_end();
  std::printf("%llu samples, %llu bytes\n", static_cast<unsigned long long>(playback.pin().samples()),
              static_cast<unsigned long long>(playback.pin().bytes()));
  print_peak_memory();
}
