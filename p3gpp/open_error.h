// Where an open failed: the path of boxes being parsed, and the first error met there.
#ifndef ZDR_P3GPP_OPEN_ERROR_H
#define ZDR_P3GPP_OPEN_ERROR_H

#include <array>
#include <cstddef>
#include <cstdint>

#include "p3gpp/p3gpp.h"
#include "p3gpp/status.h"

namespace zdr::p3gpp {

// One box on the way down to the one being parsed.
struct PathStep {
  std::array<char, 5> type{};
  uint32_t ordinal = 0;  // 1-based among the repeated ones ("trak", sample entries); 0: not counted
  uint64_t offset = 0;
  uint64_t size = 0;
};

// Keeps the path as a stack, and writes the innermost box of the first error into a public record.
class OpenErrorTrail {
 public:
  void enter(const PathStep& step);
  void leave();
  // The first call since construction is kept, later ones are consequences of it.
  void record(Status status);
  // Error of a box whose header was read but which is not entered.
  void record(Status status, const PathStep& box);
  const P3gppOpenError& first_error() const { return first_; }

 private:
  static constexpr size_t kMaxDepth = 12;  // moov/trak/mdia/minf/stbl/stsd/entry/configuration/bitr is 9
  std::array<PathStep, kMaxDepth> steps_{};
  size_t depth_ = 0;  // may exceed kMaxDepth: deeper steps are counted, not stored
  P3gppOpenError first_{};
};

}  // namespace zdr::p3gpp

#endif
