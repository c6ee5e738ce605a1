// Runs a file through the graph into the consumers of a command.
#include "host/graph/file_run.h"

#include <algorithm>
#include <filesystem>
#include <system_error>

#include "filters/source/mp4/interfaces/source_kind.h"
#include "filters/source/mp4/interfaces/zdr_guids.h"
#include "host/inspect/aac_shortfall.h"
#include "host/inspect/amr_shortfall.h"
#include "host/inspect/open_diagnosis.h"
#include "host/inspect/read_failure.h"
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

std::string progress_label(const std::string& file, const std::vector<std::string>& files) {
  const std::string name = std::filesystem::path(file).filename().string();
  if (files.size() < 2) return name;
  const auto number = std::ranges::find(files, file) - files.begin() + 1;
  return std::to_string(number) + " of " + std::to_string(files.size()) + ": " + name;
}

FileRun::FileRun(const std::string& file, const Options& options, Use use, Messages& messages,
                 ConsumerOwner& owner)
    : file_(file),
      options_(options),
      messages_(messages),
      owner_(owner),
      use_(use),
      range_(play_range(options)),
      guard_(delivery_limit(options, file)),
      player_(file, messages, options.stall_seconds) {}

ExitCode FileRun::prepare() {
  const ExitCode prepared = load_and_connect();
  return prepared == ExitCode::kDone ? prepared : worse_of(prepared, report_read_failure(file_, messages_));
}

ExitCode FileRun::load_and_connect() {
  if (const ExitCode loaded = player_.load(); loaded != ExitCode::kDone) return loaded;
  movie_ = parse_iso_media(file_);
  prepared_ = report_left_out(file_, movie_.get(), playable_kinds(), false, messages_);
  if (use_ == Use::kRecording) report_unapplied_edits(file_, movie_.get(), kinds_to_play(), messages_);
  if (const ExitCode connected = connect(); connected != ExitCode::kDone) return connected;
  if (const int64_t end = player_.duration(); end > 0 && range_.start >= end) {
    return messages_.report(file_, {ExitCode::kNotSupported,
                                    MessageCode::kRangeNotPlayable,
                                    {},
                                    "--start is past the end (" + format_time(end) + ")",
                                    ""});
  }
  return player_.seek(range_);
}

bool FileRun::is_requested(bool audio) const {
  return options_.only.empty() || (options_.only == "audio") == audio;
}

// A kind that is not requested needs no pin.
PlayableKinds FileRun::playable_kinds() const {
  const PlayableKinds kinds = player_.playable_kinds();
  return {kinds.audio || !is_requested(true), kinds.video || !is_requested(false)};
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
  return ExitCode::kNotSupported;
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
  messages_.error({MessageCode::kPinNotConnected, file_, Place::pin(pin.name),
                   "cannot be connected: " + std::string(hresult_name(hr)), hresult_text(hr)});
  owner_.drop_last_consumer();
  gate_.open();
}

bool FileRun::on_slice(ProgressLine& progress) const {
  int64_t position = range_.start;
  for (const Stream& stream : streams_) position = std::max(position, stream.consumer.position());
  const int64_t duration = player_.duration();
  const int64_t end = range_.stop < 0 || duration <= 0 ? duration : std::min(range_.stop, duration);
  progress.update(progress_label(file_, options_.files), {range_.start, position, end});
  return !interrupted() && !guard_.tripped();
}

