// `zdr samples`: prints one row per delivered media sample, one file and one pin after the other, the same in
// every run. As JSON, each row is a line, between one that names the file and one with the totals.
#include <list>
#include <memory>
#include <ostream>
#include <utility>

#include "host/commands/commands.h"
#include "host/commands/row_recorder.h"
#include "host/graph/file_run.h"
#include "host/json/json_report.h"
#include "host/memory.h"
#include "host/terminal.h"

namespace zdr::host {
namespace {

// Prints the header of the CSV before the first row.
class CsvHeader {
 public:
  explicit CsvHeader(const Options& options)
      : has_file_column_(options.files.size() > 1), is_due_(!options.json) {}

  void print(std::ostream& out) {
    if (std::exchange(is_due_, false)) out << (has_file_column_ ? "file," : "") << kRowHeader;
  }
  // What rows of the file begin with.
  std::string leading_fields(const std::string& file) const {
    return has_file_column_ ? csv_field(shown_name(file)) : "";
  }

 private:
  const bool has_file_column_;
  bool is_due_;
};

// The rows of one file.
class Listing final : public ConsumerOwner {
 public:
  Listing(const std::string& file, const Options& options, CsvHeader& header, Messages& messages)
      : file_(file),
        options_(options),
        header_(header),
        messages_(messages),
        run_(file, options, FileRun::Use::kListing, messages, *this) {}

  ExitCode run(std::ostream& out);
  void write_totals(JsonWriter& json) const;

 private:
  PinConsumer& add_consumer(const std::string& pin_name, DeliveryGuard& guard) override {
    return recorders_.emplace_back(pin_name, guard, options_.json, header_.leading_fields(file_));
  }
  void drop_last_consumer() override { recorders_.pop_back(); }
  ExitCode print(std::ostream& out);

  const std::string& file_;
  const Options& options_;
  CsvHeader& header_;
  Messages& messages_;
  std::list<RowRecorder> recorders_;
  FileRun run_;
};

ExitCode Listing::run(std::ostream& out) {
  if (const ExitCode prepared = run_.prepare(); prepared != ExitCode::kDone) return prepared;
  const ExitCode played = run_.play("list it");
  const bool has_rows = played == ExitCode::kDone || played == ExitCode::kLoss;
  return has_rows ? worse_of(played, print(out)) : played;
}

ExitCode Listing::print(std::ostream& out) {
  header_.print(out);
  ExitCode result = ExitCode::kDone;
  for (RowRecorder& recorder : recorders_) {
    if (recorder.print(out)) continue;
    messages_.error({MessageCode::kOutputFailed, file_, Place::pin(recorder.pin_name()),
                     "the rows could not be stored in a temporary file", ""});
    result = ExitCode::kCannotWrite;
  }
  return result;
}

void Listing::write_totals(JsonWriter& json) const {
  for (const RowRecorder& recorder : recorders_) {
    json.begin_object();
    json.member("pin", recorder.pin_name());
    json.member("samples", recorder.samples());
    json.member("payload_bytes", recorder.payload_bytes());
    json.end_object();
  }
}

// `listing` is null if there was no memory for it.
void print_last_line(const Listing* listing, ExitCode code, Messages& messages, std::ostream& out) {
  JsonWriter json(out, JsonWriter::Layout::kOneLine);
  json.begin_object();
  json.member("exit_code", static_cast<int>(code));
  json.begin_array("streams");
  if (listing != nullptr) listing->write_totals(json);
  json.end_array();
  end_json(json, messages);
}

ExitCode list_file(const std::string& file, const Options& options, CsvHeader& header, std::ostream& out) {
  Messages messages(options.quiet || options.json);
  if (options.json) print_file_line(file, out);
  std::unique_ptr<Listing> listing;
  ExitCode result = report_memory(file, messages, [&] {
    listing = std::make_unique<Listing>(file, options, header, messages);
    return listing->run(out);
  });
  if (interrupted()) result = messages.report_interrupted(file);
  if (options.json) print_last_line(listing.get(), result, messages, out);
  return result;
}

}  // namespace

ExitCode run_samples(const Options& options, std::ostream& out) {
  catch_interrupts();
  CsvHeader header(options);
  ExitCode worst = ExitCode::kDone;
  for (const std::string& file : options.files) {
    worst = worse_of(worst, options.explain_seek.empty() ? list_file(file, options, header, out)
                                                         : explain_seek_in(file, options, out));
    if (interrupted()) break;
  }
  return worst;
}

}  // namespace zdr::host
