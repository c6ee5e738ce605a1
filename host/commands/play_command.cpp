// `zdr play`: writes each stream of each file to a separate file, or one stream to standard output.
#include <filesystem>
#include <list>
#include <ostream>
#include <set>

#include "host/commands/commands.h"
#include "host/graph/file_run.h"
#include "host/graph/stream_recorder.h"
#include "host/inspect/iso/edit_window.h"
#include "host/json/json_report.h"
#include "host/memory.h"
#include "host/terminal.h"
#include "host/writers/output_file.h"
#include "host/writers/standard_output.h"

namespace zdr::host {
namespace {

std::filesystem::path as_path(const std::string& utf8) {
  return std::filesystem::path(utf8);
}

bool uses_standard_output(const Options& options) {
  return options.output == "-";
}

// Plays one file.
class FilePlayback final : public ConsumerOwner {
 public:
  // `inputs` are all files of the run.
  FilePlayback(const std::string& file, const Options& options, const platform::FileSet& inputs,
               std::ostream& out)
      : file_(file),
        options_(options),
        inputs_(inputs),
        out_(out),
        messages_(options.quiet || options.json),
        run_(file_, options, FileRun::Use::kRecording, messages_, *this) {}

  ExitCode run();
  // Called instead of run() if the outputs would replace those of an earlier file of the same run.
  ExitCode refuse_duplicate_name();
  void report(JsonReport& report, ExitCode code);
  void print() const;

 private:
  PinConsumer& add_consumer(const std::string& pin_name, DeliveryGuard& guard) override;
  void drop_last_consumer() override { recorders_.pop_back(); }
  ExitCode prepare();
  void trim(StreamRecorder& recorder);
  ExitCode finish(StreamRecorder& recorder);
  void report_untrimmed(const StreamRecorder& recorder);
  ExitCode report_partial(const StreamRecorder& recorder);
  ExitCode check_damage(const StreamRecorder& recorder);
  ExitCode fail(ExitCode exit_code, MessageCode code, Place place, const std::string& reason) {
    return messages_.report(file_, {exit_code, code, std::move(place), reason, ""});
  }

