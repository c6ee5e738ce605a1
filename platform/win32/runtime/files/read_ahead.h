// A small cache for runs of tiny reads, such as box headers, table entries and short media samples: one
// system call reads the bytes of many reads.
//
// It is used only for files that are opened for reading and deny writers in all processes, so that share
// modes keep the bytes unchanged. A program that ignores share modes may still extend or truncate a file: a
// read past the bytes of a lane goes to the system, so the true end is always found.
//
// There are several lanes, because the tracks of one file are read in turns, each in a run of its own.
// Scattered reads fetch nothing extra: a lane is filled only when a read continues its run, with more bytes
// the longer the run is.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>

namespace zdr::platform {

class ReadAhead {
 public:
  static constexpr size_t kLanes = 4;
  static constexpr size_t kLargestRead = 4 * 1024;  // larger reads go straight to the file
  static constexpr size_t kFirstFill = 4 * 1024;
  static constexpr size_t kLargestFill = 16 * 1024;
  static constexpr uint64_t kLargestGap = 4 * 1024;    // a skip up to this lets the fills grow
  static constexpr uint64_t kLargestSkip = 64 * 1024;  // a skip up to this still continues the run

  // Copies the bytes when a lane holds all of them.
  bool serve(uint64_t offset, void* buffer, size_t count) noexcept;

  // The number of bytes to read into `target` after a miss; 0 if the read should go straight to the file.
  size_t plan(uint64_t offset, size_t count) noexcept;
  std::byte* target() noexcept { return chosen_->bytes.get(); }
  // After `filled` bytes from `offset` have been read into the target: copies up to `count`, returns how
  // many.
  size_t fill(uint64_t offset, size_t filled, void* buffer, size_t count) noexcept;

 private:
  struct Lane {
    std::unique_ptr<std::byte[]> bytes;
    uint64_t start = 0;     // of the bytes in the file
    size_t length = 0;      // valid bytes
    uint64_t last_end = 0;  // where the run's latest read ended
    size_t next_fill = kFirstFill;
    uint64_t last_use = 0;
  };

  Lane* lane_of_run(uint64_t offset) noexcept;
  void start_run(uint64_t end) noexcept;

  std::array<Lane, kLanes> lanes_;
  Lane* chosen_ = nullptr;  // between plan and fill
  uint64_t uses_ = 0;
};

}  // namespace zdr::platform
