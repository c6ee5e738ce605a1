// Writes boxes as lines and as JSON.
#include "host/commands/box_output.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>

#include "host/messages.h"
#include "host/text/decoded_text.h"
#include "host/text/time_text.h"

namespace zdr::host {
namespace {

constexpr size_t kShownBytes = 16;  // of a field, in the text output
constexpr size_t kShownTextBytes = 256;

// --- As text ---

std::string quoted(const std::string& text) {
  const size_t length = front_length(as_bytes(text), kShownTextBytes);
  return "\"" + printable(text.substr(0, length)) + (length < text.size() ? "\"..." : "\"");
}

std::string bytes_text(const BytesView& bytes) {
  const bool is_whole = bytes.length <= kShownBytes;
  return hex_text(bytes.front, kShownBytes) + (is_whole ? "" : "...") + " (" + counted(bytes.length, "byte") +
         ")";
}

struct ItemText {
  std::string operator()(uint64_t value) const { return std::to_string(value); }
  std::string operator()(double value) const { return number_text(value); }
  std::string operator()(const std::string& value) const { return quoted(value); }
};

std::string array_text(const ArrayView& array) {
  std::string text;
  for (size_t i = 0; i < array.size(); ++i) {
    const std::optional<ArrayView::Item> item = array.at(i);
    if (item) text += (text.empty() ? "" : ", ") + std::visit(ItemText(), *item);
  }
  return text == "1.0, 0.0, 0.0, 0.0, 1.0, 0.0, 0.0, 0.0, 1.0" ? "identity" : "[" + text + "]";
}

std::string field_text(const Field& field) {
  const std::string begin = std::string("  ") + field.name + "=";
  if (const auto* bytes = std::get_if<BytesView>(&field.value)) return begin + bytes_text(*bytes);
  if (const auto* plain = std::get_if<std::string>(&field.value)) return begin + quoted(*plain);
  if (const auto* name = std::get_if<std::string_view>(&field.value))
    return begin + quoted(std::string(*name));
  if (const auto* array = std::get_if<ArrayView>(&field.value)) return begin + array_text(*array);
  const auto* text = std::get_if<TextView>(&field.value);
  if (text == nullptr) return begin + number_text(field.value);
  const std::string length =
      text->is_cut() ? std::string("  ") + field.name + "_bytes=" + std::to_string(text->length) : "";
  return begin + quoted(decode_text(text->front).utf8) + length;
}

std::string state_text(const BoxRecord& box) {
  const std::string status = " [" + std::to_string(box.status) + "]";
  std::string text;
  if (box.has_version) text = "  version " + std::to_string(box.version);
  if (box.has_version && box.flags != 0) text += " flags " + std::to_string(box.flags);
  if (box.state == BoxState::kFailed) text += "  FAILED" + status;
  if (box.state == BoxState::kRefused) text += "  REFUSED" + status;
  if (box.state == BoxState::kNotRead) text += "  (not read)";
  if (box.state == BoxState::kDropped) text += "  (dropped)";
  if (box.overlap != 0) text += "  (overlaps " + counted(box.overlap, "byte") + " of what precedes it)";
  if (box.excess != 0) text += "  (cut off by " + counted(box.excess, "byte") + ")";
  return text;
}

// Appends the fields of a box to its line, and adds a line for each entry.
class FieldTexts final : public FieldSink {
 public:
  FieldTexts(const std::string& indent, const BoxContext& context, std::ostream& out)
      : indent_(indent), context_(context), out_(out) {}

  void add(const Field& field) override {
    const std::string_view name = field.name;
    if (name == "time_scale") own_scale_ = std::get<uint64_t>(field.value);
    out_ << field_text(field);
    if (name == "duration") print_time(field, own_scale_ ? own_scale_ : context_.movie_time_scale);
    if (name == "segment_duration") print_time(field, context_.movie_time_scale);
    if (name == "media_time") print_time(field, context_.media_time_scale);
  }
  void begin_entry() override { out_ << "\n" << indent_ << "  [" << ++entry_ << "]"; }
  void leave_out(uint64_t entries) override {
    out_ << "\n" << indent_ << "  ... " << counted(entries, "more entry");
  }

