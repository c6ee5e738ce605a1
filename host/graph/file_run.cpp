// Runs a file through the graph into the consumers of a command.
#include "host/graph/file_run.h"

#include <algorithm>
#include <filesystem>
#include <system_error>

#include "host/graph/delivery_check.h"
#include "host/inspect/diagnosis/open_diagnosis.h"
#include "host/inspect/diagnosis/track_diagnosis.h"
#include "host/inspect/files/read_failure.h"
#include "host/text/time_text.h"

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
PlayRange play_range(const Options& options, bool is_check) {
  PlayRange range;
  const std::string& start = is_check ? options.explain_seek : options.start;
  range.is_whole = start.empty() && options.stop.empty();
  range.start = parse_time(start).value_or(range.start);
  range.stop = parse_time(options.stop).value_or(range.stop);
  return range;
}

// Names a file in a progress line; empty where none is shown, since the number takes a search.
std::string progress_label(const std::string& file, const Options& options) {
  if (options.quiet || !stderr_is_terminal()) return {};
  const std::vector<std::string>& files = options.files;
  const std::string name = std::filesystem::path(file).filename().string();
  if (files.size() < 2) return name;
  const auto number = std::ranges::find(files, file) - files.begin() + 1;
  return std::to_string(number) + " of " + std::to_string(files.size()) + ": " + name;
}

}  // namespace

FileRun::FileRun(const std::string& file, const Options& options, Use use, Messages& messages,
                 ConsumerOwner& owner)
    : file_(file),
      options_(options),
      messages_(messages),
      owner_(owner),
      use_(use),
      label_(progress_label(file, options)),
      range_(play_range(options, use == Use::kCheck)),
      guard_(delivery_limit(options, file)),
      player_(file, messages, options.stall_seconds) {}

ExitCode FileRun::prepare() {
  const ExitCode prepared = load_and_connect();
  return prepared == ExitCode::kDone ? prepared : worse_of(prepared, report_read_failure(file_, messages_));
}

ExitCode FileRun::load_and_connect() {
  if (const ExitCode loaded = player_.load(); loaded != ExitCode::kDone) return loaded;
  movie_ = parse_iso_media(file_);
  prepared_ = report_left_out(file_, movie_.get(), player_.playable_kinds(), LeftOutUse::kPlay, messages_,
                              {is_requested(true), is_requested(false)});
  if (use_ == Use::kRecording)
    report_unapplied_edits(file_, movie_.get(), kinds_to_play(), options_.trim, messages_);
  const int64_t end = player_.duration();
  // The whole file needs no seek, after which the filter may deliver less.
  if (range_.start == 0 && (range_.stop < 0 || (end > 0 && range_.stop >= end))) range_.is_whole = true;
  if (const ExitCode connected = connect(); connected != ExitCode::kDone) return connected;
  const ExitCode refused =
      player_.refuse_past_end(range_.start, use_ == Use::kCheck ? "--explain-seek" : "--start");
  return refused == ExitCode::kDone ? player_.seek(range_) : refused;
}

bool FileRun::is_requested(bool audio) const {
  return options_.only.empty() || (options_.only == "audio") == audio;
}

PlayableKinds FileRun::kinds_to_play() const {
  const PlayableKinds kinds = player_.playable_kinds();
  return {kinds.audio && is_requested(true), kinds.video && is_requested(false)};
}

ExitCode FileRun::connect() {
  const auto usable = std::ranges::count_if(player_.pins(), [this](const PinEntry& pin) {
    return is_requested(pin.is_audio()) && !pin.types.empty();
  });
  const bool gated = use_ == Use::kListing && range_.is_whole && usable > 1;
  for (const PinEntry& pin : player_.pins()) {
    if (is_requested(pin.is_audio()) && !pin.types.empty()) connect_pin(pin, gated);
    if (player_.has_given_up()) return ExitCode::kLoss;
  }
  if (!streams_.empty()) return ExitCode::kDone;
  if (movie_ != nullptr && !player_.playable_kinds().any()) {
    return messages_.report(file_, diagnose_unplayable(*movie_));
  }
  messages_.error({MessageCode::kNoPlayableTrack,
                   file_,
                   {},
                   "no " + options_.only + (options_.only.empty() ? "" : " ") + "stream can be played",
                   ""});
  // What was lost has been reported as damage; without it, the file just has no such stream.
  return prepared_ == ExitCode::kLoss ? ExitCode::kCannotOpen : ExitCode::kNotSupported;
}

