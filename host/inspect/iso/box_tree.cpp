// Records boxes and fields while the parser shows them, children before their parents.
#include "host/inspect/iso/box_tree.h"

#include <algorithm>
#include <functional>
#include <new>
#include <string>
#include <utility>

#include "host/inspect/iso/box_details.h"
#include "host/memory.h"
#include "host/text/decoded_text.h"

namespace zdr::host {
namespace {

BoxState state_of(const P3gppBox& box) {
  if (box.disposition == P3GPP_BOX_SKIPPED) return BoxState::kNotRead;
  if (box.disposition == P3GPP_BOX_REFUSED) return BoxState::kRefused;
  return box.status == P3GPP_OK ? BoxState::kRead : BoxState::kFailed;
}

bool has_bytes(int32_t kind) {
  return kind == P3GPP_FIELD_TYPE || kind == P3GPP_FIELD_TEXT || kind == P3GPP_FIELD_BYTES;
}

// The part of the bytes that is stored.
std::string front_of(const P3gppBoxField& field) {
  const Bytes bytes(field.bytes.bytes, field.bytes.length);
  const size_t length = field.kind == P3GPP_FIELD_TEXT ? front_length(bytes, BoxTree::kMostTextBytes)
                                                       : std::min(bytes.size(), BoxTree::kMostBytes);
  return {bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(length)};
}

bool is_below(const std::string& path, std::string_view container) {
  return path.size() > container.size() && path[container.size()] == '/' && path.starts_with(container);
}

// The boxes of an open file by offset and path.
class StoredBoxes {
 public:
  explicit StoredBoxes(P3gppFile* file) {
    const P3gppBoxVisitor visitor{this, add, nullptr};
    with_memory(P3GPP_WalkBoxes(file, &visitor), P3GPP_ERR_NO_MEMORY);
    if (!is_complete_) throw std::bad_alloc();
    std::sort(keys_.begin(), keys_.end());
  }
  bool contains(uint64_t offset, const std::string& path) const {
    return std::binary_search(keys_.begin(), keys_.end(), BoxKey{offset, std::hash<std::string>()(path)});
  }

 private:
  // Offset and hash of the path: the paths of all boxes would take too much memory.
  using BoxKey = std::pair<uint64_t, size_t>;

  static void add(void* caller, const P3gppBox* box) noexcept {
    auto& self = *static_cast<StoredBoxes*>(caller);
    try {
      self.keys_.emplace_back(box->offset, std::hash<std::string>()(box->path));
    } catch (...) {
      self.is_complete_ = false;
    }
  }

