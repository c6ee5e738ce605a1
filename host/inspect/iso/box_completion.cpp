// Walks the box headers of the file, and merges them with the tree of the parser.
#include "host/inspect/iso/box_completion.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>
#include <vector>

#include "host/formats/byte_order.h"
#include "host/inspect/iso/box_details.h"
#include "host/inspect/iso/box_headers.h"
#include "host/inspect/iso/box_layout.h"
#include "host/text/decoded_text.h"
#include "platform/win32/read_failures.h"

namespace zdr::host {
namespace {

constexpr uint32_t kVersionAndFlags = 4;

// Escapes a type as the parser does in its paths.
std::string step_text(std::string_view type) {
  constexpr std::string_view kHex = "0123456789ABCDEF";
  std::string text;
  for (const char character : type) {
    const auto byte = static_cast<uint8_t>(character);
    const bool is_plain = byte >= 0x20 && byte < 0x7F && byte != '/' && byte != '\\';
    is_plain ? text.append(1, character) : text.append("\\x").append({kHex[byte >> 4], kHex[byte & 15]});
  }
  return text;
}

bool is_numbered(std::string_view type, std::string_view container) {
  return container == "stsd" || container == "dref" || (container == "moov" && type == "trak");
}

bool is_printable(std::string_view type) {
  return std::ranges::all_of(type, [](char c) { return static_cast<uint8_t>(c) >= 0x20 && c != 0x7F; });
}

bool read_has_failed() {
  platform::ReadFailure failure{};
  return platform::first_read_failure(failure);
}

// The part of the file that a list of boxes fills.
struct Range {
  BoxIndex container;     // kNoBox: the file
  std::string_view type;  // of the container
  uint64_t begin;
  uint64_t end;
};

class TreeCompletion {
 public:
  TreeCompletion(BoxTree& tree, FileStream& stream, const EntryChoice& choice)
      : tree_(tree), stream_(stream), choice_(choice), adds_(tree.boxes_left_out() == 0) {}

  LeftOutBoxes run() {
    tree_.set_children(kNoBox, tree_.children(kNoBox));
    complete({kNoBox, "", 0, stream_.size()}, 0);
    return left_out_;
  }

 private:
  void complete(const Range& range, unsigned level);
  void complete_children(BoxIndex index, const Range& around, unsigned level);
  uint64_t fields_of_quicktime(const BoxRecord& box, const Range& around) const;
  void examine(BoxRecord& box, std::string_view container);
  void read_version(BoxRecord& box);
  bool read(uint64_t offset, std::span<uint8_t> buffer) {
    return stream_.read_at(offset, buffer) == buffer.size();
  }

  BoxTree& tree_;
  FileStream& stream_;
  const EntryChoice& choice_;
  bool adds_;  // false: the tree is full
  LeftOutBoxes left_out_;
};

// Merges the boxes that the parser showed in a range with those that it did not show and with the gaps.
class RangeMerge {
 public:
  RangeMerge(BoxTree& tree, FileStream& stream, const Range& range)
      : tree_(tree),
        stream_(stream),
        range_(range),
        shown_(tree.children(range.container)),
        position_(range.begin) {
    // Boxes inside a box that the parser does not enter are shown before that box, as its siblings.
    std::ranges::stable_sort(shown_, {}, [&](BoxIndex index) { return tree_.box(index).offset; });
  }

  // Stops early if the tree is full, or if a read fails.
  void run();
  std::vector<BoxIndex> take_boxes() { return std::move(boxes_); }
  // Offset of the first box that did not fit in the tree.
  std::optional<uint64_t> not_listed() const { return not_listed_; }

 private:
  void step(const std::optional<BoxHeader>& header);
  void take_shown(const std::optional<BoxHeader>& header);
  void take_overlapping();
  void add(BoxRecord box);
  void append(BoxIndex index);
  bool is_credible(const BoxHeader& header, bool is_shown) const;
  std::string next_path(std::string_view type) const;
  uint64_t room() const { return range_.end - position_; }
  // Where the next box of the parser begins.
  uint64_t next_shown() const {
    return taken_ < shown_.size() ? std::min(tree_.box(shown_[taken_]).offset, range_.end) : range_.end;
  }

