// Follows the segments of each sink.
#include "tests/filters/sink_graph.h"

namespace zdr::test {

HRESULT SinkGraph::build() {
  auto& source = static_cast<CBaseFilter&>(*under_test.filter.get());
  std::vector<SinkOptions> options(static_cast<size_t>(source.GetPinCount()));
  for (SinkOptions& each : options) {
    lines_.push_back(std::make_unique<Line>());
    each.log = &lines_.back()->log;
  }
  add_sinks(source, std::move(options));
  return connect_all();
}

// The log shows where segments start; samples before a flush or a stop are discarded. The log may be ahead of
// the samples by one.
SinkGraph::Line& SinkGraph::updated(size_t index) {
  Line& line = *lines_[index];
  for (const std::string& entry : line.log.take()) {
    const bool starts = entry.starts_with("new segment ");
    if (starts || entry == "end flush" || entry == "active") line.segment.clear();
    if (starts) line.segment_start = std::stoll(entry.substr(12));
    if (!entry.starts_with("sample")) continue;
    while (line.taken.empty() && sink(index).wait_for_samples(1)) {
      for (SinkSample& sample : sink(index).take_samples()) line.taken.push_back(std::move(sample));
    }
    line.segment.push_back(std::move(line.taken.front()));
    line.taken.pop_front();
  }
  return line;
}

bool SinkGraph::wait_for_segment(size_t index, size_t samples) {
  while (updated(index).segment.size() < samples) {
    if (lines_[index]->taken.empty() && !sink(index).wait_for_samples(1)) return false;
  }
  return true;
}

}  // namespace zdr::test
