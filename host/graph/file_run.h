// The run that `play`, `samples` and `verify` share: loads a file, reports what is left out, connects a
// consumer to each pin, seeks, plays and shows progress. The commands differ in their consumers.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/exit_code.h"
#include "host/graph/delivery_guard.h"
#include "host/graph/pin_consumer.h"
#include "host/graph/source_player.h"
#include "host/inspect/diagnosis/damaged_units.h"
#include "host/inspect/diagnosis/left_out.h"
#include "host/inspect/iso/parsed_movie.h"
#include "host/messages.h"
#include "host/options.h"
#include "host/terminal.h"

namespace zdr::host {

// Creates and owns the consumers of a run, which outlive the run.
class ConsumerOwner {
 public:
  virtual ~ConsumerOwner() = default;
  virtual PinConsumer& add_consumer(const std::string& pin_name, DeliveryGuard& guard) = 0;
  // Destroys the last consumer, whose pin could not be connected.
  virtual void drop_last_consumer() = 0;
};

class FileRun {
 public:
  // A recording writes what each pin delivers. A listing must be the same in every run. The filter marks the
  // first samples of a process, so the pin that delivers them must not depend on which worker is faster: the
  // other pins of a listing start after the audio pin. A part of a file does not need this, because after a
  // seek the filter marks the first sample of every pin and the workers wait for each other. A check keeps
  // nothing of the samples, and plays from options.explain_seek on.
  enum class Use { kRecording, kListing, kCheck };

  // All references must outlive the object.
  FileRun(const std::string& file, const Options& options, Use use, Messages& messages, ConsumerOwner& owner);

  // Does everything that precedes playing. Reports the reason for a failure.
  ExitCode prepare();
  // Plays until the end, until interrupted, or until a stream delivers more than the file holds. In the last
  // case the message advises "use --allow-overlap to `overlap_advice` anyway". Reports what is missing.
  ExitCode play(const char* overlap_advice);

  // Call before play(): how many damaged frames of a speech or AAC file to find. One is found for the
  // message.
  void limit_damage(size_t most) { damage_.limit = most; }
  const std::vector<DamagedUnit>& damaged_frames() const { return damage_.units; }

  // True after a run that reached its end and in which no read failed, so that the consumers have all that
  // the filter could deliver.
  bool is_complete() const { return is_complete_; }
  // Null before prepare(), and unless it is an ISO media file.
  const ParsedMovie* movie() const { return movie_.get(); }

 private:
  struct Stream {
    const PinEntry& pin;
    const PinConsumer& consumer;
  };

  ExitCode load_and_connect();
  ExitCode connect();
  std::optional<Diagnosis> find_unsized(bool is_audio) const;
  void connect_pin(const PinEntry& pin, bool gated);
  ExitCode play_to_end(const char* overlap_advice);
  bool is_requested(bool audio) const;
  PlayableKinds kinds_to_play() const;
  bool on_slice(ProgressLine& progress) const;

  const std::string& file_;
  const Options& options_;
  Messages& messages_;
  ConsumerOwner& owner_;
  const Use use_;
  const std::string label_;  // of the file in progress lines
  PlayRange range_;
  DeliveryGuard guard_;
  StartGate gate_;
  std::unique_ptr<const ParsedMovie> movie_;
  std::vector<Stream> streams_;
  DamageList damage_;
  bool is_complete_ = false;
  ExitCode prepared_ = ExitCode::kDone;  // kLoss if a track has no pin or a pin could not be connected
  SourcePlayer player_;
};

}  // namespace zdr::host
