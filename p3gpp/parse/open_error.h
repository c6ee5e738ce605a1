// Where an open failed: the path of the boxes being parsed, and the first error among them.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "p3gpp/p3gpp.h"
#include "p3gpp/parse/status.h"

namespace zdr::p3gpp {

// One box on the path down to the box being parsed.
struct PathStep {
  std::array<char, 5> type{};
  uint32_t ordinal = 0;  // 1-based among the members of a list (tracks, sample entries); 0: not in a list
  uint64_t offset = 0;
  uint64_t size = 0;

  std::string_view type_name() const { return {type.data(), 4}; }
  bool is(std::string_view four_characters) const { return type_name() == four_characters; }
};

// A NUL-terminated text of fixed size, so that it can be written after an allocation failed; longer text is
// truncated.
template <size_t kSize>
class FixedText {
 public:
  void append(std::string_view more) {
    used_ += more.copy(text_.data() + used_, kSize - 1 - used_);
    text_[used_] = '\0';
  }
  bool empty() const { return used_ == 0; }
  const char* c_str() const { return text_.data(); }

 private:
  std::array<char, kSize> text_{};
  size_t used_ = 0;
};

using PathText = FixedText<sizeof(P3gppOpenError::path)>;

// "trak[2]". Types come from the file: everything but printable ASCII is escaped, and so are '/' and '\'.
FixedText<40> step_text(const PathStep& step);

// The path as a stack; record() copies it into the public record at the first error. Allocates nothing, since
// running out of memory is one of the errors.
class OpenErrorTrail {
 public:
  void enter(const PathStep& step);
  void leave() { --depth_; }
  // Records `status` for the box entered last. Only the first call counts: later errors follow from it.
  void record(Status status);
  // The same for a child of that box that was not entered.
  void record(Status status, const PathStep& child);

  const P3gppOpenError& first_error() const { return first_; }

  // Path of the box entered last, and of a child of it.
  PathText path() const;
  PathText path_of(const PathStep& child) const;

 private:
  static constexpr size_t kMaxDepth = 12;  // the deepest path is moov/trak/mdia/minf/stbl/stsd/s263/d263/bitr
  std::array<PathStep, kMaxDepth> steps_{};
  size_t depth_ = 0;
  P3gppOpenError first_{};
};

// Enters a step and leaves it at the end of the scope.
class TrailScope {
 public:
  TrailScope(OpenErrorTrail& trail, const PathStep& step) : trail_(trail) { trail_.enter(step); }
  ~TrailScope() { trail_.leave(); }
  TrailScope(const TrailScope&) = delete;
  TrailScope& operator=(const TrailScope&) = delete;

 private:
  OpenErrorTrail& trail_;
};

}  // namespace zdr::p3gpp
