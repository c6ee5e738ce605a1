// Compares what a pin delivered with what the file holds, after a run has reached its end, and reports what
// is missing or damaged. Used by `play`, `samples` and `verify`.
#pragma once

#include <string>

#include "host/exit_code.h"
#include "host/graph/pin_consumer.h"
#include "host/graph/source_player.h"
#include "host/inspect/diagnosis/damaged_units.h"
#include "host/inspect/diagnosis/shortfall.h"
#include "host/inspect/iso/parsed_movie.h"
#include "host/messages.h"

namespace zdr::host {

// The play that is checked.
struct CheckedPlay {
  const std::string& file;
  std::string label;  // of the file in progress lines
  bool is_quiet;      // shows no progress
  bool notes_early_start;
  PlayRange range;
  int64_t duration;          // of the longest stream in 100 ns units; 0 if unknown
  const ParsedMovie* movie;  // null unless it is an ISO media file
  DamageList& damage;        // of a speech or AAC file
  Messages& messages;
};

class DeliveryCheck {
 public:
  // `play` and both parts of the stream must outlive the object.
  DeliveryCheck(const CheckedPlay& play, const PinEntry& pin, const PinConsumer& consumer);

  // Returns kLoss if anything up to the stop position is missing or damaged, except what is left out by
  // design, else kDone.
  ExitCode run() const;

 private:
  ExitCode check_damage() const;
  ExitCode check_completeness() const;
  ExitCode check_track() const;
  void report_early_start() const;
  ExitCode check_aac_file() const;
  ExitCode check_speech_file() const;
  ExitCode check_silence() const;
  ExitCode report(MessageCode code, const std::string& reason, bool is_loss = true) const;
  ExitCode report_missing(const Shortfall& shortfall) const;
  ExitCode report_early_end(const EarlyEnd& end) const;

  const CheckedPlay& play_;
  const PinConsumer& consumer_;
  const bool is_from_start_;
  const bool is_to_end_;
  const int64_t stop_;         // of the pin, but not after the end of the file; 0 if both are unknown
  const int64_t first_start_;  // of the first sample, in media time
  const int64_t last_start_;   // media time of the last sample
};

}  // namespace zdr::host
