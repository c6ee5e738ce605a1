// Runs a file through the graph into the consumers of a command.
#include "host/graph/file_run.h"

#include <algorithm>
#include <filesystem>
#include <system_error>

#include "host/inspect/left_out.h"
#include "host/time_text.h"

namespace zdr::host {
namespace {

// The size of the file; 0, which is no limit, if it is unknown or overlapping data are allowed.
uint64_t delivery_limit(const Options& options, const std::string& file) {
  if (options.allow_overlap) return 0;
  std::error_code code;
  const uintmax_t size = std::filesystem::file_size(std::filesystem::path(file), code);
  return code ? 0 : size;
}

// The command line has checked both times.
PlayRange play_range(const Options& options) {
  PlayRange range;
  range.is_whole = options.start.empty() && options.stop.empty();
  range.start = parse_time(options.start).value_or(range.start);
  range.stop = parse_time(options.stop).value_or(range.stop);
  return range;
}

}  // namespace

std::string progress_label(const std::string& file) {
  return std::filesystem::path(file).filename().string();
}

FileRun::FileRun(const std::string& file, const Options& options, Messages& messages, ConsumerOwner& owner)
    : file_(file),
      options_(options),
      messages_(messages),
      owner_(owner),
      range_(play_range(options)),
      guard_(delivery_limit(options, file)),
      player_(file, messages, options.stall_seconds) {}

ExitCode FileRun::prepare() {
  if (const ExitCode loaded = player_.load(); loaded != ExitCode::kDone) return loaded;
  movie_ = parse_iso_media(file_);
  report_left_out(file_, movie_.get(), messages_);
  if (const ExitCode connected = connect(); connected != ExitCode::kDone) return connected;
  return player_.seek(range_);
}

bool FileRun::is_requested(const PinEntry& pin) const {
  return options_.only.empty() || (options_.only == "audio") == pin.is_audio();
}

ExitCode FileRun::connect() {
  const auto usable = std::ranges::count_if(
      player_.pins(), [this](const PinEntry& pin) { return is_requested(pin) && !pin.types.empty(); });
  const bool gated = audio_first_ && range_.is_whole && usable > 1;
  for (const PinEntry& pin : player_.pins()) {
    if (!is_requested(pin)) continue;
    if (pin.types.empty()) {
      owner_.skip_pin(pin.name);
    } else {
      connect_pin(pin, gated);
    }
  }
  if (!consumers_.empty()) return ExitCode::kDone;
  messages_.error({file_, "", "no stream that can be played", ""});
  return ExitCode::kNotSupported;
}

void FileRun::connect_pin(const PinEntry& pin, bool gated) {
  PinConsumer& consumer = owner_.add_consumer(pin.name, guard_);
  StartGate* const opens = gated && pin.is_audio() ? &gate_ : nullptr;
  StartGate* const waits_for = gated && !pin.is_audio() ? &gate_ : nullptr;
  const HRESULT hr = player_.connect(pin, consumer, opens, waits_for);
  if (SUCCEEDED(hr)) {
    consumer.set_type(SourcePlayer::connection_type(pin));
    consumers_.push_back(&consumer);
    return;
  }
  messages_.error(
      {file_, pin.name, "cannot be connected: " + std::string(hresult_name(hr)), hresult_text(hr)});
  owner_.drop_last_consumer();
  gate_.open();
}

bool FileRun::on_slice(ProgressLine& progress) const {
  int64_t position = range_.start;
  for (const PinConsumer* consumer : consumers_) position = std::max(position, consumer->position());
  const int64_t duration = player_.duration();
  const int64_t end = range_.stop < 0 || duration <= 0 ? duration : std::min(range_.stop, duration);
  progress.update(progress_label(file_), {range_.start, position, end});
  return !interrupted() && !guard_.tripped();
}

ExitCode FileRun::play(const char* overlap_advice) {
  ExitCode result = ExitCode::kDone;
  {
    ProgressLine progress(!options_.quiet);
    result = player_.play([&] { return on_slice(progress); });
  }
  if (!guard_.tripped()) return result;
  const std::string advice = std::string(" (--allow-overlap ") + overlap_advice + ")";
  messages_.error({file_, "", "the tables describe more data than the file holds" + advice, ""});
  return worse_of(result, ExitCode::kLoss);
}

}  // namespace zdr::host