  BoxTree& tree_;
  FileStream& stream_;
  const Range& range_;
  std::vector<BoxIndex> shown_;
  size_t taken_ = 0;
  uint64_t position_;
  std::vector<BoxIndex> boxes_;
  size_t members_ = 0;  // number of boxes so far that have a number in their path
  std::optional<uint64_t> not_listed_;
};

void RangeMerge::run() {
  while (position_ < range_.end && !not_listed_) {
    take_overlapping();
    const std::optional<BoxHeader> header = read_box_header(stream_, position_, range_.end);
    if (read_has_failed()) break;
    step(header);
  }
  take_overlapping();
  const bool is_whole_file = range_.container == kNoBox && position_ >= range_.end;
  for (; taken_ < shown_.size(); ++taken_) {
    const bool is_beyond = is_whole_file && tree_.box(shown_[taken_]).state == BoxState::kNotRead;
    if (!is_beyond) append(shown_[taken_]);
  }
}

void RangeMerge::step(const std::optional<BoxHeader>& header) {
  const bool is_shown = taken_ < shown_.size() && next_shown() == position_;
  const bool is_box = header && is_credible(*header, is_shown);
  const bool is_top = range_.container == kNoBox;
  // At the top level the parser skips anything that is large enough for a header.
  const bool is_nonsense =
      is_shown && is_top && !is_box && tree_.box(shown_[taken_]).state == BoxState::kNotRead;
  if (is_shown && !is_nonsense) return take_shown(header);
  if (is_box) {
    add({.path = next_path(header->name()),
         .offset = position_,
         .size = header->size,
         .excess = header->size > room() ? header->size - room() : 0,
         .type = header->type,
         .header_size = static_cast<uint8_t>(header->header_size)});
    return;
  }
  if (is_nonsense) ++taken_;
  add({.path = {}, .offset = position_, .size = next_shown() - position_, .state = BoxState::kGap});
}

// Takes the boxes that the parser showed inside another one: parts of an item of ilst, or errors.
void RangeMerge::take_overlapping() {
  const BoxIndex around = range_.container == kNoBox || boxes_.empty() ? kNoBox : boxes_.back();
  const bool is_box = around != kNoBox && tree_.box(around).state != BoxState::kGap;
  std::vector<BoxIndex> parts;
  for (; taken_ < shown_.size() && tree_.box(shown_[taken_]).offset < position_; ++taken_) {
    BoxRecord& box = tree_.box(shown_[taken_]);
    if (range_.container == kNoBox && box.state == BoxState::kNotRead) continue;  // nonsense, as in step()
    if (is_box && box.end() <= position_) {
      parts.push_back(shown_[taken_]);
    } else {
      box.overlap = position_ - box.offset;
      append(shown_[taken_]);
    }
  }
  if (parts.empty()) return;
  const std::vector<BoxIndex> children = tree_.children(around);
  parts.insert(parts.begin(), children.begin(), children.end());
  tree_.set_children(around, parts);
}

void RangeMerge::take_shown(const std::optional<BoxHeader>& header) {
  BoxRecord& box = tree_.box(shown_[taken_]);
  append(shown_[taken_++]);
  if (header && box.state != BoxState::kRefused) {
    box.size = header->size;
    box.header_size = static_cast<uint8_t>(header->header_size);
  }
  box.excess = box.size > room() ? box.size - room() : 0;
  position_ = box.size >= box.header_size ? box.end() : next_shown();
}

bool RangeMerge::is_credible(const BoxHeader& header, bool is_shown) const {
  if (range_.container == kNoBox && is_top_level_type(header.name())) return true;
  return header.size <= room() && (is_shown || is_printable(header.name()));
}

void RangeMerge::add(BoxRecord box) {
  BoxIndex index = kNoBox;
  if (!tree_.add(std::move(box), index)) {
    not_listed_ = position_;
    return;
  }
  append(index);
  position_ = tree_.box(index).end();
}

// Tracks are numbered among the tracks, list entries among all boxes of the list.
void RangeMerge::append(BoxIndex index) {
  boxes_.push_back(index);
  const BoxRecord& box = tree_.box(index);
  if (box.state != BoxState::kGap && is_numbered(box.type_name(), range_.type)) ++members_;
}

std::string RangeMerge::next_path(std::string_view type) const {
  const std::string container =
      range_.container == kNoBox ? std::string() : tree_.box(range_.container).path + "/";
  const std::string step = container + step_text(type);
  return is_numbered(type, range_.type) ? step + "[" + std::to_string(members_ + 1) + "]" : step;
}

void TreeCompletion::complete(const Range& range, unsigned level) {
  if (adds_) {
    RangeMerge merge(tree_, stream_, range);
    merge.run();
    tree_.set_children(range.container, merge.take_boxes());
    left_out_.offset = merge.not_listed();
    adds_ = !left_out_.offset;
  }
  for (const BoxIndex child : tree_.children(range.container)) {
    if (tree_.box(child).state == BoxState::kGap) continue;
    examine(tree_.box(child), range.type);
    complete_children(child, range, level + 1);
  }
}

// The additional fields of a sound description of version 1 or 2.
uint64_t TreeCompletion::fields_of_quicktime(const BoxRecord& box, const Range& around) const {
  constexpr size_t kVersion = 8;  // offset in the body
  const bool is_entry = around.type == "stsd" && tree_.box(around.container).version == 0;
  if (!is_entry || box.body.size() < kVersion + 2) return 0;
  return quicktime_sound_bytes(box.type_name(), read_be(&box.body[kVersion], 2));
}

void TreeCompletion::complete_children(BoxIndex index, const Range& around, unsigned level) {
  const BoxRecord& box = tree_.box(index);
  const std::optional<uint32_t> skipped = children_offset(box.type_name(), around.type);
  const bool has_children = box.first_child != kNoBox;
  if (box.state == BoxState::kRefused || (!skipped && !has_children)) return;
  // A QuickTime meta box has no version and flags.
  const uint32_t missing = box.is("meta") && !box.has_version ? kVersionAndFlags : 0;
  const uint64_t more = fields_of_quicktime(box, around);  // which the parser takes for children
  uint64_t begin = box.offset + box.header_size + skipped.value_or(missing) - missing + more;
  if (has_children && more == 0) {
    const uint64_t first = tree_.box(box.first_child).offset;
    begin = skipped ? std::min(begin, first) : first;
  }
  if (begin >= box.end()) return;
  if (level < kMostBoxLevels) return complete({index, box.type_name(), begin, box.end()}, level);
  left_out_.are_deep = true;
}

// Reads what is shown of the box itself.
void TreeCompletion::examine(BoxRecord& box, std::string_view container) {
  if (box.state == BoxState::kRefused) return;
  box.has_version = is_full_box(box.type_name(), container) && box.body_size() >= kVersionAndFlags;
  const bool is_known = box.state != BoxState::kNotRead && box.state != BoxState::kFailed;
  if (box.has_version && !is_known) read_version(box);
  const uint64_t wanted = wanted_body_bytes(box.type_name(), container, choice_);
  const auto length = static_cast<size_t>(std::min(wanted, box.body_size()));
  if (length == 0) return;
  const std::span<uint8_t> body = tree_.store(length);
  if (read(box.body_offset(), body)) box.body = body;
}

void TreeCompletion::read_version(BoxRecord& box) {
  std::array<uint8_t, 12> bytes{};
  const uint64_t begin = box.body_offset() - kVersionAndFlags;
  const auto length = static_cast<size_t>(std::min<uint64_t>(bytes.size(), box.end() - begin));
  box.has_version = read(begin, std::span(bytes).first(length));
  const std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  if (box.is("meta") && text.substr(4, 4) == "hdlr") box.has_version = false;
  if (!box.has_version) return;
  box.version = bytes[0];
  box.flags = static_cast<uint32_t>(read_be(&bytes[1], 3));
}

}  // namespace

LeftOutBoxes complete_tree(BoxTree& tree, FileStream& stream, const EntryChoice& choice) {
  return TreeCompletion(tree, stream, choice).run();
}

}  // namespace zdr::host