// A video pin cannot be connected if no access unit of its track has a size.
std::optional<Diagnosis> FileRun::find_unsized(bool is_audio) const {
  const TrackRecord* const track = movie_ != nullptr ? movie_->first_track(track_type(is_audio)) : nullptr;
  TrackFacts facts;
  const bool is_unsized =
      track != nullptr && movie_->get_facts(*track->id, facts) == P3GPP_OK && facts.samples == 0;
  return is_unsized ? find_missing_sizes(*movie_, *track, 0) : std::nullopt;
}

void FileRun::connect_pin(const PinEntry& pin, bool gated) {
  PinConsumer& consumer = owner_.add_consumer(pin.name, guard_);
  StartGate* const opens = gated && pin.is_audio() ? &gate_ : nullptr;
  StartGate* const waits_for = gated && !pin.is_audio() ? &gate_ : nullptr;
  const HRESULT hr = player_.connect(pin, consumer, opens, waits_for);
  if (SUCCEEDED(hr)) {
    consumer.set_type(SourcePlayer::connection_type(pin));
    streams_.push_back({pin, consumer});
    return;
  }
  prepared_ = ExitCode::kLoss;
  if (const auto cause = find_unsized(pin.is_audio())) {
    messages_.report(file_, *cause);
  } else {
    messages_.error({MessageCode::kPinNotConnected, file_, Place::pin(pin.name),
                     "cannot be connected" + std::string(hresult_name(hr).empty() ? "" : ": ") +
                         std::string(hresult_name(hr)),
                     hresult_text(hr)});
  }
  owner_.drop_last_consumer();
  gate_.open();
}

bool FileRun::on_slice(ProgressLine& progress) const {
  int64_t position = range_.start;
  for (const Stream& stream : streams_) position = std::max(position, stream.consumer.position());
  const int64_t duration = player_.duration();
  const int64_t end = range_.stop < 0 || duration <= 0 ? duration : std::min(range_.stop, duration);
  progress.update(label_, {range_.start, position, end});
  return !interrupted() && !guard_.tripped();
}

ExitCode FileRun::play(const char* overlap_advice) {
  ExitCode result = play_to_end(overlap_advice);
  const bool is_at_end = result == ExitCode::kDone && !interrupted();
  if (is_at_end) {
    const CheckedPlay played{.file = file_,
                             .label = label_,
                             .is_quiet = options_.quiet,
                             .notes_early_start = use_ != Use::kCheck,
                             .range = range_,
                             .duration = player_.duration(),
                             .movie = movie_.get(),
                             .damage = damage_,
                             .messages = messages_};
    for (const Stream& stream : streams_) {
      result = worse_of(result, DeliveryCheck(played, stream.pin, stream.consumer).run());
    }
  }
  const ExitCode reads = report_read_failure(file_, messages_);
  is_complete_ = is_at_end && reads == ExitCode::kDone;
  return worse_of(worse_of(result, reads), prepared_);
}

ExitCode FileRun::play_to_end(const char* overlap_advice) {
  ExitCode result = ExitCode::kDone;
  {
    ProgressLine progress(!options_.quiet);
    result = player_.play([&] { return on_slice(progress); });
  }
  if (!guard_.tripped()) return result;
  const std::string advice = std::string(" (use --allow-overlap to ") + overlap_advice + " anyway)";
  messages_.error({MessageCode::kTablesOverlap,
                   file_,
                   {},
                   "the sample tables describe more data than the file holds" + advice,
                   ""});
  return worse_of(result, ExitCode::kLoss);
}

}  // namespace zdr::host
