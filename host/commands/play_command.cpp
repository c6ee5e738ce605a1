// `zdr play`: every stream of every file into a file of its own.
#include <filesystem>
#include <iostream>
#include <list>
#include <set>

#include "host/commands/commands.h"
#include "host/decoded_text.h"
#include "host/graph/play_range.h"
#include "host/graph/stream_recorder.h"
#include "host/inspect/left_out.h"
#include "host/inspect/parsed_file.h"
#include "host/json_report.h"
#include "host/terminal.h"

namespace zdr::host {
namespace {

std::filesystem::path as_path(const std::string& utf8) {
  return std::filesystem::path(utf8);
}

// One file being played.
class Playing {
 public:
  Playing(const std::string& file, const Options& options)
      : file_(file),
        options_(options),
        range_(play_range(options)),
        messages_(options.quiet || options.json),
        guard_(delivery_limit(options, file)),
        player_(file, messages_) {}

  ExitCode run();
  // For a file whose outputs would replace those of an earlier file of the same run.
  ExitCode refuse_taken_name();
  nlohmann::ordered_json json(ExitCode code);
  void print(std::ostream& out) const;

 private:
  bool wanted(const PinEntry& pin) const {
    return options_.only.empty() || (options_.only == "audio") == pin.is_audio();
  }
  ExitCode connect();
  ExitCode play();
  ExitCode finish(StreamRecorder& recorder, bool complete);
  ExitCode check_complete(const StreamRecorder& recorder);
  bool on_slice(ProgressLine& progress);
  void note(const std::string& place, const std::string& reason) {
    messages_.note({file_, place, reason, ""});
  }

  std::string file_;
  const Options& options_;
  const PlayRange range_;
  Messages messages_;
  DeliveryGuard guard_;
  std::list<StreamRecorder> recorders_;
  SourcePlayer player_;
};

ExitCode Playing::run() {
  if (const ExitCode loaded = player_.load(); loaded != ExitCode::kDone) return loaded;
  tell_left_out(file_, messages_);
  if (const ExitCode connected = connect(); connected != ExitCode::kDone) return connected;
  if (const ExitCode sought = player_.seek(range_); sought != ExitCode::kDone) return sought;
  return play();
}

ExitCode Playing::refuse_taken_name() {
  messages_.error(
      {file_, "", "not played: its outputs would replace those of the file of this name before it", ""});
  return ExitCode::kCannotWrite;
}

ExitCode Playing::connect() {
  const std::filesystem::path stem = as_path(options_.output) / as_path(file_).stem();
  for (const PinEntry& pin : player_.pins()) {
    if (!wanted(pin)) continue;
    if (pin.types.empty()) {
      note(pin.name, "not played: it offers no media type (codec or configuration not supported)");
      continue;
    }
    StreamRecorder& recorder = recorders_.emplace_back(
        stem, pin.name, StreamRecorder::Wishes{options_.force, options_.decode}, guard_);
    const HRESULT hr = player_.connect(pin, recorder, nullptr, nullptr);
    if (FAILED(hr)) {
      messages_.error(
          {file_, pin.name, "cannot be connected: " + std::string(hresult_name(hr)), hresult_text(hr)});
      recorders_.pop_back();
      continue;
    }
    recorder.set_type(SourcePlayer::connection_type(pin));
  }
  if (!recorders_.empty()) return ExitCode::kDone;
  messages_.error({file_, "", "no stream that can be played", ""});
  return ExitCode::kNotSupported;
}

bool Playing::on_slice(ProgressLine& progress) {
  int64_t position = 0;
  for (const StreamRecorder& recorder : recorders_) position = std::max(position, recorder.position());
  show_progress(progress, file_, range_, position, player_.duration());
  return !interrupted() && !guard_.tripped();
}

ExitCode Playing::play() {
  ExitCode result = ExitCode::kDone;
  {
    ProgressLine progress(!options_.quiet);
    result = player_.play([&] { return on_slice(progress); });
  }
  if (guard_.tripped()) {
    messages_.error(
        {file_, "", "the tables describe more data than the file holds (--allow-overlap plays it)", ""});
    result = worse_of(result, ExitCode::kLoss);
  }
  if (interrupted()) result = ExitCode::kInterrupted;
  const bool complete = result == ExitCode::kDone;
  for (StreamRecorder& recorder : recorders_) result = worse_of(result, finish(recorder, complete));
  if (!interrupted()) return result;
  messages_.error({file_, "", "interrupted", ""});
  return ExitCode::kInterrupted;
}

ExitCode Playing::finish(StreamRecorder& recorder, bool complete) {
  const bool written = complete && recorder.finish();
  if (written) {
    if (recorder.samples() == 0) note(recorder.pin_name(), "delivered no sample");
    return check_complete(recorder);
  }
  recorder.abandon();
  const OutputFile* output = recorder.output();
  std::string kept;
  if (output != nullptr && output->has_partial()) {
    kept = "what was written so far is kept as " + output->partial_path().string();
  }
  if (!recorder.error().empty()) {
    const std::string name = output != nullptr ? output->final_path().string() + ": " : "";
    messages_.error(
        {file_, recorder.pin_name(), name + recorder.error() + (kept.empty() ? "" : "; " + kept), ""});
    return ExitCode::kCannotWrite;
  }
  if (!kept.empty()) messages_.error({file_, recorder.pin_name(), kept, ""});
  return ExitCode::kDone;
}

// A whole play delivers every access unit of a track, but for those that the stop position leaves out.
ExitCode Playing::check_complete(const StreamRecorder& recorder) {
  ExitCode result = ExitCode::kDone;
  const StreamWriter* writer = recorder.writer();
  if (writer != nullptr && writer->damaged_units() > 0) {
    const std::string count = std::to_string(writer->damaged_units());
    messages_.error({file_, recorder.pin_name(), count + " damaged unit(s): " + writer->first_damage(), ""});
    result = ExitCode::kLoss;
  }
  if (!range_.is_whole || !is_iso_media(file_)) return result;
  const bool audio = recorder.pin_name().find("Audio") != std::string::npos;
  ProgressLine progress(!options_.quiet);
  const std::string label = progress_label(file_) + ": checking " + recorder.pin_name();
  const auto shortfall = find_shortfall(file_, audio ? P3GPP_TRACK_AUDIO : P3GPP_TRACK_VIDEO,
                                        recorder.payload_bytes(), [&](uint32_t done, uint32_t total) {
                                          progress.update(label, done, total);
                                          return !interrupted();
                                        });
  if (!shortfall) return result;
  const std::string counts = std::to_string(shortfall->delivered_units) + " of " +
                             std::to_string(shortfall->total_units) + " access units";
  if (!shortfall->cut_off) {
    note(recorder.pin_name(), counts + " lie before the stop position; the rest was left out");
    return result;
  }
  messages_.error({file_, recorder.pin_name(), "cut off: only " + counts + " are in the file", ""});
  return ExitCode::kLoss;
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

// Empty when the outputs' folder is there or could be made.
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
  std::set<std::filesystem::path> names;  // of the files so far, as their outputs carry them
  for (const std::string& file : options.files) {
    Playing playing(file, options);
    // Without --force the file that exists is reason enough.
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