  std::string file_;
  const Options& options_;
  const platform::FileSet& inputs_;
  std::ostream& out_;
  Messages messages_;
  std::list<StreamRecorder> recorders_;
  FileRun run_;
};

ExitCode FilePlayback::refuse_duplicate_name() {
  return fail(ExitCode::kCannotWrite, MessageCode::kOutputRefused, {},
              "not played: its outputs would replace those of an earlier file of the same name");
}

PinConsumer& FilePlayback::add_consumer(const std::string& pin_name, DeliveryGuard& guard) {
  const std::filesystem::path stem = as_path(options_.output) / as_path(file_).stem();
  std::ostream* const standard_output = uses_standard_output(options_) ? &out_ : nullptr;
  return recorders_.emplace_back(
      pin_name, guard,
      StreamRecorder::Settings{stem, options_.force, options_.decode, &inputs_, standard_output});
}

void FilePlayback::trim(StreamRecorder& recorder) {
  const ParsedMovie* const movie = run_.movie();
  if (movie == nullptr) return;
  const TrackRecord* const track = movie->first_track(track_type(recorder.is_audio()));
  const auto shown = track != nullptr ? find_shown_media(*movie, *track) : std::nullopt;
  if (shown) recorder.trim(*shown);
}

ExitCode FilePlayback::prepare() {
  const ExitCode prepared = run_.prepare();
  if (prepared != ExitCode::kDone) return prepared;
  if (uses_standard_output(options_) && recorders_.size() > 1) {
    return fail(ExitCode::kUsage, MessageCode::kOutputRefused, {},
                "has two streams; choose one with --only audio or --only video");
  }
  for (StreamRecorder& recorder : recorders_) {
    if (options_.trim) trim(recorder);
  }
  return ExitCode::kDone;
}

ExitCode FilePlayback::run() {
  const ExitCode prepared = report_memory(file_, messages_, [this] { return prepare(); });
  if (prepared != ExitCode::kDone) return prepared;
  ExitCode result = report_memory(
      file_, messages_, [this] { return run_.play("play it"); }, ExitCode::kLoss);
  if (interrupted()) result = ExitCode::kInterrupted;
  for (StreamRecorder& recorder : recorders_) {
    const auto finish_one = [&] { return finish(recorder); };
    result = worse_of(result, report_memory(file_, messages_, finish_one, ExitCode::kLoss));
  }
  return interrupted() ? messages_.report_interrupted(file_) : result;
}

ExitCode FilePlayback::finish(StreamRecorder& recorder) {
  if (run_.is_complete() && recorder.finish()) {
    report_untrimmed(recorder);
    return check_damage(recorder);
  }
  recorder.abandon();
  return report_partial(recorder);
}

void FilePlayback::report_untrimmed(const StreamRecorder& recorder) {
  const ShownMedia* const shown = recorder.untrimmed();
  if (shown == nullptr) return;
  std::string rest;
  for (const auto& [units, place] :
       {std::pair(shown->rest_before, "before"), std::pair(shown->rest_after, "after")}) {
    if (units == 0) continue;
    rest += (rest.empty() ? "" : " and ") + std::to_string(units) + "/" + std::to_string(shown->time_scale) +
            " s " + place;
  }
  messages_.note({MessageCode::kEditsNotApplied, file_, Place::pin(recorder.pin_name()),
                  "not trimmed: " + rest + " the edit, in access units that decoding needs", ""});
}

ExitCode FilePlayback::report_partial(const StreamRecorder& recorder) {
  // The program reports the failure of standard output by itself, unless the reader has closed it.
  if (uses_standard_output(options_) && !out_) return ExitCode::kCannotWrite;
  const OutputFile* output = recorder.file();
  const std::string partial_note = output != nullptr ? output->partial_note() : "";
  if (!recorder.error().empty()) {
    const std::string name = output != nullptr ? output->final_path().string() + ": " : "";
    return fail(ExitCode::kCannotWrite, MessageCode::kOutputFailed, Place::pin(recorder.pin_name()),
                name + recorder.error() + (partial_note.empty() ? "" : "; " + partial_note));
  }
  if (!partial_note.empty()) {
    messages_.error({MessageCode::kOutputPartial, file_, Place::pin(recorder.pin_name()), partial_note, ""});
  }
  return ExitCode::kDone;
}

ExitCode FilePlayback::check_damage(const StreamRecorder& recorder) {
  const StreamWriter* writer = recorder.writer();
  // The run has reported the units that contradict their codec, which a writer may find damaged too.
  if (writer == nullptr || writer->damaged_units() == 0 || recorder.damaged_units() != 0)
    return ExitCode::kDone;
  return fail(ExitCode::kLoss, MessageCode::kUnitsDamaged, Place::pin(recorder.pin_name()),
              counted(writer->damaged_units(), "damaged access unit") + ": " + writer->first_damage());
}

void FilePlayback::report(JsonReport& report, ExitCode code) {
  JsonWriter& json = report.begin_file(file_, code);
  json.begin_array("streams");
  for (const StreamRecorder& recorder : recorders_) {
    json.begin_object();
    json.member("pin", recorder.pin_name());
    json.member("samples", recorder.samples());
    json.member("payload_bytes", recorder.payload_bytes());
    const OutputFile* output = recorder.file();
    if (recorder.complete()) add_name(json, "output", output->final_path().native());
    if (output != nullptr && output->has_partial())
      add_name(json, "partial", output->partial_path().native());
    json.end_object();
  }
  json.end_array();
  end_json(json, messages_);
}

void FilePlayback::print() const {
  for (const StreamRecorder& recorder : recorders_) {
    if (!recorder.complete() || recorder.file() == nullptr) continue;
    out_ << shown_name(recorder.file()->final_path().string()) << ": "
         << counted(recorder.samples(), "sample") << ", " << counted(recorder.file()->size(), "byte") << "\n";
  }
}

ExitCode refuse_folder(const Options& options, const std::string& reason, JsonReport& report) {
  const Message message{MessageCode::kOutputRefused, "", {}, options.output + ": " + reason, ""};
  Messages(options.quiet).error(message);
  for (const std::string& file : options.json ? options.files : std::vector<std::string>()) {
    JsonWriter& json = report.begin_file(file, ExitCode::kCannotWrite);
    json.begin_array("streams");
    json.end_array();
    add_messages(json, "errors", {message});
    add_messages(json, "warnings", {});
    json.end_object();
  }
  return ExitCode::kCannotWrite;
}

ExitCode play_files(const Options& options, JsonReport& report, std::ostream& out) {
  ExitCode worst = ExitCode::kDone;
  std::set<std::filesystem::path> names;  // file names so far, with which their outputs begin
  platform::FileSet inputs;
  for (const std::string& file : options.files) inputs.add(file);
  for (const std::string& file : options.files) {
    FilePlayback playback(file, options, inputs, out);
    const bool is_duplicate = !names.insert(as_path(file).stem()).second;
    ExitCode code = is_duplicate ? playback.refuse_duplicate_name() : playback.run();
    if (code == ExitCode::kLoss && options.strict) code = ExitCode::kCannotOpen;
    worst = worse_of(worst, code);
    if (options.json) {
      playback.report(report, code);
    } else {
      playback.print();
    }
    if (code == ExitCode::kInterrupted) break;
  }
  return worst;
}

}  // namespace

ExitCode run_play(const Options& options, std::ostream& out) {
  catch_interrupts();
  if (Messages messages(options.quiet); uses_standard_output(options) && refuse_terminal(messages))
    return ExitCode::kCannotWrite;
  JsonReport report(out, options);
  const std::string folder_error =
      uses_standard_output(options) ? std::string() : create_folder(options.output);
  return folder_error.empty() ? play_files(options, report, out)
                              : refuse_folder(options, folder_error, report);
}

}  // namespace zdr::host
