// `zdr samples`: prints one row per delivered media sample, one pin after the other, the same in every run.
#include <list>
#include <ostream>

#include "host/commands/commands.h"
#include "host/commands/row_recorder.h"
#include "host/graph/file_run.h"
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
  const ExitCode played = run_.play("goes on");
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

}  // namespace

ExitCode run_samples(const Options& options, std::ostream& out) {
  catch_interrupts();
  Messages messages(options.quiet);
  const ExitCode result =
      report_memory(options.files.front(), messages, [&] { return Listing(options, messages).run(out); });
  return interrupted() ? ExitCode::kInterrupted : result;
}

}  // namespace zdr::host
