// SinkGraph: a loaded filter with a recording sink on its pins, which tests start, stop and seek. A seek goes
// through one pin.
#pragma once

#include <deque>
#include <memory>

#include "tests/filters/filter_under_test.h"
#include "tests/support/call_log.h"
#include "tests/support/sink_chain.h"

namespace zdr::tests {

class SinkGraph : public SinkChain {
 public:
  explicit SinkGraph(const test::MovieDescription& movie) : under_test(movie) { build(); }
  // Nothing is loaded yet.
  SinkGraph() = default;
  ~SinkGraph() { take_apart(); }
  SinkGraph(const SinkGraph&) = delete;
  SinkGraph& operator=(const SinkGraph&) = delete;

  // A sink for each pin, all connected. The first result that is not S_OK.
  HRESULT build();
  // To an absolute start, through the first pin.
  HRESULT seek(REFERENCE_TIME start);

  // The samples since the last new segment, flush or start of that sink. Takes them from the sink.
  std::vector<SinkSample> segment(size_t index);
  REFERENCE_TIME segment_start(size_t index);
  // Waits until that many samples of a segment have arrived.
  bool wait_for_segment(size_t index, size_t samples);
  bool wait_for_end(size_t index) { return sink(index).wait_for_end_of_stream(); }

  FilterUnderTest under_test;

 private:
  struct Line {
    CallLog log;
    std::deque<SinkSample> taken;  // not yet known to be of the present segment
    std::vector<SinkSample> segment;
    REFERENCE_TIME segment_start = -1;
  };

  Line& updated(size_t index);

  std::vector<std::unique_ptr<Line>> lines_;
};

}  // namespace zdr::tests
