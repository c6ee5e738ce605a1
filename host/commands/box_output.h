// The two forms in which `zdr boxes` shows a tree.
#pragma once

#include <iosfwd>
#include <string>
#include <utility>

#include "host/inspect/iso/box_walk.h"
#include "host/json/json_writer.h"

namespace zdr::host {

// A line with a heading, if there are any boxes, and an indented line for each: "mvhd  @28 size 108  version
// 0 time_scale=1000 ...".
class BoxLines final : public BoxSink {
 public:
  BoxLines(const BoxTree& tree, const EntryChoice& choice, std::string heading, std::ostream& out)
      : tree_(tree), choice_(choice), heading_(std::move(heading)), out_(out) {}

  void begin_box(const BoxRecord& box, const BoxContext& context) override;
  void end_box(const BoxRecord& /*box*/) override { --depth_; }

 private:
  const BoxTree& tree_;
  const EntryChoice& choice_;
  std::string heading_;  // empty once it is printed
  std::ostream& out_;
  size_t depth_ = 1;
};

// Writes one object per box, with its children in it.
class BoxObjects final : public BoxSink {
 public:
  BoxObjects(const BoxTree& tree, const EntryChoice& choice, JsonWriter& json)
      : tree_(tree), choice_(choice), json_(json) {}

  void begin_box(const BoxRecord& box, const BoxContext& context) override;
  void end_box(const BoxRecord& box) override;

 private:
  const BoxTree& tree_;
  const EntryChoice& choice_;
  JsonWriter& json_;
};

}  // namespace zdr::host
