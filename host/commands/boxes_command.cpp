// `zdr boxes`: lists the boxes of a file to its end, and what the parser did with each: stored, dropped,
// refused, not read. For a file that does not open, it lists what was read before the failure, and the
// reason.
#include <algorithm>
#include <optional>
#include <ostream>

#include "host/commands/box_output.h"
#include "host/commands/commands.h"
#include "host/inspect/diagnosis/left_out.h"
#include "host/inspect/diagnosis/open_diagnosis.h"
#include "host/inspect/files/read_failure.h"
#include "host/inspect/iso/box_completion.h"
#include "host/inspect/iso/box_tree.h"
#include "host/inspect/iso/box_walk.h"
#include "host/inspect/iso/parsed_movie.h"
#include "host/json/json_report.h"
#include "host/memory.h"
#include "host/messages.h"
#include "host/terminal.h"

namespace zdr::host {
namespace {

constexpr size_t kMostReported = 16;  // gaps and the like; a hostile file may have thousands

// A file with its boxes.
class BoxView {
 public:
  BoxView(const std::string& file, const Options& options, Messages& messages)
      : file_(file), options_(options), messages_(messages), movie_(file, &tree_.visitor()) {}

  // Completes the tree. Throws std::bad_alloc.
  void complete();
  ExitCode report();
  void print(std::ostream& out) const;
  void add_to(JsonWriter& json) const;

 private:
  // Counts the boxes of the type that --entries names.
  class Counter;

  ExitCode report_structure();
  ExitCode report_missing();
  void note_not_shown(const std::string& reason) {
    messages_.note({MessageCode::kNotShown, file_, {}, reason, ""});
  }
  void write_failure(JsonWriter& json) const;

  const std::string& file_;
  const Options& options_;
  Messages& messages_;
  BoxTree tree_;
  const ParsedMovie movie_;
  EntryChoice choice_;
  LeftOutBoxes left_out_;
};

class BoxView::Counter final : public BoxSink {
 public:
  explicit Counter(std::string_view type) : type_(type) {}
  void begin_box(const BoxRecord& box, const BoxContext& /*context*/) override {
    count_ += box.is(type_) ? 1 : 0;
  }
  void end_box(const BoxRecord& /*box*/) override {}
  size_t count() const { return count_; }

