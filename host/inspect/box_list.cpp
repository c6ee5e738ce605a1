// Records boxes and fields while the parser shows them.
#include "host/inspect/box_list.h"

#include <algorithm>
#include <functional>
#include <new>
#include <string>
#include <unordered_set>
#include <utility>

#include "host/decoded_text.h"
#include "host/memory.h"

namespace zdr::host {
namespace {

BoxState state_of(const P3gppBox& box) {
  if (box.disposition == P3GPP_BOX_SKIPPED) return BoxState::kSkipped;
  if (box.disposition == P3GPP_BOX_REFUSED) return BoxState::kRefused;
  return box.status == P3GPP_OK ? BoxState::kRead : BoxState::kFailed;
}

bool has_bytes(int32_t kind) {
  return kind == P3GPP_FIELD_TYPE || kind == P3GPP_FIELD_TEXT || kind == P3GPP_FIELD_BYTES;
}

// The part of the bytes that is stored.
std::string front_of(const P3gppBoxField& field) {
  const Bytes bytes(field.bytes.bytes, field.bytes.length);
  const size_t length = field.kind == P3GPP_FIELD_TEXT ? front_length(bytes, BoxList::kMostTextBytes)
                                                       : std::min(bytes.size(), BoxList::kMostBytes);
  return {bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(length)};
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

void BoxList::on_box(void* caller, const P3gppBox* box) noexcept {
  auto& list = *static_cast<BoxList*>(caller);
  list.stores_fields_ = false;
  try {
    if (list.boxes_.size() < kMostBoxes) return list.add(*box);
    ++list.boxes_left_out_;
  } catch (...) {
    list.is_complete_ = false;
  }
}

void BoxList::add(const P3gppBox& box) {
  BoxRecord record{.path = box.path,
                   .offset = box.offset,
                   .size = box.size,
                   .flags = box.flags,
                   .status = box.status,
                   .first_field = fields_.size(),
                   .version = box.version,
                   .state = state_of(box)};
  std::copy_n(box.type, record.type.size(), record.type.begin());
  boxes_.push_back(std::move(record));
  stores_fields_ = true;
  stores_entry_ = true;
  entry_ = 0;
}

void BoxList::on_field(void* caller, const P3gppBoxField* field) noexcept {
  auto& list = *static_cast<BoxList*>(caller);
  if (!list.stores_fields_) return;
  const bool begins_entry = field->entry != list.entry_;
  list.entry_ = field->entry;
  if (begins_entry && list.entries_ == kMostEntries) list.stores_entry_ = false;
  try {
    if (field->entry == 0 || list.stores_entry_) return list.add(*field, begins_entry);
    if (begins_entry) ++list.entries_left_out_;
  } catch (...) {
    list.is_complete_ = list.stores_fields_ =
        false;  // the next field may be one of an entry that is not stored
  }
}

void BoxList::add(const P3gppBoxField& field, bool begins_entry) {
  StoredField stored{field.name, field.number, field.entry, static_cast<uint8_t>(field.kind)};
  if (has_bytes(field.kind)) {
    stored.number = bytes_.size();
    bytes_.push_back({front_of(field), field.bytes.length});
  }
  fields_.push_back(stored);
  ++boxes_.back().fields;
  if (begins_entry) ++entries_;
}

Field BoxList::field(size_t number) const {
  const StoredField& stored = fields_[number];
  const auto value = [&]() -> FieldValue {
    if (has_bytes(stored.kind)) {
      const StoredBytes& bytes = bytes_[stored.number];
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

void BoxList::sort_by_offset() {
  std::ranges::stable_sort(boxes_, {}, &BoxRecord::offset);
}

void BoxList::mark_stored(P3gppFile* file) {
  const StoredBoxes stored(file);
  // A container that the parser does not store counts as stored if a box inside it is.
  std::unordered_set<std::string> parents;
  for (auto box = boxes_.rbegin(); box != boxes_.rend(); ++box) {
    if (box->state != BoxState::kRead) continue;
    const bool holds_stored = parents.erase(box->path) != 0;
    const bool is_stored = holds_stored || stored.contains(box->offset, box->path);
    box->state = is_stored ? BoxState::kStored : BoxState::kDropped;
    if (is_stored) parents.insert(box->path.substr(0, box->path.rfind('/')));
  }
}

}  // namespace zdr::host
