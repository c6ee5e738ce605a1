// `zdr play`: writes each stream of each file to a file of its own.
#include <filesystem>
#include <list>
#include <ostream>
#include <set>

#include "host/commands/commands.h"
#include "host/graph/file_run.h"
#include "host/graph/stream_recorder.h"
#include "host/inspect/shortfall.h"
#include "host/json_report.h"

namespace zdr::host {
namespace {

std::filesystem::path as_path(const std::string& utf8) {
  return std::filesystem::path(utf8);
}

// The play of one file.
class Playing final : public ConsumerOwner {
 public:
  Playing(const std::string& file, const Options& options)
      : file_(file),
        options_(options),
        messages_(options.quiet || options.json),
        run_(file_, options, messages_, *this) {}

  ExitCode run();
  // For a file whose outputs would replace those of an earlier file of the same run.
  ExitCode refuse_taken_name();
  nlohmann::ordered_json json(ExitCode code);
  void print(std::ostream& out) const;

 private:
  PinConsumer& add_consumer(const std::string& pin_name, DeliveryGuard& guard) override;
  void drop_last_consumer() override { recorders_.pop_back(); }
  void skip_pin(const std::string& pin_name) override;
  ExitCode finish(StreamRecorder& recorder, bool complete);
  ExitCode report_partial(const StreamRecorder& recorder);
  ExitCode check_complete(const StreamRecorder& recorder);
  ExitCode check_damage(const StreamRecorder& recorder);
  ExitCode check_shortfall(const StreamRecorder& recorder);
  void note(const std::string& place, const std::string& reason) {
    messages_.note({file_, place, reason, ""});
  }
  ExitCode fail(ExitCode code, const std::string& place, const std::string& reason) {
    messages_.error({file_, place, reason, ""});
    return code;
  }

