// `zdr samples`: prints one row per delivered media sample, one pin after the other, the same in every run.
// As JSON, each row is a line, between one that names the file and one with the totals.
#include <list>
#include <memory>
#include <ostream>

#include "host/commands/commands.h"
#include "host/commands/row_recorder.h"
#include "host/graph/file_run.h"
#include "host/json/json_report.h"
#include "host/memory.h"

namespace zdr::host {
namespace {

class Listing final : public ConsumerOwner {
 public:
  Listing(const Options& options, Messages& messages)
      : options_(options),
        messages_(messages),
        run_(options.files.front(), options, FileRun::Use::kListing, messages, *this) {}

  ExitCode run(std::ostream& out);
  void write_totals(JsonWriter& json) const;

 private:
  PinConsumer& add_consumer(const std::string& pin_name, DeliveryGuard& guard) override {
    return recorders_.emplace_back(pin_name, guard, options_.json);
  }
  void drop_last_consumer() override { recorders_.pop_back(); }
  ExitCode print(std::ostream& out);

  const Options& options_;
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
  if (!options_.json) out << kRowHeader;
  ExitCode result = ExitCode::kDone;
  for (RowRecorder& recorder : recorders_) {
    if (recorder.print(out)) continue;
    messages_.error({MessageCode::kOutputFailed, options_.files.front(), Place::pin(recorder.pin_name()),
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

}  // namespace

ExitCode run_samples(const Options& options, std::ostream& out) {
  if (!options.explain_seek.empty()) return run_explain_seek(options, out);
  catch_interrupts();
  const std::string& file = options.files.front();
  Messages messages(options.quiet || options.json);
  if (options.json) print_file_line(file, out);
  std::unique_ptr<Listing> listing;
  ExitCode result = report_memory(file, messages, [&] {
    listing = std::make_unique<Listing>(options, messages);
    return listing->run(out);
  });
  if (interrupted()) result = messages.report_interrupted(file);
  if (options.json) print_last_line(listing.get(), result, messages, out);
  return result;
}

}  // namespace zdr::host
