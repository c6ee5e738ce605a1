// Follows the links of the tree, and collects the time scales on the way down.
#include "host/inspect/iso/box_walk.h"

#include <algorithm>
#include <utility>

namespace zdr::host {
namespace {

// True if the steps are equal, or differ only by a number that `wanted` does not have.
bool is_same_step(std::string_view wanted, std::string_view step) {
  return wanted == step || (step.ends_with(']') && wanted == step.substr(0, step.rfind('[')));
}

std::string_view take_step(std::string_view& path) {
  const size_t length = std::min(path.find('/'), path.size());
  const std::string_view step = path.substr(0, length);
  path.remove_prefix(std::min(length + 1, path.size()));
  return step;
}

bool is_named(std::string_view wanted, std::string_view path) {
  while (!wanted.empty() && !path.empty()) {
    if (!is_same_step(take_step(wanted), take_step(path))) return false;
  }
  return wanted.empty() && path.empty();
}

// Takes the time scale out of the fields of a header.
struct ScaleSink final : FieldSink {
  void add(const Field& field) override {
    if (std::string_view(field.name) == "time_scale") scale = std::get<uint64_t>(field.value);
  }
  void begin_entry() override {}
  void leave_out(uint64_t /*entries*/) override {}

  std::optional<uint64_t> scale;
};

class TreeWalk {
 public:
  TreeWalk(const BoxTree& tree, std::string_view path, BoxSink& sink)
      : tree_(tree), path_(path), sink_(sink) {}

  void walk(BoxIndex parent, const BoxContext& context, bool is_inside) {
    for (BoxIndex child = tree_.first_child(parent); child != kNoBox; child = tree_.box(child).next) {
      const BoxRecord& box = tree_.box(child);
      const bool is_named_here = !is_inside && is_named(path_, box.path);
      named_ += is_named_here ? 1 : 0;
      const bool is_shown = is_inside || is_named_here;
      if (is_shown) sink_.begin_box(box, context);
      walk(child, context_in(child, context), is_shown);
      if (is_shown) sink_.end_box(box);
    }
  }
  size_t named() const { return named_; }

 private:
  BoxContext context_in(BoxIndex index, const BoxContext& around) const {
    const BoxRecord& box = tree_.box(index);
    BoxContext context = around;
    context.container = box.type_name();
    if (box.is("moov")) context.movie_time_scale = time_scale(child_of(index, "mvhd"), "moov");
    if (box.is("trak"))
      context.media_time_scale = time_scale(child_of(child_of(index, "mdia"), "mdhd"), "mdia");
    return context;
  }
  BoxIndex child_of(BoxIndex parent, std::string_view type) const {
    BoxIndex child = parent == kNoBox ? kNoBox : tree_.first_child(parent);
    while (child != kNoBox && !tree_.box(child).is(type)) child = tree_.box(child).next;
    return child;
  }
  std::optional<uint64_t> time_scale(BoxIndex header, std::string_view container) const {
    if (header == kNoBox) return std::nullopt;
    ScaleSink sink;
    describe_box(tree_, tree_.box(header), container, {}, sink);
    return sink.scale;
  }

  const BoxTree& tree_;
  std::string_view path_;
  BoxSink& sink_;
  size_t named_ = 0;
};

}  // namespace

void describe_box(const BoxTree& tree, const BoxRecord& box, std::string_view container,
                  const EntryChoice& choice, FieldSink& sink) {
  size_t number = box.first_field;
  const size_t end = number + box.fields;
  for (; number < end && tree.entry_of(number) == 0; ++number) sink.add(tree.field(number));
  describe_body({box.type_name(), container, box.version, box.body, box.body_size()}, choice, sink);
  // The entries of a list that the parser has read, such as key words.
  for (uint32_t entry = 0; number < end; ++number) {
    if (std::exchange(entry, tree.entry_of(number)) != tree.entry_of(number)) sink.begin_entry();
    sink.add(tree.field(number));
  }
}

size_t walk_tree(const BoxTree& tree, std::string_view path, BoxSink& sink) {
  TreeWalk walk(tree, path, sink);
  walk.walk(kNoBox, {}, path.empty());
  return walk.named();
}

}  // namespace zdr::host
