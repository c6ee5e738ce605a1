// SinkGraph: a loaded filter with a recording sink on its pins, started, stopped and sought the way a graph
// does it: state changes reach the sinks first, a seek goes through one pin.
#pragma once

#include <deque>
#include <memory>

#include "tests/filters/filter_under_test.h"
#include "tests/support/call_log.h"
#include "tests/support/test_graph.h"
#include "tests/support/test_sink.h"

namespace zdr::tests {

class SinkGraph {
 public:
  explicit SinkGraph(const test::MovieDescription& movie) : under_test(movie) { build(); }
  // Nothing is loaded yet.
  SinkGraph() = default;
  ~SinkGraph();
  SinkGraph(const SinkGraph&) = delete;
  SinkGraph& operator=(const SinkGraph&) = delete;

  // A sink for each pin, all connected. The first result that is not S_OK.
  HRESULT build();
  HRESULT connect(size_t index);
  void disconnect(size_t index);

  HRESULT pause();
  HRESULT run();
  HRESULT stop();
  // To an absolute start, through the first pin.
  HRESULT seek(REFERENCE_TIME start);

  TestSinkPin& sink(size_t index) { return lines_[index]->sink->pin(); }
  size_t sink_count() const { return lines_.size(); }
  // What has come since the last new segment, flush or start of that sink. Takes the samples away from the
  // sink.
  std::vector<SinkSample> segment(size_t index);
  REFERENCE_TIME segment_start(size_t index);
  // Until so many samples of a segment are here.
  bool wait_for_segment(size_t index, size_t samples);
  // False when patience ends.
  bool wait_for_ends();
  bool wait_for_end(size_t index) { return sink(index).wait_for_end_of_stream(); }
  std::vector<std::string> breaches();

  FilterUnderTest under_test;
  TestGraph graph;

 private:
  struct Line {
    CallLog log;
    com::ComPtr<TestSink> sink;
    std::deque<SinkSample> taken;  // not yet known to be of the present segment
    std::vector<SinkSample> segment;
    REFERENCE_TIME segment_start = -1;
  };

  Line& updated(size_t index);

  template <class Change>
  HRESULT change_state(Change change);

  std::vector<std::unique_ptr<Line>> lines_;
};

}  // namespace zdr::tests
