// make_movie SAMPLES FILE: writes a movie with one track of SAMPLES small samples, or for 0 with a gigabyte
// of pictures.
#include <cstdlib>

#include "bench/huge_movie.h"

int main(int argument_count, char** arguments) {
  using namespace zdr::bench;
  require(argument_count == 3, "usage: make_movie SAMPLES FILE");
  const auto samples = static_cast<uint32_t>(std::strtoul(arguments[1], nullptr, 10));
  if (samples == 0) {
    write_large_movie(arguments[2]);
  } else {
    write_huge_movie(arguments[2], samples);
  }
}