ExitCode FileRun::play(const char* overlap_advice) {
  ExitCode result = play_to_end(overlap_advice);
  const bool is_at_end = result == ExitCode::kDone && !interrupted();
  if (is_at_end) {
    for (const Stream& stream : streams_) result = worse_of(result, check_stream(stream));
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
  const std::string advice = std::string(" (--allow-overlap ") + overlap_advice + ")";
  messages_.error({MessageCode::kTablesOverlap,
                   file_,
                   {},
                   "the tables describe more data than the file holds" + advice,
                   ""});
  return worse_of(result, ExitCode::kLoss);
}

// Playing delivers every access unit up to the stop position.
ExitCode FileRun::check_stream(const Stream& stream) {
  if (stream.consumer.has_failed()) return ExitCode::kDone;  // reported with its output
  return worse_of(check_damage(stream), check_completeness(stream));
}

ExitCode FileRun::check_damage(const Stream& stream) {
  const uint64_t damaged = stream.consumer.damaged_samples();
  // The frames of a speech file are examined with its completeness.
  const bool is_speech_file = mp4source::source_kind_of(file_) == mp4source::SOURCE_KIND_AMR;
  if (damaged == 0 || is_speech_file) return ExitCode::kDone;
  return report(stream, MessageCode::kUnitsDamaged,
                counted(damaged, "damaged sample") + ": " + stream.consumer.first_damage());
}

ExitCode FileRun::check_completeness(const Stream& stream) {
  if (movie_ == nullptr && stream.consumer.samples() == 0) return check_frames_left(stream);
  switch (mp4source::source_kind_of(file_)) {
    case mp4source::SOURCE_KIND_AAC:
      return check_aac(stream);
    case mp4source::SOURCE_KIND_AMR:
      return check_amr(stream);
    default:
      return movie_ != nullptr ? check_track(stream) : ExitCode::kDone;
  }
}

ExitCode FileRun::check_track(const Stream& stream) {
  ProgressLine progress(!options_.quiet);
  const PinConsumer& consumer = stream.consumer;
  const std::string label = progress_label(file_, options_.files) + ": checking " + consumer.pin_name();
  const uint32_t type = consumer.is_audio() ? P3GPP_TRACK_AUDIO : P3GPP_TRACK_VIDEO;
  const auto watch = [&](uint32_t done, uint32_t total) {
    progress.update(label, done, total);
    return !interrupted();
  };
  if (const uint32_t others = samples_of_other_descriptions(*movie_, type, watch); others != 0) {
    messages_.note({MessageCode::kDescriptionIgnored, file_, Place::pin(consumer.pin_name()),
                    counted(others, "access unit") +
                        " of another sample description: the configuration of the "
                        "first one is used for all",
                    ""});
  }
  const int64_t stop = SourcePlayer::stop_position(stream.pin);
  if (range_.is_whole) {
    const auto shortfall =
        find_shortfall(*movie_, file_, {type, consumer.samples(), consumer.payload_bytes(), stop}, watch);
    return shortfall && !interrupted() ? report_missing(stream, *shortfall) : ExitCode::kDone;
  }
  const auto early = find_early_end(*movie_, file_,
                                    {type, consumer.samples(), range_.start, stop, last_start(stream),
                                     consumer.last_sample().payload_bytes},
                                    watch);
  return early && !interrupted() ? report_early_end(stream, *early) : ExitCode::kDone;
}

// The media time of the last sample.
int64_t FileRun::last_start(const Stream& stream) {
  return SourcePlayer::segment_start(stream.pin) + stream.consumer.last_sample().start;
}

// The stop position of a pin, but not after the end of the file; 0 if both are unknown.
int64_t FileRun::stop_of(const Stream& stream) const {
  const int64_t stop = SourcePlayer::stop_position(stream.pin);
  return range_.is_whole || player_.duration() == 0 ? stop : std::min(stop, player_.duration());
}

ExitCode FileRun::check_aac(const Stream& stream) {
  const PinConsumer& consumer = stream.consumer;
  const bool is_to_end = range_.stop < 0 || range_.stop >= player_.duration();
  const AacDelivery delivery{options_.start.empty(),
                             is_to_end,
                             consumer.short_samples() != 0,
                             consumer.samples(),
                             consumer.payload_bytes(),
                             stop_of(stream),
                             last_start(stream),
                             consumer.last_sample().payload_bytes};
  ExitCode result = ExitCode::kDone;
  for (Diagnosis& found : find_aac_shortfall(file_, delivery, [] { return !interrupted(); })) {
    found.place = Place::pin(consumer.pin_name());
    result = worse_of(result, messages_.report(file_, found));
  }
  return result;
}

ExitCode FileRun::check_amr(const Stream& stream) {
  const PinConsumer& consumer = stream.consumer;
  const bool is_to_end = range_.stop < 0 || range_.stop >= player_.duration();
  auto found = find_amr_shortfall(
      file_, {options_.start.empty(), is_to_end, consumer.type().subtype == mp4source::kSubtypeAmrWideBand,
              consumer.damaged_samples() != 0, consumer.payload_bytes(), stop_of(stream), last_start(stream),
              consumer.last_sample().speech_frames});
  if (!found) return ExitCode::kDone;
  found->place = Place::pin(consumer.pin_name());
  return messages_.report(file_, *found);
}

// A speech or AAC file of which nothing was delivered. The last frame is left out by design, so a part of a
// file may have none.
ExitCode FileRun::check_frames_left(const Stream& stream) {
  const int64_t stop = stop_of(stream);
  constexpr int64_t kLongestSample = 500 * kUnitsPerMillisecond;  // ten frames
  const bool is_aac_file = mp4source::source_kind_of(file_) == mp4source::SOURCE_KIND_AAC;
  const bool is_loss = range_.is_whole ? is_aac_file || stop != 0 : stop - range_.start > kLongestSample;
  return report(stream, MessageCode::kNothingDelivered, "delivered no sample", is_loss);
}

ExitCode FileRun::report(const Stream& stream, MessageCode code, const std::string& reason, bool is_loss) {
  const Message message{code, file_, Place::pin(stream.consumer.pin_name()), reason, ""};
  is_loss ? messages_.error(message) : messages_.note(message);
  return is_loss ? ExitCode::kLoss : ExitCode::kDone;
}

ExitCode FileRun::report_early_end(const Stream& stream, const EarlyEnd& end) {
  if (end.has_wide_times) {
    return report(stream, MessageCode::kUnitsMissing,
                  "--start and --stop do not apply: its headers have 64-bit times, which are not read");
  }
  const bool is_cut = end.reason == Missing::kCutOff;
  const std::string outcome = stream.consumer.samples() == 0 ? "delivered no sample" : "ended early";
  return report(stream, is_cut ? MessageCode::kCutOff : MessageCode::kUnitsMissing,
                outcome + ": the access unit at " + format_time(end.time) +
                    (is_cut ? " is beyond the end of the file" : " is missing"));
}

ExitCode FileRun::report_missing(const Stream& stream, const Shortfall& shortfall) {
  const bool has_samples = stream.consumer.samples() != 0;
  const std::string counts =
      std::to_string(shortfall.delivered_units) + " of " + counted(shortfall.total_units, "access unit");
  if (shortfall.has_wide_times) {
    return report(stream, MessageCode::kUnitsMissing,
                  "only " + counts + " were delivered: its headers have 64-bit times, which are not read",
                  true);
  }
  switch (shortfall.reason) {
    case Missing::kNone:
      return report(stream, MessageCode::kNothingDelivered, "delivered no sample", false);
    case Missing::kShiftedBeyondStop:
      return report(stream, MessageCode::kUnitsAfterEnd,
                    counts + " were delivered: the edit list shifts the rest beyond the end of the track",
                    !has_samples);
    case Missing::kAfterStop:
      return report(stream, MessageCode::kUnitsAfterEnd,
                    "only " + counts + " were delivered: the rest is after the end that the headers state",
                    true);
    case Missing::kCutOff:
      return report(stream, MessageCode::kCutOff,
                    "only " + counts + " were delivered: the next one is beyond the end of the file", true);
    case Missing::kNotInSizes:
      return report(stream, MessageCode::kUnitsMissing,
                    (shortfall.total_units == 0 ? "delivered no sample: its access units"
                                                : "only " + counts + " were delivered: the others") +
                        std::string(" have times in the tables, but no sizes"));
    case Missing::kUnknown:
      break;
  }
  return report(stream, MessageCode::kUnitsMissing, "only " + counts + " were delivered", true);
}

}  // namespace zdr::host
