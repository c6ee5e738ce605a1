// Makes JSON of boxes and fields while the parser shows them; text and JSON output both come from that.
#include "host/inspect/box_list.h"

#include <algorithm>
#include <cstring>
#include <functional>
#include <map>
#include <string>
#include <unordered_set>
#include <utility>

#include "host/decoded_text.h"

namespace zdr::host {
namespace {

using Json = BoxList::Json;

const char* state_of(const P3gppBox& box) {
  if (box.disposition == P3GPP_BOX_SKIPPED) return "skipped";
  if (box.disposition == P3GPP_BOX_REFUSED) return "refused";
  return box.status == P3GPP_OK ? "read" : "failed";
}

void set_field(Json& object, const P3gppBoxField& field) {
  const std::span<const uint8_t> bytes(field.bytes.bytes, field.bytes.length);
  switch (field.kind) {
    case P3GPP_FIELD_TYPE:
      object[field.name] = type_text({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
      return;
    case P3GPP_FIELD_TEXT:
      return add_text(object, field.name, bytes, BoxList::kMostTextBytes, BoxList::kMostBytes);
    case P3GPP_FIELD_BYTES:
      object[field.name] = {{"length", bytes.size()}, {"hex", hex_text(bytes, BoxList::kMostBytes)}};
      return;
    case P3GPP_FIELD_FIXED:
      object[field.name] = from_fixed(static_cast<uint32_t>(field.number));
      return;
    case P3GPP_FIELD_LANGUAGE:
      object[field.name] = language_text(static_cast<uint32_t>(field.number));
      return;
    case P3GPP_FIELD_SIGNED:
      object[field.name] = static_cast<int64_t>(field.number);
      return;
    default:
      object[field.name] = field.number;
  }
}

// The boxes of an open file by offset and path.
class KeptBoxes {
 public:
  explicit KeptBoxes(P3gppFile* file) {
    const P3gppBoxVisitor visitor{this, add, nullptr};
    is_complete_ = P3GPP_WalkBoxes(file, &visitor) == P3GPP_OK && is_complete_;
    std::sort(places_.begin(), places_.end());
  }
  bool is_complete() const { return is_complete_; }
  bool contains(uint64_t offset, const std::string& path) const {
    return std::binary_search(places_.begin(), places_.end(), Place{offset, std::hash<std::string>()(path)});
  }

 private:
  using Place = std::pair<uint64_t, size_t>;  // a hash, since the paths of all boxes would be many bytes

  static void add(void* caller, const P3gppBox* box) noexcept {
    auto& self = *static_cast<KeptBoxes*>(caller);
    try {
      self.places_.emplace_back(box->offset, std::hash<std::string>()(box->path));
    } catch (...) {
      self.is_complete_ = false;
    }
  }

  std::vector<Place> places_;
  bool is_complete_ = true;
};

}  // namespace

void BoxList::add_box(void* caller, const P3gppBox* box) noexcept {
  auto& list = *static_cast<BoxList*>(caller);
  list.takes_fields_ = false;
  try {
    if (list.boxes_.size() < kMostBoxes) return list.add(*box);
  } catch (...) {  // out of memory: as if there were too many
  }
  ++list.boxes_left_out_;
}

void BoxList::add(const P3gppBox& box) {
  Json json{{"path", box.path},       {"type", type_text({box.type, 4})}, {"offset", box.offset},
            {"size", box.size},       {"version", box.version},           {"flags", box.flags},
            {"state", state_of(box)}, {"fields", Json::object()}};
  if (box.status != P3GPP_OK) json["status"] = box.status;
  boxes_.push_back(std::move(json));
  takes_fields_ = true;
  takes_entry_ = true;
  entry_ = 0;
}

void BoxList::add_field(void* caller, const P3gppBoxField* field) noexcept {
  auto& list = *static_cast<BoxList*>(caller);
  if (!list.takes_fields_) return;
  const bool begins_entry = field->entry != list.entry_;
  list.entry_ = field->entry;
  if (begins_entry && list.entries_ == kMostEntries) list.takes_entry_ = false;
  try {
    if (field->entry == 0 || list.takes_entry_) return list.add(*field, begins_entry);
  } catch (...) {
    list.takes_entry_ = false;
  }
  if (begins_entry) ++list.entries_left_out_;
}

void BoxList::add(const P3gppBoxField& field, bool begins_entry) {
  Json& box = boxes_.back();
  if (field.entry == 0) return set_field(box["fields"], field);
  Json& entries = box["entries"];
  if (begins_entry) {
    entries.push_back(Json::object());
    ++entries_;
  }
  set_field(entries.back(), field);
}

void BoxList::sort_by_place() {
  std::stable_sort(boxes_.begin(), boxes_.end(), [](const Json& a, const Json& b) {
    return a["offset"].get<uint64_t>() < b["offset"].get<uint64_t>();
  });
}

void BoxList::mark_kept(P3gppFile* file) {
  const KeptBoxes kept(file);
  if (!kept.is_complete()) return;
  // Some containers have no record of their own: they are kept where something inside is.
  std::unordered_set<std::string> parents;
  for (auto box = boxes_.rbegin(); box != boxes_.rend(); ++box) {
    Json& state = (*box)["state"];
    if (state != "read") continue;
    const auto path = (*box)["path"].get<std::string>();
    const bool holds_kept = parents.erase(path) != 0;
    const bool is_kept = holds_kept || kept.contains((*box)["offset"].get<uint64_t>(), path);
    state = is_kept ? "kept" : "dropped";
    if (is_kept) parents.insert(path.substr(0, path.rfind('/')));
  }
}

void BoxList::add_time_scales() {
  std::map<std::string, Json> scales;  // by the path of the container whose times they are
  const auto scale_of = [&](const std::string& container) {
    const auto found = scales.find(container);
    return found == scales.end() ? Json() : found->second;
  };
  for (const Json& box : boxes_) {
    if (box["type"] != "mvhd" && box["type"] != "mdhd") continue;
    const auto path = box["path"].get<std::string>();
    const size_t header_length =
        path.ends_with("/mdia/mdhd") ? std::strlen("/mdia/mdhd") : std::strlen("/mvhd");
    if (box["fields"].contains("time_scale")) {
      scales[path.substr(0, path.size() - header_length)] = box["fields"]["time_scale"];
    }
  }
  for (Json& box : boxes_) {
    const bool is_edits = box["type"] == "elst";
    if (!is_edits && box["type"] != "tkhd") continue;
    const auto path = box["path"].get<std::string>();
    box["movie_time_scale"] = scale_of(path.substr(0, path.find('/')));
    if (is_edits) box["media_time_scale"] = scale_of(path.substr(0, path.find('/', path.find('/') + 1)));
  }
}

}  // namespace zdr::host