 private:
  std::string_view type_;
  size_t count_ = 0;
};

void BoxView::complete() {
  if (!tree_.is_complete()) throw std::bad_alloc();
  if (movie_.is_open()) tree_.mark_stored(movie_.file());
  choice_.table = options_.entries;
  choice_.most = options_.all_entries ? UINT64_MAX : options_.most_entries;
  FileStream stream(file_);
  if (movie_.is_open() && !stream.is_open()) throw_exhausted();  // which the file manager does not report
  left_out_ = complete_tree(tree_, stream, choice_);
  const std::vector<BoxIndex> boxes = tree_.children(kNoBox);
  const auto is_gap = [this](BoxIndex index) { return tree_.box(index).state == BoxState::kGap; };
  if (std::ranges::all_of(boxes, is_gap)) tree_.set_children(kNoBox, {});
}

// Reports gaps, overlaps and boxes that are cut off at the top level, where boxes must follow one another.
ExitCode BoxView::report_structure() {
  ExitCode worst = ExitCode::kDone;
  size_t found = 0;
  const auto report = [&](ExitCode exit_code, MessageCode code, Place place, const std::string& reason) {
    worst = worse_of(worst, exit_code);
    if (++found <= kMostReported) messages_.report(file_, {exit_code, code, std::move(place), reason, ""});
  };
  for (const BoxIndex index : tree_.children(kNoBox)) {
    const BoxRecord& box = tree_.box(index);
    const Place place = Place::box(box.path, box.offset, box.size);
    if (box.state == BoxState::kGap)
      report(
          ExitCode::kDone, MessageCode::kFileDamaged, {},
          "has " + counted(box.size, "byte") + " outside any box, at offset " + std::to_string(box.offset));
    if (box.overlap != 0)
      report(ExitCode::kDone, MessageCode::kFileDamaged, place,
             "overlaps the previous box by " + counted(box.overlap, "byte"));
    if (box.excess != 0 && box.state != BoxState::kFailed)
      report(ExitCode::kLoss, MessageCode::kCutOff, place,
             "cut off: extends " + counted(box.excess, "byte") + " past the end of the file");
  }
  if (found > kMostReported)
    note_not_shown(std::to_string(found - kMostReported) + " more places like these are not listed");
  return worst;
}

// Reports a branch or a table that the file does not have.
ExitCode BoxView::report_missing() {
  Counter counter(options_.entries);
  const size_t named = walk_tree(tree_, options_.path, counter);
  const auto report = [this](const std::string& what) {
    return messages_.report(file_,
                            {ExitCode::kNotSupported, MessageCode::kBoxMissing, {}, "has no " + what, ""});
  };
  if (!options_.path.empty() && named == 0) return report("box " + options_.path);
  if (!options_.entries.empty() && counter.count() == 0)
    return report(options_.entries + " table" + (options_.path.empty() ? "" : " in " + options_.path));
  return ExitCode::kDone;
}

ExitCode BoxView::report() {
  ExitCode code = ExitCode::kDone;
  if (!movie_.is_open()) {
    code = messages_.report(file_, diagnose_parse(file_, movie_));
  } else if (code = report_read_failure(file_, messages_); code != ExitCode::kDone) {
    return code;
  } else if (const auto damage = find_damage(movie_)) {
    code = messages_.report(file_, *damage);
  }
  code = worse_of(code, report_structure());
  if (movie_.is_open()) code = worse_of(code, report_missing());
  if (tree_.boxes_left_out() != 0)
    note_not_shown("not shown: " + counted(tree_.boxes_left_out(), "more box"));
  if (left_out_.offset)
    note_not_shown("the boxes from offset " + std::to_string(*left_out_.offset) + " on are not shown");
  if (left_out_.are_deep)
    note_not_shown("boxes more than " + std::to_string(kMostBoxLevels) + " levels deep are not shown");
  if (tree_.entries_left_out() != 0)
    note_not_shown("not shown: " + counted(tree_.entries_left_out(), "more list entry"));
  return code;
}

void BoxView::print(std::ostream& out) const {
  BoxLines lines(tree_, choice_, shown_name(file_), out);
  walk_tree(tree_, options_.path, lines);
}

// The box that ended the open, if there is one.
void BoxView::write_failure(JsonWriter& json) const {
  const P3gppOpenError& error = movie_.error();
  json.begin_object("failure");
  json.member("status", movie_.status());
  if (error.path[0] != '\0') {
    json.member("box_status", error.status);
    json.member("path", std::string_view(error.path));
    json.member("offset", error.offset);
    json.member("size", error.size);
  }
  json.end_object();
}

void BoxView::add_to(JsonWriter& json) const {
  json.begin_array("boxes");
  BoxObjects objects(tree_, choice_, json);
  walk_tree(tree_, options_.path, objects);
  json.end_array();
  if (!movie_.is_open()) write_failure(json);
}

// Shows one file: adds it to `report`, or prints it as text if `report` is null.
ExitCode show_file(const std::string& file, const Options& options, Messages& messages, JsonReport* report,
                   std::ostream& out) {
  watch_reads(file);
  std::optional<BoxView> view;
  bool is_complete = false;
  const ExitCode code = report_memory(file, messages, [&] {
    view.emplace(file, options, messages);
    view->complete();
    if (report == nullptr) view->print(out);
    out.flush();
    const ExitCode result = view->report();
    is_complete = true;
    return result;
  });
  if (report == nullptr) return code;
  JsonWriter& json = report->begin_file(file, code);
  if (is_complete) view->add_to(json);
  end_json(json, messages);
  return code;
}

}  // namespace

ExitCode run_boxes(const Options& options, std::ostream& out) {
  return show_each_file(options, out, show_file);
}

}  // namespace zdr::host
