// Files whose sample tables are huge but whose media is tiny, to measure against the number of samples.
#ifndef ZDR_BENCH_HUGE_MOVIE_H
#define ZDR_BENCH_HUGE_MOVIE_H

#include <cstdint>
#include <filesystem>
#include <string>

#include "fmgr/fmgr.h"
#include "p3gpp/p3gpp.h"

namespace zdr::bench {

// The time scale makes 100 hours of such samples fit 32-bit times.
inline constexpr uint32_t kTimeScale = 11025;
inline constexpr uint32_t kSampleDelta = 256;
inline constexpr uint32_t kSamplesPerChunk = 10;

// Writes what the two functions below promise under a name of the caller's choice.
void write_huge_movie(const std::filesystem::path& path, uint32_t samples);
void write_large_movie(const std::filesystem::path& path);

// Path of a file with one audio track of that many samples, ten a chunk; made at the first call, removed at
// the end of the program. The chunks lie in turn at two places: neighbours at one offset would be read as one
// chunk.
const std::u16string& huge_movie(uint32_t samples);

// Path of a file with one track of pictures of some tens of kilobytes, a gigabyte in all.
inline constexpr uint64_t kLargeMovieBytes = uint64_t{1} << 30;
const std::u16string& large_movie();

// A file opened through a manager of its own; failures end the program, since nothing could be measured.
class OpenMovie {
 public:
  explicit OpenMovie(const std::u16string& path);
  ~OpenMovie();
  OpenMovie(const OpenMovie&) = delete;
  OpenMovie& operator=(const OpenMovie&) = delete;

  P3gppFile* file() const { return file_; }
  const FMGR_Descriptor& descriptor() const { return descriptor_; }
  FMGR_Context* context() const { return context_; }

 private:
  FMGR_Descriptor descriptor_{};
  FMGR_Context* context_ = nullptr;
  P3gppFile* file_ = nullptr;
};

class OpenTrack {
 public:
  OpenTrack(const OpenMovie& movie, uint32_t cache_budget);
  ~OpenTrack();
  OpenTrack(const OpenTrack&) = delete;
  OpenTrack& operator=(const OpenTrack&) = delete;

  P3gppTrack* get() const { return track_; }

 private:
  P3gppTrack* track_ = nullptr;
};

// A line for compare_peers.py: what this process took at its peak, without what stood there before it was
// loaded.
void print_peak_memory();

void require(bool condition, const char* what);

}  // namespace zdr::bench

#endif
