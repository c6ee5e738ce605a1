// Plays one file in one graph: loads it into the source filter, connects sinks to its pins and runs it to the
// end.
#pragma once

#include <dshow.h>

#include <chrono>
#include <functional>
#include <list>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/exit_code.h"
#include "host/graph/filter_graph.h"
#include "host/graph/media_sink.h"
#include "host/inspect/diagnosis/left_out.h"
#include "host/messages.h"
#include "platform/com/com_ptr.h"

namespace zdr::host {

struct PinEntry {
  std::string name;  // "Video0"
  ComPtr<IPin> pin;
  // In the order offered; empty: the pin cannot be connected. A list, because a copy of a type loses its
  // format block when memory runs out.
  std::list<CMediaType> types;

  // Depends on the offered type, or on the name of a pin that offers none.
  bool is_audio() const;
};

// The part of a file to play, in 100 ns units.
struct PlayRange {
  int64_t start = 0;
  int64_t stop = -1;     // -1: the end of the file
  bool is_whole = true;  // neither end is limited
};

class SourcePlayer {
 public:
  // A call or a run in which nothing moves for `stall_seconds` is given up; 0: never.
  SourcePlayer(std::string file, Messages& messages, uint32_t stall_seconds);
  ~SourcePlayer();
  SourcePlayer(const SourcePlayer&) = delete;
  SourcePlayer& operator=(const SourcePlayer&) = delete;

  // Reports the reason for a failure.
  ExitCode load();
  const std::vector<PinEntry>& pins() const { return pins_; }
  // Those of the pins that offer a media type.
  PlayableKinds playable_kinds() const;
  IBaseFilter& source() const { return *source_.get(); }

  // True if a call into the filter has not returned in time and was reported. Then every further call fails.
  bool has_given_up() const { return is_abandoned_; }

  // Connects a sink that passes the pin's samples to `consumer`, which must outlive the player. The gates are
  // those of MediaSink.
  HRESULT connect(const PinEntry& pin, SampleConsumer& consumer, StartGate* opens, StartGate* waits_for);
  // The type of the connection of a connected pin.
  static CMediaType connection_type(const PinEntry& pin);

  // Duration of the longest stream in 100 ns units; 0 if unknown.
  int64_t duration() const;
  // The stop position of a pin, in the same units; 0 if unknown.
  static int64_t stop_position(const PinEntry& pin);
  // Call after play(): where the segment of a pin began, which a seek of audio and video together may have
  // moved to a key frame.
  static int64_t segment_start(const PinEntry& pin);
  // Refuses a time past the end, which `option` requested.
  ExitCode refuse_past_end(int64_t time, const char* option);
  // Call before play(). Reports the reason for a failure.
  ExitCode seek(const PlayRange& range);

  // Runs until every connected stream has ended. `on_slice` is called about ten times a second and ends the
  // run by returning false. Reports a stream that aborts or stalls.
  ExitCode play(const std::function<bool()>& on_slice);

  // True if a filter did not stop, so that its threads still run. The process must then end without running
  // destructors.
  static bool has_abandoned_filter();

 private:
  // Returns nothing if the call does not return in time: within the limit of a stall, but soon once the run
  // is to end. What it uses is then leaked.
  std::optional<HRESULT> watched(std::function<HRESULT()> call);
  std::optional<HRESULT> change_state(FILTER_STATE state);
  HRESULT set_positions(const PlayRange& range);
  ExitCode start(const std::function<bool()>& on_slice);
  ExitCode cue(const std::function<bool()>& on_slice);
  ExitCode run_until_complete(const std::function<bool()>& on_slice);
  ExitCode handle_event(const GraphEvent& event);
  ExitCode handle_late_events();
  bool has_moved();
  bool is_in_consumer() const;
  ExitCode give_up_stalled();
  ExitCode fail_to_start(HRESULT hr);
  void stop();
  std::string given_up(const std::string& what) const;
  void abandon_filter(const std::string& reason);

  // The sink of a connected pin.
  struct Connection {
    std::string pin_name;
    ComPtr<MediaSink> sink;
  };

  std::string file_;
  Messages& messages_;
  ComPtr<IBaseFilter> source_;
  ComPtr<FilterGraph> graph_;
  std::vector<PinEntry> pins_;
  std::vector<Connection> connections_;
  const std::chrono::seconds stall_limit_;
  uint64_t samples_seen_ = 0;  // when has_moved() was last called
  bool is_stalled_ = false;
  bool is_abandoned_ = false;  // its threads still run: nothing of it may be released
};

}  // namespace zdr::host
