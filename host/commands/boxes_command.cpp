// `zdr boxes`: lists the boxes of a file and what the parser did with each: kept, dropped, skipped or
// refused. For a file that does not open, it lists what was read before the failure, and the reason.
#include <algorithm>
#include <cstring>
#include <map>
#include <optional>
#include <ostream>
#include <utility>

#include "filters/source/mp4/interfaces/source_kind.h"
#include "host/commands/commands.h"
#include "host/decoded_text.h"
#include "host/inspect/box_list.h"
#include "host/inspect/left_out.h"
#include "host/inspect/open_diagnosis.h"
#include "host/inspect/parsed_movie.h"
#include "host/inspect/read_failure.h"
#include "host/json_report.h"
#include "host/memory.h"
#include "host/messages.h"
#include "host/terminal.h"

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
  return hex_text(bytes.front, kShownBytes) + (is_whole ? "" : "...") + " (" + std::to_string(bytes.length) +
         " bytes)";
}

std::string field_text(const Field& field) {
  const std::string begin = std::string("  ") + field.name + "=";
  const auto* bytes = std::get_if<BytesView>(&field.value);
  if (bytes != nullptr) return begin + bytes_text(*bytes);
  const auto* plain = std::get_if<std::string>(&field.value);
  if (plain != nullptr) return begin + quoted(*plain);
  const auto* text = std::get_if<TextView>(&field.value);
  if (text == nullptr) return begin + number_text(field.value);
  const std::string length =
      text->is_cut() ? std::string("  ") + field.name + "_bytes=" + std::to_string(text->length) : "";
  return begin + quoted(decode_text(text->front).utf8) + length;
}

std::string state_text(const BoxRecord& box) {
  const std::string status = " [" + std::to_string(box.status) + "]";
  if (box.state == BoxState::kFailed) return "  FAILED" + status;
  if (box.state == BoxState::kRefused) return "  REFUSED" + status;
  if (box.state == BoxState::kSkipped) return "  (skipped)";
  std::string text = "  version " + std::to_string(box.version);
  if (box.flags != 0) text += " flags " + std::to_string(box.flags);
  return box.state == BoxState::kDropped ? text + "  (not kept)" : text;
}

std::string indent_of(const std::string& path) {
  const auto depth = static_cast<size_t>(std::count(path.begin(), path.end(), '/'));
  return std::string(2 * depth + 2, ' ');
}

std::string name_of(const std::string& path) {
  return path.substr(path.rfind('/') + 1);
}

void print_box(const BoxList& list, const BoxRecord& box, std::ostream& out) {
  const std::string indent = indent_of(box.path);
  out << indent << name_of(box.path) << "  @" << box.offset << " size " << box.size << state_text(box);
  uint32_t entry = 0;
  for (size_t number = box.first_field; number < box.first_field + box.fields; ++number) {
    if (std::exchange(entry, list.entry_of(number)) != list.entry_of(number)) {
      out << "\n" << indent << "  [" << entry << "]";
    }
    out << field_text(list.field(number));
  }
  out << "\n";
}

// A container beyond the limit of the list still gets a line, so that the tree has no gaps.
void print_missing_parents(const std::string& path, const std::string& before, std::ostream& out) {
  for (size_t end = path.find('/'); end != std::string::npos; end = path.find('/', end + 1)) {
    const std::string parent = path.substr(0, end);
    if (before == parent || before.starts_with(parent + "/")) continue;
    out << indent_of(parent) << name_of(parent) << "\n";
  }
}

void print_text(const std::string& file, const BoxList& list, std::ostream& out) {
  out << shown_name(file) << "\n";
  std::string before;
  for (const BoxRecord& box : list.boxes()) {
    print_missing_parents(box.path, before, out);
    print_box(list, box, out);
    before = box.path;
  }
}

// --- As JSON ---

// The time scales of the movie and of the tracks, by the path of their container.
class TimeScales {
 public:
  explicit TimeScales(const BoxList& list) {
    for (const BoxRecord& box : list.boxes()) {
      if (box.is("mvhd")) add(list, box, "/mvhd");
      if (box.is("mdhd")) add(list, box, "/mdia/mdhd");
    }
  }
  // Adds the scale of the container, or null if it has none.
  void add_to(JsonWriter& json, std::string_view name, std::string_view container) const {
    json.key(name);
    const auto found = scales_.find(container);
    if (found == scales_.end()) return json.value(nullptr);
    json.value(found->second);
  }