  std::vector<BoxKey> keys_;
  bool is_complete_ = true;
};

}  // namespace

void BoxTree::on_box(void* caller, const P3gppBox* box) noexcept {
  auto& tree = *static_cast<BoxTree*>(caller);
  tree.stores_fields_ = false;
  try {
    if (tree.has_room_for(*box)) return tree.add(*box);
    ++tree.boxes_left_out_;
  } catch (...) {
    tree.is_complete_ = false;
  }
}

// There is always room for the parents of a box in the tree, so that every box in it can be reached.
bool BoxTree::has_room_for(const P3gppBox& box) const {
  return boxes_.size() < kMostBoxes || (!top_.empty() && is_below(boxes_[top_.back()].path, box.path));
}

void BoxTree::add(const P3gppBox& box) {
  BoxRecord record{.path = box.path,
                   .offset = box.offset,
                   .size = box.size,
                   .flags = box.flags,
                   .status = box.status,
                   .first_field = static_cast<uint32_t>(fields_.size()),
                   .version = box.version,
                   .state = state_of(box)};
  std::copy_n(box.type, record.type.size(), record.type.begin());
  const auto is_child = [&](BoxIndex index) { return is_below(boxes_[index].path, record.path); };
  const auto last_other = std::find_if_not(top_.rbegin(), top_.rend(), is_child);
  const std::vector<BoxIndex> children(last_other.base(), top_.end());
  boxes_.push_back(std::move(record));  // before its index is stored: this may throw
  top_.erase(top_.end() - static_cast<std::ptrdiff_t>(children.size()), top_.end());
  top_.push_back(static_cast<BoxIndex>(boxes_.size() - 1));
  set_children(top_.back(), children);
  stores_fields_ = !has_layout(boxes_.back().type_name());
  stores_entry_ = true;
  entry_ = 0;
}

bool BoxTree::add(BoxRecord box, BoxIndex& index) {
  if (boxes_.size() >= kMostBoxes) return false;
  index = static_cast<BoxIndex>(boxes_.size());
  boxes_.push_back(std::move(box));
  return true;
}

std::vector<BoxIndex> BoxTree::children(BoxIndex parent) const {
  if (parent == kNoBox) return top_;
  std::vector<BoxIndex> list;
  for (BoxIndex child = boxes_[parent].first_child; child != kNoBox; child = boxes_[child].next)
    list.push_back(child);
  return list;
}

void BoxTree::set_children(BoxIndex parent, const std::vector<BoxIndex>& children) {
  if (parent == kNoBox) top_ = children;
  BoxIndex next = kNoBox;
  for (auto child = children.rbegin(); child != children.rend(); ++child)
    boxes_[*child].next = std::exchange(next, *child);
  (parent == kNoBox ? first_ : boxes_[parent].first_child) = next;
}

std::span<uint8_t> BoxTree::store(size_t length) {
  constexpr size_t kBlockBytes = 16384;
  if (blocks_.empty() || length > blocks_.back().size() - used_in_block_) {
    blocks_.emplace_back(std::max(length, kBlockBytes));
    used_in_block_ = 0;
  }
  const std::span<uint8_t> room = std::span(blocks_.back()).subspan(used_in_block_, length);
  used_in_block_ += length;
  return room;
}

void BoxTree::on_field(void* caller, const P3gppBoxField* field) noexcept {
  auto& tree = *static_cast<BoxTree*>(caller);
  if (!tree.stores_fields_) return;
  const bool begins_entry = field->entry != tree.entry_;
  tree.entry_ = field->entry;
  if (begins_entry && tree.entries_ == kMostEntries) tree.stores_entry_ = false;
  try {
    if (field->entry == 0 || tree.stores_entry_) return tree.add(*field, begins_entry);
    if (begins_entry) ++tree.entries_left_out_;
  } catch (...) {
    tree.is_complete_ = tree.stores_fields_ =
        false;  // the next field may be one of an entry that is not stored
  }
}

void BoxTree::add(const P3gppBoxField& field, bool begins_entry) {
  StoredField stored{field.name, field.number, field.entry, static_cast<uint8_t>(field.kind)};
  if (has_bytes(field.kind)) {
    stored.number = bytes_.size();
    bytes_.push_back({front_of(field), field.bytes.length});
  }
  fields_.push_back(stored);
  ++boxes_.back().fields;
  if (begins_entry) ++entries_;
}

Field BoxTree::field(size_t number) const {
  const StoredField& stored = fields_[number];
  const auto value = [&]() -> FieldValue {
    if (has_bytes(stored.kind)) {
      const StoredBytes& bytes = bytes_[static_cast<size_t>(stored.number)];
      if (stored.kind == P3GPP_FIELD_TYPE) return type_text(bytes.front);
      if (stored.kind == P3GPP_FIELD_BYTES) return BytesView{as_bytes(bytes.front), bytes.length};
      return TextView{as_bytes(bytes.front), bytes.length, kMostBytes};
    }
    if (stored.kind == P3GPP_FIELD_FIXED) return from_fixed(static_cast<uint32_t>(stored.number));
    if (stored.kind == P3GPP_FIELD_LANGUAGE) return language_text(static_cast<uint32_t>(stored.number));
    if (stored.kind == P3GPP_FIELD_SIGNED) return static_cast<int64_t>(stored.number);
    return stored.number;
  };
  return {stored.name, value()};
}

void BoxTree::mark_stored(P3gppFile* file) {
  const StoredBoxes stored(file);
  // Children precede their parents. A container that the parser does not store counts as stored if a box
  // inside it is.
  for (BoxRecord& box : boxes_) {
    if (box.state != BoxState::kRead) continue;
    bool is_stored = stored.contains(box.offset, box.path);
    for (BoxIndex child = box.first_child; child != kNoBox; child = boxes_[child].next)
      is_stored = is_stored || boxes_[child].state == BoxState::kStored;
    box.state = is_stored ? BoxState::kStored : BoxState::kDropped;
  }
}

}  // namespace zdr::host
