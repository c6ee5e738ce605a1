// Turns the stack of boxes into a path that can be printed as it is.
#include "p3gpp/open_error.h"

#include <algorithm>
#include <charconv>
#include <span>
#include <string_view>

namespace zdr::p3gpp {
namespace {

// Appends to a NUL-terminated text of fixed size; what does not fit is cut off.
class FixedText {
 public:
  explicit FixedText(std::span<char> text) : text_(text) {}

  void append(std::string_view more) {
    const size_t room = text_.size() - 1 - used_;
    used_ += more.copy(text_.data() + used_, room);
    text_[used_] = '\0';
  }
  bool empty() const { return used_ == 0; }

 private:
  std::span<char> text_;
  size_t used_ = 0;
};

// Types come from the file: all but printable ASCII, and the characters of the path itself, is escaped.
void append_type(FixedText& path, const std::array<char, 5>& type) {
  constexpr std::string_view kHex = "0123456789ABCDEF";
  for (size_t i = 0; i < 4; ++i) {
    const auto byte = static_cast<unsigned char>(type[i]);
    const bool plain = byte >= 0x20 && byte < 0x7F && byte != '/' && byte != '\\';
    if (plain) {
      path.append({&type[i], 1});
    } else {
      path.append("\\x");
      path.append(kHex.substr(byte >> 4, 1));
      path.append(kHex.substr(byte & 15, 1));
    }
  }
}

void append_step(FixedText& path, const PathStep& step) {
  if (!path.empty()) path.append("/");
  append_type(path, step.type);
  if (step.ordinal == 0) return;
  std::array<char, 10> digits;
  const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), step.ordinal).ptr;
  path.append("[");
  path.append({digits.data(), end});
  path.append("]");
}

}  // namespace

void OpenErrorTrail::enter(const PathStep& step) {
  if (depth_ < kMaxDepth) steps_[depth_] = step;
  ++depth_;
}

void OpenErrorTrail::record(Status status) {
  if (depth_ == 0 || depth_ > kMaxDepth) {
    if (first_.status == P3GPP_OK) first_.status = status;
    return;
  }
  leave();
  record(status, steps_[depth_]);
  ++depth_;
}

void OpenErrorTrail::record(Status status, const PathStep& child) {
  if (first_.status != P3GPP_OK) return;
  first_.status = status;
  first_.offset = child.offset;
  first_.size = child.size;
  FixedText path(first_.path);
  for (size_t i = 0; i < std::min(depth_, kMaxDepth); ++i) append_step(path, steps_[i]);
  append_step(path, child);
}

}  // namespace zdr::p3gpp