 private:
  void add(const BoxList& list, const BoxRecord& box, std::string_view path_in_container) {
    if (!box.path.ends_with(path_in_container)) return;
    const std::string container = box.path.substr(0, box.path.size() - path_in_container.size());
    for (size_t number = box.first_field; number < box.first_field + box.fields; ++number) {
      const Field field = list.field(number);
      if (std::string_view(field.name) == "time_scale") scales_[container] = std::get<uint64_t>(field.value);
    }
  }

  std::map<std::string, uint64_t, std::less<>> scales_;
};

const char* state_name(BoxState state) {
  constexpr const char* kNames[] = {"read", "failed", "skipped", "refused", "kept", "dropped"};
  return kNames[static_cast<size_t>(state)];
}

// Writes the fields from `number` to `end` that belong to one entry, and moves `number` beyond them.
void write_fields(JsonWriter& json, const BoxList& list, size_t& number, size_t end, uint32_t entry) {
  json.begin_object();
  for (; number < end && list.entry_of(number) == entry; ++number) add_field(json, list.field(number));
  json.end_object();
}

void write_box(JsonWriter& json, const BoxList& list, const BoxRecord& box, const TimeScales& scales) {
  json.begin_object();
  json.member("path", box.path);
  json.member("type", type_text({box.type.data(), box.type.size()}));
  json.member("offset", box.offset);
  json.member("size", box.size);
  json.member("version", box.version);
  json.member("flags", box.flags);
  json.member("state", state_name(box.state));
  json.key("fields");
  size_t number = box.first_field;
  const size_t end = number + box.fields;
  write_fields(json, list, number, end, 0);
  if (box.status != P3GPP_OK) json.member("status", box.status);
  if (number < end) {
    json.begin_array("entries");
    while (number < end) write_fields(json, list, number, end, list.entry_of(number));
    json.end_array();
  }
  const std::string_view path = box.path;
  const size_t movie_end = path.find('/');
  const bool is_edits = box.is("elst");
  if (is_edits || box.is("tkhd")) scales.add_to(json, "movie_time_scale", path.substr(0, movie_end));
  if (is_edits) scales.add_to(json, "media_time_scale", path.substr(0, path.find('/', movie_end + 1)));
  json.end_object();
}

// The box that ended the open, if there is one.
void write_failure(JsonWriter& json, const ParsedMovie& movie) {
  const P3gppOpenError& error = movie.error();
  json.begin_object();
  json.member("status", movie.status());
  if (error.path[0] != '\0') {
    json.member("box_status", error.status);
    json.member("path", std::string_view(error.path));
    json.member("offset", error.offset);
    json.member("size", error.size);
  }
  json.end_object();
}

void write_json(JsonWriter& json, const std::string& file, ExitCode code, const ParsedMovie& movie,
                const BoxList& list, Messages& messages) {
  const TimeScales scales(list);
  begin_file_json(json, file, code);
  json.begin_array("boxes");
  for (const BoxRecord& box : list.boxes()) write_box(json, list, box, scales);
  json.end_array();
  if (!movie.is_open()) {
    json.key("failure");
    write_failure(json, movie);
  }
  end_json(json, messages);
}

ExitCode report(const std::string& file, const ParsedMovie& movie, const BoxList& list, Messages& messages) {
  const auto note = [&](size_t count, const char* what) {
    if (count != 0)
      messages.note(
          {MessageCode::kNotShown, file, {}, std::to_string(count) + " more " + what + " are not shown", ""});
  };
  if (movie.is_open() && mp4source::source_kind_of(file) == mp4source::SOURCE_KIND_MP4)
    report_left_out(file, &movie, std::nullopt, false, messages);
  note(list.boxes_left_out(), "boxes");
  note(list.entries_left_out(), "list entries");
  if (movie.is_open()) return report_read_failure(file, messages);
  return messages.report(file, diagnose_parse(file, movie));
}

ExitCode list_boxes(const std::string& file, const Options& options, Messages& messages, std::ostream& out) {
  watch_reads(file);
  BoxList list;
  const ParsedMovie movie(file, &list.visitor());
  if (!list.is_complete()) throw std::bad_alloc();
  list.sort_by_offset();
  if (movie.is_open()) list.mark_stored(movie.file());
  if (!options.json) print_text(file, list, out);
  out.flush();
  const ExitCode code = report(file, movie, list, messages);
  if (!options.json) return code;
  JsonWriter json(out);
  write_json(json, file, code, movie, list, messages);
  return code;
}

}  // namespace

ExitCode run_boxes(const Options& options, std::ostream& out) {
  const std::string& file = options.files.front();
  Messages messages(options.quiet || options.json);
  return report_memory(file, messages, [&] { return list_boxes(file, options, messages, out); });
}

}  // namespace zdr::host
