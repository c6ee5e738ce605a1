// Movies for benchmarks: one with huge sample tables and little media, to measure how times depend on the
// number of samples, and one with a gigabyte of media.
#pragma once

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

// Both write the files that huge_movie and large_movie describe.
void write_huge_movie(const std::filesystem::path& path, uint32_t samples);
void write_large_movie(const std::filesystem::path& path);

// Returns the path of a file with one audio track of `samples` samples, ten per chunk. The first call writes
// the file; it is removed at the end of the program. Its chunks alternate between two offsets, because the
// parser would read adjacent chunks at the same offset as one.
const std::u16string& huge_movie(uint32_t samples);

// Returns the path of a file with one track of pictures of some tens of kilobytes, a gigabyte in all.
inline constexpr uint64_t kLargeMovieBytes = uint64_t{1} << 30;
const std::u16string& large_movie();

// A file opened through its own file manager. Failures end the program.
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

// Prints the peak memory of this process for compare_peers.py, without that of the process that started it.
void print_peak_memory();

// Ends the program with a message unless `condition` holds.
void require(bool condition, const char* what);

}  // namespace zdr::bench
