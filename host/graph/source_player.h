// One file in one graph: loads it into the source filter, connects sinks to its pins, plays it to the end.
#pragma once

#include <dshow.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "host/exit_code.h"
#include "host/graph/filter_graph.h"
#include "host/graph/media_sink.h"
#include "host/graph/play_range.h"
#include "host/inspect/open_diagnosis.h"
#include "host/messages.h"
#include "platform/com/com_ptr.h"

namespace zdr::host {

struct PinEntry {
  std::string name;  // "Video0"
  ComPtr<IPin> pin;
  std::vector<CMediaType> types;  // offered, in order; empty: nothing can connect
  bool is_audio() const { return name.find("Audio") != std::string::npos; }
};

class SourcePlayer {
 public:
  SourcePlayer(std::string file, Messages& messages);
  ~SourcePlayer();
  SourcePlayer(const SourcePlayer&) = delete;
  SourcePlayer& operator=(const SourcePlayer&) = delete;

  // Says why when it fails.
  ExitCode load();
  const std::vector<PinEntry>& pins() const { return pins_; }
  IBaseFilter& source() const { return *source_.get(); }

  // Connects a sink that hands the pin's samples to `consumer`, which outlives the player. The gates as in
  // MediaSink.
  HRESULT connect(const PinEntry& pin, SampleConsumer& consumer, StartGate* opens, StartGate* waits_for);
  // What was agreed on with a connected pin.
  static CMediaType connection_type(const PinEntry& pin);

  // The longest stream; 0 when it is not told.
  int64_t duration() const;
  // Before play. Says why when it fails.
  ExitCode seek(const PlayRange& range);

  // Runs until every connected stream has ended. `on_slice` is called about ten times a second and ends the
  // run by answering false. Reports a pin that aborts.
  ExitCode play(const std::function<bool()>& on_slice);

 private:
  ExitCode explain(const OpenDiagnosis& diagnosis);
  void collect_pins();
  HRESULT set_positions(const PlayRange& range);
  ExitCode run_until_complete(const std::function<bool()>& on_slice);

  std::string file_;
  Messages& messages_;
  ComPtr<IBaseFilter> source_;
  ComPtr<FilterGraph> graph_;
  std::vector<PinEntry> pins_;
  size_t connected_ = 0;
};

}  // namespace zdr::host
