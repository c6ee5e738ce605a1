// Finds what is missing by the kind of the file, and words it.
#include "host/graph/delivery_check.h"

#include <algorithm>

#include "filters/source/mp4/interfaces/source_kind.h"
#include "filters/source/mp4/interfaces/zdr_guids.h"
#include "host/inspect/diagnosis/aac_shortfall.h"
#include "host/inspect/diagnosis/amr_shortfall.h"
#include "host/inspect/iso/parser_status.h"
#include "host/terminal.h"
#include "host/text/time_text.h"

namespace zdr::host {
namespace {

int64_t stop_of(const CheckedPlay& play, const PinEntry& pin) {
  const int64_t stop = SourcePlayer::stop_position(pin);
  return play.range.is_whole || play.duration == 0 ? stop : std::min(stop, play.duration);
}

// "delivered only 2 of 60 access units"
std::string delivered_text(const Shortfall& shortfall) {
  const std::string total = counted(shortfall.total_units, "access unit");
  if (shortfall.delivered_units == 0) return "delivered none of " + total;
  return "delivered only " + std::to_string(shortfall.delivered_units) + " of " + total;
}

}  // namespace

DeliveryCheck::DeliveryCheck(const CheckedPlay& play, const PinEntry& pin, const PinConsumer& consumer)
    : play_(play),
      consumer_(consumer),
      is_from_start_(play.range.start == 0),
      is_to_end_(play.range.stop < 0 || play.range.stop >= play.duration),
      stop_(stop_of(play, pin)),
      first_start_(SourcePlayer::segment_start(pin) + consumer.first_start()),
      last_start_(SourcePlayer::segment_start(pin) + consumer.last_sample().start) {}

ExitCode DeliveryCheck::run() const {
  if (consumer_.has_failed()) return ExitCode::kDone;  // reported with its output
  return worse_of(check_damage(), check_completeness());
}

ExitCode DeliveryCheck::check_damage() const {
  const uint64_t damaged = consumer_.damaged_units();
  // check_speech_file() reports the damage of a speech file.
  const bool is_speech_file = mp4source::source_kind_of(play_.file) == mp4source::SOURCE_KIND_AMR;
  if (damaged == 0 || is_speech_file) return ExitCode::kDone;
  return report(MessageCode::kUnitsDamaged,
                counted(damaged, "damaged access unit") + ": " + consumer_.first_damage());
}

ExitCode DeliveryCheck::check_completeness() const {
  if (play_.movie != nullptr) return check_track();
  if (consumer_.samples() == 0) return check_silence();
  switch (mp4source::source_kind_of(play_.file)) {
    case mp4source::SOURCE_KIND_AAC:
      return check_aac_file();
    case mp4source::SOURCE_KIND_AMR:
      return check_speech_file();
    default:
      return ExitCode::kDone;
  }
}

ExitCode DeliveryCheck::check_track() const {
  ProgressLine progress(!play_.is_quiet);
  const std::string label = play_.label + ": checking " + consumer_.pin_name();
  const auto watch = [&](uint32_t done, uint32_t total) {
    progress.update(label, done, total);
    return !interrupted();
  };
  const uint32_t type = track_type(consumer_.is_audio());
  if (const uint32_t others = samples_of_other_descriptions(*play_.movie, type, watch); others != 0) {
    report(MessageCode::kDescriptionIgnored,
           "only the first sample description is used, even for " + counted(others, "access unit") +
               " of another one",
           false);
  }
  if (play_.range.is_whole) {
    const Delivery delivery{type, consumer_.samples(), consumer_.payload_bytes(), stop_};
    const auto shortfall = find_shortfall(*play_.movie, play_.file, delivery, watch);
    return shortfall && !interrupted() ? report_missing(*shortfall) : ExitCode::kDone;
  }
  if (play_.notes_early_start) report_early_start();
  const PartDelivery delivery{.track_type = type,
                              .samples = consumer_.samples(),
                              .payload_bytes = consumer_.payload_bytes(),
                              .start = play_.range.start,
                              .stop = stop_,
                              .is_to_end = is_to_end_,
                              .last_sample_start = last_start_,
                              .last_sample_bytes = consumer_.last_sample().payload_bytes};
  const auto early = find_early_end(*play_.movie, play_.file, delivery, watch);
  if (interrupted()) return ExitCode::kDone;
  if (early) return report_early_end(*early);
  return consumer_.samples() != 0 ? ExitCode::kDone
                                  : report(MessageCode::kNothingDelivered, "delivered no sample", false);
}

// A picture needs those from its key frame on.
void DeliveryCheck::report_early_start() const {
  if (consumer_.is_audio() || consumer_.samples() == 0 || consumer_.first_start() >= 0) return;
  report(MessageCode::kRangeExtended,
         "begins at " + format_time(first_start_) + ", the key frame before --start", false);
}

ExitCode DeliveryCheck::check_aac_file() const {
  const AacDelivery delivery{.is_from_start = is_from_start_,
                             .is_to_end = is_to_end_,
                             .lacks_frames = consumer_.short_samples() != 0,
                             .samples = consumer_.samples(),
                             .start = play_.range.start,
                             .pcm_bytes = consumer_.payload_bytes(),
                             .stop = stop_,
                             .last_start = last_start_,
                             .last_pcm_bytes = consumer_.last_sample().payload_bytes};
  ExitCode result = ExitCode::kDone;
  for (Diagnosis& found :
       find_aac_shortfall(play_.file, delivery, play_.damage, [] { return !interrupted(); })) {
    found.place = Place::pin(consumer_.pin_name());
    result = worse_of(result, play_.messages.report(play_.file, found));
  }
  return result;
}

ExitCode DeliveryCheck::check_speech_file() const {
  const AmrDelivery delivery{.is_from_start = is_from_start_,
                             .is_to_end = is_to_end_,
                             .is_wide_band = consumer_.type().subtype == mp4source::kSubtypeAmrWideBand,
                             .is_damaged = consumer_.damaged_units() != 0,
                             .payload_bytes = consumer_.payload_bytes(),
                             .stop = stop_,
                             .last_start = last_start_,
                             .last_frames = consumer_.last_sample().speech_frames};
  auto found = find_amr_shortfall(play_.file, delivery, play_.damage);
  if (!found) return ExitCode::kDone;
  found->place = Place::pin(consumer_.pin_name());
  return play_.messages.report(play_.file, *found);
}

// For a speech or AAC file that delivered nothing. Its last frames are left out by design, so a short part of
// a file may have none to deliver; but of a whole file they are a loss.
ExitCode DeliveryCheck::check_silence() const {
  const auto watch = [](uint64_t, uint64_t) { return !interrupted(); };
  const bool is_aac_file = mp4source::source_kind_of(play_.file) == mp4source::SOURCE_KIND_AAC;
  const bool is_wide_band = consumer_.type().subtype == mp4source::kSubtypeAmrWideBand;
  const SilentFile file =
      is_aac_file ? examine_silent_aac(play_.file, watch) : examine_silent_speech(play_.file, is_wide_band);
  const auto report_silence = [&](const std::string& reason, bool is_loss) {
    return report(MessageCode::kNothingDelivered, "delivered no sample" + reason, is_loss);
  };
  if (file.fault && is_to_end_) return report_silence(": " + file.fault->reason, true);
  if (!file.has_data) return report_silence(": it has no frames", false);
  if (file.frames == 0) return report_silence("", true);
  if (play_.range.is_whole) {
    const bool is_short = static_cast<int64_t>(file.frames) * file.frame <= file.left_out;
    return report_silence(is_short ? ": " + too_few_frames(file.frames, file.estimate) : "", true);
  }
  const bool is_in_last = is_to_end_ && stop_ - play_.range.start <= file.left_out;
  if (is_in_last) return report_silence(": the last frames of the file are left out by design", false);
  const bool is_within_frame = !is_to_end_ && stop_ - play_.range.start <= file.frame;
  return report_silence(is_within_frame ? ": no sample begins in the range" : "", !is_within_frame);
}

ExitCode DeliveryCheck::report(MessageCode code, const std::string& reason, bool is_loss) const {
  return play_.messages.report(play_.file, {is_loss ? ExitCode::kLoss : ExitCode::kDone, code,
                                            Place::pin(consumer_.pin_name()), reason, ""});
}

ExitCode DeliveryCheck::report_early_end(const EarlyEnd& end) const {
  if (end.has_wide_times) {
    return report(MessageCode::kUnitsMissing,
                  "--start and --stop may not apply: its header has 64-bit times, which are not read");
  }
  const std::string outcome = consumer_.samples() == 0 ? "delivered no sample" : "ended early";
  const std::string unit = outcome + ": the access unit at " + format_time(end.time);
  switch (end.reason) {
    case Missing::kCutOff:
      return report(MessageCode::kCutOff, unit + " is past the end of the file");
    case Missing::kNotInSizes:
      return report(MessageCode::kUnitsMissing, unit + " has a time in the tables, but no size");
    case Missing::kNoKeyFrame:
      return report(MessageCode::kUnitsMissing,
                    "delivered no sample: no key frame at or before " + format_time(play_.range.start));
    case Missing::kAfterStop:
      return report(MessageCode::kUnitsAfterEnd, unit + " is after the end that the headers state");
    case Missing::kShiftedBeyondStop:
      return report(MessageCode::kUnitsAfterEnd,
                    unit + " is shifted past the end of the track by the edit list", false);
    default:
      return report(MessageCode::kUnitsMissing, unit + " is missing");
  }
}

ExitCode DeliveryCheck::report_missing(const Shortfall& shortfall) const {
  const std::string delivered = delivered_text(shortfall);
  if (shortfall.has_wide_times) {
    return report(MessageCode::kUnitsMissing,
                  delivered + ": its header has 64-bit times, which are not read");
  }
  switch (shortfall.reason) {
    case Missing::kNone:
      return report(MessageCode::kNothingDelivered, "delivered no sample", false);
    case Missing::kShiftedBeyondStop:
      return report(MessageCode::kUnitsAfterEnd,
                    delivered + ": the edit list shifts the rest past the end of the track",
                    consumer_.samples() == 0);
    case Missing::kAfterStop:
      return report(MessageCode::kUnitsAfterEnd,
                    delivered + ": the rest is after the end that the headers state");
    case Missing::kCutOff:
      return report(MessageCode::kCutOff, delivered + ": the next one is past the end of the file");
    case Missing::kEmpty:
      return report(MessageCode::kUnitsMissing, delivered + ": the next one has a size of 0 in the tables");
    case Missing::kNotInSizes:
      return report(MessageCode::kUnitsMissing,
                    (shortfall.total_units == 0 ? "delivered no sample: its access units"
                                                : delivered + ": the others") +
                        std::string(" have times in the tables, but no sizes"));
    case Missing::kNoKeyFrame:  // only of a part
    case Missing::kUnknown:
      break;
  }
  if (shortfall.status == P3GPP_OK) return report(MessageCode::kUnitsMissing, delivered);
  return play_.messages.report(
      play_.file, {ExitCode::kLoss, MessageCode::kUnitsMissing, Place::pin(consumer_.pin_name()),
                   delivered + (shortfall.delivered_units == 0 ? ": the first one" : ": the next one") +
                       " cannot be located: " + describe_lookup(shortfall.status),
                   std::to_string(shortfall.status)});
}

}  // namespace zdr::host