  std::string file_;
  const Options& options_;
  Messages messages_;
  std::list<StreamRecorder> recorders_;
  FileRun run_;
};

ExitCode Playing::refuse_taken_name() {
  return fail(ExitCode::kCannotWrite, "",
              "not played: its outputs would replace those of the file of this name before it");
}

PinConsumer& Playing::add_consumer(const std::string& pin_name, DeliveryGuard& guard) {
  const std::filesystem::path stem = as_path(options_.output) / as_path(file_).stem();
  return recorders_.emplace_back(pin_name, guard,
                                 StreamRecorder::Settings{stem, options_.force, options_.decode});
}

void Playing::skip_pin(const std::string& pin_name) {
  note(pin_name, "not played: it offers no media type (codec or configuration not supported)");
}

ExitCode Playing::run() {
  if (const ExitCode prepared = run_.prepare(); prepared != ExitCode::kDone) return prepared;
  ExitCode result = run_.play("plays it");
  if (interrupted()) result = ExitCode::kInterrupted;
  const bool complete = result == ExitCode::kDone;
  for (StreamRecorder& recorder : recorders_) result = worse_of(result, finish(recorder, complete));
  return interrupted() ? fail(ExitCode::kInterrupted, "", "interrupted") : result;
}

ExitCode Playing::finish(StreamRecorder& recorder, bool complete) {
  const bool written = complete && recorder.finish();
  if (!written) {
    recorder.abandon();
    return report_partial(recorder);
  }
  if (recorder.samples() == 0) note(recorder.pin_name(), "delivered no sample");
  return check_complete(recorder);
}

ExitCode Playing::report_partial(const StreamRecorder& recorder) {
  const OutputFile* output = recorder.output();
  std::string kept;
  if (output != nullptr && output->has_partial()) {
    kept = "what was written so far is kept as " + output->partial_path().string();
  }
  if (!recorder.error().empty()) {
    const std::string name = output != nullptr ? output->final_path().string() + ": " : "";
    return fail(ExitCode::kCannotWrite, recorder.pin_name(),
                name + recorder.error() + (kept.empty() ? "" : "; " + kept));
  }
  return kept.empty() ? ExitCode::kDone : fail(ExitCode::kDone, recorder.pin_name(), kept);
}

// A play of the whole file delivers every access unit of a track, except those that the stop position leaves
// out.
ExitCode Playing::check_complete(const StreamRecorder& recorder) {
  const ExitCode damage = check_damage(recorder);
  return worse_of(damage, check_shortfall(recorder));
}

ExitCode Playing::check_damage(const StreamRecorder& recorder) {
  const StreamWriter* writer = recorder.writer();
  if (writer == nullptr || writer->damaged_units() == 0) return ExitCode::kDone;
  return fail(ExitCode::kLoss, recorder.pin_name(),
              std::to_string(writer->damaged_units()) + " damaged unit(s): " + writer->first_damage());
}

ExitCode Playing::check_shortfall(const StreamRecorder& recorder) {
  if (!run_.range().is_whole || run_.movie() == nullptr) return ExitCode::kDone;
  ProgressLine progress(!options_.quiet);
  const std::string label = progress_label(file_) + ": checking " + recorder.pin_name();
  const auto shortfall =
      find_shortfall(*run_.movie(), file_, recorder.is_audio() ? P3GPP_TRACK_AUDIO : P3GPP_TRACK_VIDEO,
                     recorder.payload_bytes(), [&](uint32_t done, uint32_t total) {
                       progress.update(label, done, total);
                       return !interrupted();
                     });
  if (!shortfall) return ExitCode::kDone;
  const std::string counts = std::to_string(shortfall->delivered_units) + " of " +
                             std::to_string(shortfall->total_units) + " access units";
  if (shortfall->cut_off) {
    return fail(ExitCode::kLoss, recorder.pin_name(), "cut off: only " + counts + " are in the file");
  }
  note(recorder.pin_name(), counts + " lie before the stop position; the rest was left out");
  return ExitCode::kDone;
}

nlohmann::ordered_json Playing::json(ExitCode code) {
  nlohmann::ordered_json json = begin_file_json(file_, code);
  json["streams"] = nlohmann::ordered_json::array();
  for (const StreamRecorder& recorder : recorders_) {
    nlohmann::ordered_json stream{{"pin", recorder.pin_name()},
                                  {"samples", recorder.samples()},
                                  {"payload_bytes", recorder.payload_bytes()}};
    const OutputFile* output = recorder.output();
    if (recorder.complete()) add_name(stream, "output", output->final_path().string());
    if (output != nullptr && output->has_partial()) {
      add_name(stream, "partial", output->partial_path().string());
    }
    json["streams"].push_back(stream);
  }
  end_json(json, messages_);
  return json;
}

void Playing::print(std::ostream& out) const {
  for (const StreamRecorder& recorder : recorders_) {
    if (!recorder.complete()) continue;
    out << recorder.output()->final_path().string() << ": " << recorder.samples() << " samples, "
        << recorder.output()->size() << " bytes\n";
  }
}

// Empty if the folder for the outputs exists or could be created.
std::string why_no_folder(const Options& options) {
  if (options.output.empty()) return {};
  std::error_code code;
  std::filesystem::create_directories(as_path(options.output), code);
  const bool usable = std::filesystem::is_directory(as_path(options.output), code);
  return usable ? "" : "is not a folder that can be written to";
}

ExitCode refuse_folder(const Options& options, const std::string& reason, JsonReport& report) {
  Messages(options.quiet).error({options.output, "", reason, ""});
  for (const std::string& file : options.files) {
    nlohmann::ordered_json json = begin_file_json(file, ExitCode::kCannotWrite);
    json["streams"] = nlohmann::ordered_json::array();
    json["errors"] = {options.output + ": " + reason};
    json["warnings"] = nlohmann::ordered_json::array();
    report.add(std::move(json));
  }
  return ExitCode::kCannotWrite;
}

ExitCode play_files(const Options& options, JsonReport& report, std::ostream& out) {
  ExitCode worst = ExitCode::kDone;
  std::set<std::filesystem::path> names;  // how the outputs of the files so far begin
  for (const std::string& file : options.files) {
    Playing playing(file, options);
    // Without --force the existing file is an error anyway.
    const bool taken = !names.insert(as_path(file).stem()).second && options.force;
    ExitCode code = taken ? playing.refuse_taken_name() : playing.run();
    if (code == ExitCode::kLoss && options.strict) code = ExitCode::kCannotOpen;
    worst = worse_of(worst, code);
    if (options.json) {
      report.add(playing.json(code));
    } else {
      playing.print(out);
    }
    if (code == ExitCode::kInterrupted) break;
  }
  return worst;
}

}  // namespace

ExitCode run_play(const Options& options, std::ostream& out) {
  catch_interrupts();
  JsonReport report(options.files.size());
  const std::string no_folder = why_no_folder(options);
  const ExitCode worst =
      no_folder.empty() ? play_files(options, report, out) : refuse_folder(options, no_folder, report);
  if (options.json) report.print(out);
  return worst;
}

}  // namespace zdr::host