 private:
  // Appends the value as a time, unless it is that of an empty edit or cannot be one.
  void print_time(const Field& field, const std::optional<uint64_t>& scale) {
    const auto* const units = std::get_if<uint64_t>(&field.value);
    const auto* const edit_units = std::get_if<int64_t>(&field.value);
    if (!scale || *scale == 0 || (units == nullptr && (edit_units == nullptr || *edit_units < 0))) return;
    const auto count = units != nullptr ? *units : static_cast<uint64_t>(*edit_units);
    const double seconds = static_cast<double>(count) / static_cast<double>(*scale);
    constexpr double kMostSeconds = 1e9;
    if (seconds >= kMostSeconds) return;
    out_ << " (" << format_time(std::llround(seconds * static_cast<double>(kUnitsPerSecond))) << ")";
  }

  const std::string& indent_;
  const BoxContext& context_;
  std::ostream& out_;
  size_t entry_ = 0;
  std::optional<uint64_t> own_scale_;
};

}  // namespace

void BoxLines::begin_box(const BoxRecord& box, const BoxContext& context) {
  if (!heading_.empty()) out_ << std::exchange(heading_, {}) << "\n";
  const std::string indent(2 * depth_++, ' ');
  if (box.state == BoxState::kGap) {
    out_ << indent << "(no box)  @" << box.offset << " size " << box.size << "\n";
    return;
  }
  out_ << indent << box.path.substr(box.path.rfind('/') + 1) << "  @" << box.offset << " size " << box.size
       << state_text(box);
  FieldTexts texts(indent, context, out_);
  describe_box(tree_, box, context.container, choice_, texts);
  out_ << "\n";
}

// --- As JSON ---

namespace {

const char* state_name(BoxState state) {
  constexpr const char* kNames[] = {"read", "failed", "not-read", "refused", "stored", "dropped", "gap"};
  return kNames[static_cast<size_t>(state)];
}

// Writes "fields" and "entries", each only if there are any.
class FieldObjects final : public FieldSink {
 public:
  explicit FieldObjects(JsonWriter& json) : json_(json) {}

  void add(const Field& field) override {
    if (!is_in_object_) json_.begin_object("fields");
    is_in_object_ = true;
    add_field(json_, field);
  }
  void begin_entry() override {
    end_object();
    if (!has_entries_) json_.begin_array("entries");
    has_entries_ = is_in_object_ = true;
    json_.begin_object();
  }
  void leave_out(uint64_t entries) override { left_out_ = entries; }
  void end() {
    end_object();
    if (has_entries_) json_.end_array();
    if (left_out_ != 0) json_.member("entries_left_out", left_out_);
  }

 private:
  void end_object() {
    if (is_in_object_) json_.end_object();
    is_in_object_ = false;
  }

  JsonWriter& json_;
  bool is_in_object_ = false;
  bool has_entries_ = false;
  uint64_t left_out_ = 0;
};

void add_scale(JsonWriter& json, const char* name, const std::optional<uint64_t>& scale) {
  json.key(name);
  scale ? json.value(*scale) : json.value(nullptr);
}

}  // namespace

void BoxObjects::begin_box(const BoxRecord& box, const BoxContext& context) {
  json_.begin_object();
  const bool is_gap = box.state == BoxState::kGap;
  if (!is_gap) {
    json_.member("type", type_text(box.type_name()));
    json_.member("path", box.path);
  }
  json_.member("offset", box.offset);
  json_.member("size", box.size);
  json_.member("state", state_name(box.state));
  if (is_gap) return;
  if (box.status != P3GPP_OK) json_.member("status", box.status);
  if (box.has_version) {
    json_.member("version", box.version);
    json_.member("flags", box.flags);
  }
  if (box.overlap != 0) json_.member("overlap", box.overlap);
  if (box.excess != 0) json_.member("excess", box.excess);
  FieldObjects fields(json_);
  describe_box(tree_, box, context.container, choice_, fields);
  fields.end();
  const bool is_edits = box.is("elst");
  if (is_edits || box.is("tkhd")) add_scale(json_, "movie_time_scale", context.movie_time_scale);
  if (is_edits) add_scale(json_, "media_time_scale", context.media_time_scale);
  if (box.first_child != kNoBox) json_.begin_array("children");
}

void BoxObjects::end_box(const BoxRecord& box) {
  if (box.first_child != kNoBox) json_.end_array();
  json_.end_object();
}

}  // namespace zdr::host
