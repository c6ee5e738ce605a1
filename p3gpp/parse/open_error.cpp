// Maintains the stack of boxes being parsed and formats it as a path.
#include "p3gpp/parse/open_error.h"

#include <algorithm>
#include <charconv>
#include <string_view>

namespace zdr::p3gpp {
namespace {

using StepText = FixedText<40>;

void append_byte(StepText& text, unsigned char byte) {
  constexpr std::string_view kHex = "0123456789ABCDEF";
  const bool plain = byte >= 0x20 && byte < 0x7F && byte != '/' && byte != '\\';
  if (plain) {
    const char character = static_cast<char>(byte);
    return text.append({&character, 1});
  }
  text.append("\\x");
  text.append(kHex.substr(byte >> 4, 1));
  text.append(kHex.substr(byte & 15, 1));
}

void append_step(PathText& path, const PathStep& step) {
  if (!path.empty()) path.append("/");
  path.append(step_text(step).c_str());
}

}  // namespace

StepText step_text(const PathStep& step) {
  StepText text;
  for (size_t i = 0; i < 4; ++i) append_byte(text, static_cast<unsigned char>(step.type[i]));
  if (step.ordinal == 0) return text;
  std::array<char, 10> digits;
  const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), step.ordinal).ptr;
  text.append("[");
  text.append({digits.data(), end});
  text.append("]");
  return text;
}

PathText OpenErrorTrail::path() const {
  PathText path;
  for (size_t i = 0; i < std::min(depth_, kMaxDepth); ++i) append_step(path, steps_[i]);
  return path;
}

PathText OpenErrorTrail::path_of(const PathStep& child) const {
  PathText whole = path();
  append_step(whole, child);
  return whole;
}

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
  std::string_view(path_of(child).c_str()).copy(first_.path, sizeof first_.path - 1);
}

}  // namespace zdr::p3gpp
