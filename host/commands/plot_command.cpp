// `zdr plot`: draws a file as an SVG picture, also a damaged one as far as it can be read.
#include <cmath>
#include <filesystem>
#include <optional>
#include <ostream>

#include "host/commands/commands.h"
#include "host/commands/landing_output.h"
#include "host/inspect/files/read_failure.h"
#include "host/json/json_report.h"
#include "host/memory.h"
#include "host/messages.h"
#include "host/plot/draw/picture.h"
#include "host/plot/gather/file_figure.h"
#include "host/terminal.h"
#include "host/text/time_text.h"
#include "host/writers/output_file.h"

namespace zdr::host {
namespace {

class FilePlot {
 public:
  FilePlot(const Options& options, Messages& messages)
      : options_(options), messages_(messages), file_(options.files.front()) {}

  ExitCode draw(std::ostream& out);
  void print(std::ostream& out) const;
  void write(JsonWriter& json, ExitCode code) const;

 private:
  ExitCode gather();
  ExitCode store(const std::string& picture, std::ostream& out);
  void write_tracks(JsonWriter& json) const;
  void write_seek(JsonWriter& json, const plot::SeekFigure& seek) const;

  const Options& options_;
  Messages& messages_;
  const std::string& file_;
  plot::FileFigure figure_;
  platform::FileSet inputs_;
  std::optional<OutputFile> output_;
  bool is_written_ = false;  // to a file
};

ExitCode FilePlot::gather() {
  ProgressLine progress(!options_.quiet);
  const plot::Watch watch = [&](uint64_t done, uint64_t total) {
    if (total != 0) progress.update(file_, done, total);
    return !interrupted();
  };
  return plot::gather_figure(
      {file_, options_.seek.empty() ? std::nullopt : parse_time(options_.seek), options_.stall_seconds},
      watch, messages_, figure_);
}

ExitCode FilePlot::draw(std::ostream& out) {
  const ExitCode code = worse_of(gather(), report_read_failure(file_, messages_));
  if (code == ExitCode::kInterrupted) return messages_.report_interrupted(file_);
  if (figure_.boxes.empty() && figure_.tracks.empty()) return code;
  return worse_of(code, store(plot::draw_picture(figure_), out));
}

ExitCode FilePlot::store(const std::string& picture, std::ostream& out) {
  if (options_.output == "-") {
    out << picture;  // the program reports a failure
    return ExitCode::kDone;
  }
  const std::string name = std::filesystem::path(file_).stem().string() + ".svg";
  inputs_.add(file_);
  output_.emplace(output_path(options_.output, name), options_.force, &inputs_);
  const Bytes bytes(reinterpret_cast<const uint8_t*>(picture.data()), picture.size());
  is_written_ = output_->open() && output_->write(bytes) && output_->commit();
  if (is_written_) return ExitCode::kDone;
  return messages_.report(file_, {ExitCode::kCannotWrite,
                                  MessageCode::kOutputFailed,
                                  {},
                                  output_->final_path().string() + ": " + output_->failure(),
                                  ""});
}

void FilePlot::print(std::ostream& out) const {
  if (is_written_)
    out << shown_name(output_->final_path().string()) << ": " << counted(output_->size(), "byte") << "\n";
}

void FilePlot::write_tracks(JsonWriter& json) const {
  json.begin_array("tracks");
  for (const plot::TrackFigure& track : figure_.tracks) {
    json.begin_object();
    json.member("name", track.name);
    json.member("codec", track.codec);
    json.member("units", track.units);
    json.member("payload_bytes", track.bytes);
    if (track.key_frames) json.member("key_frames", *track.key_frames);
    json.member("duration_100ns", std::llround(track.end * kUnitsPerSecond));
    json.member("peak_bit_rate", track.peak_bit_rate);
    json.member("lost_units", track.lost_units);
    json.end_object();
  }
  json.end_array();
}

void FilePlot::write_seek(JsonWriter& json, const plot::SeekFigure& seek) const {
  json.begin_object("seek");
  json.member("target_100ns", seek.target);
  json.begin_array("pins");
  for (const PinLanding& pin : seek.pins) {
    json.begin_object();
    json.member("pin", pin.pin);
    add_landing(json, pin);
    json.end_object();
  }
  json.end_array();
  json.end_object();
}

void FilePlot::write(JsonWriter& json, ExitCode code) const {
  begin_file_json(json, file_, code);
  if (is_written_) {
    add_name(json, "output", output_->final_path().native());
    json.member("size", output_->size());
  }
  write_tracks(json);
  if (figure_.seek) write_seek(json, *figure_.seek);
  end_json(json, messages_);
}

}  // namespace

ExitCode run_plot(const Options& options, std::ostream& out) {
  catch_interrupts();
  Messages messages(options.quiet || options.json);
  FilePlot plot(options, messages);
  const ExitCode code = report_memory(options.files.front(), messages, [&] { return plot.draw(out); });
  if (options.json) {
    JsonWriter json(out);
    plot.write(json, code);
  } else {
    plot.print(out);
  }
  return code;
}

}  // namespace zdr::host
