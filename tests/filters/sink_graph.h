// SinkGraph: a filter with a recording sink on each pin. Tests start, stop and seek it; a seek goes through
// one pin.
#pragma once

#include "tests/filters/filter_under_test.h"
#include "tests/support/sink_chain.h"

namespace zdr::test {

// The two events that every filter of the session sets. Made after the first filter, which joins the session.
class SharedEvents {
 public:
  void set() const {
    for (const HANDLE each : {seek_handling_.get(), av_data_available_.get()}) SetEvent(each);
  }
  // Waits for both signals, and consumes them. False if one does not come in that time.
  bool wait(DWORD milliseconds) const {
    return WaitForSingleObject(seek_handling_.get(), milliseconds) == WAIT_OBJECT_0 &&
           WaitForSingleObject(av_data_available_.get(), milliseconds) == WAIT_OBJECT_0;
  }
  // The number of signals, which it consumes.
  int count() const {
    return (WaitForSingleObject(seek_handling_.get(), 0) == WAIT_OBJECT_0) +
           (WaitForSingleObject(av_data_available_.get(), 0) == WAIT_OBJECT_0);
  }

 private:
  mp4source::UniqueHandle seek_handling_{CreateEventW(nullptr, FALSE, FALSE, u"SeekHandlingEvent")};
  mp4source::UniqueHandle av_data_available_{CreateEventW(nullptr, FALSE, FALSE, u"AVDataAvailableEvent")};
};

class SinkGraph : public SinkChain {
 public:
  explicit SinkGraph(const MovieDescription& movie) : under_test(movie) { build(); }
  // No file is loaded.
  SinkGraph() = default;
  ~SinkGraph() { take_apart(); }
  SinkGraph(const SinkGraph&) = delete;
  SinkGraph& operator=(const SinkGraph&) = delete;

  // Connects a sink to each pin. Returns the first result that is not S_OK.
  HRESULT build() {
    add_sinks(static_cast<CBaseFilter&>(*under_test.filter.get()));
    return connect_all();
  }
  // To an absolute start, through the first pin.
  HRESULT seek(REFERENCE_TIME start) { return under_test.seek(start); }

  CZanMP4SourceOutputPin& pin(size_t index) { return under_test.pin(static_cast<int>(index)); }
  bool wait_for_end(size_t index) { return sink(index).wait_for_end_of_stream(); }

  FilterUnderTest under_test;
};

}  // namespace zdr::test
