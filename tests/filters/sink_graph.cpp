#include "tests/filters/sink_graph.h"

namespace zdr::tests {

HRESULT SinkGraph::build() {
  HRESULT result = S_OK;
  under_test.filter->JoinFilterGraph(&graph, u"source");
  const auto count = static_cast<size_t>(under_test.pin_count());
  for (size_t i = 0; i < count; ++i) {
    lines_.push_back(std::make_unique<Line>());
    SinkOptions options;
    options.log = &lines_[i]->log;
    lines_[i]->sink = TestSink::create(std::move(options));
    lines_[i]->sink->JoinFilterGraph(&graph, u"sink");
    const HRESULT hr = connect(i);
    if (result == S_OK) result = hr;
  }
  return result;
}

SinkGraph::~SinkGraph() {
  stop();
  for (size_t i = 0; i < lines_.size(); ++i) disconnect(i);
  for (const auto& line : lines_) line->sink->JoinFilterGraph(nullptr, nullptr);
  under_test.filter->JoinFilterGraph(nullptr, nullptr);
}

HRESULT SinkGraph::connect(size_t index) {
  return under_test.pin(static_cast<int>(index)).Connect(&sink(index), nullptr);
}

void SinkGraph::disconnect(size_t index) {
  under_test.pin(static_cast<int>(index)).Disconnect();
  sink(index).Disconnect();
}

// Failures of the sinks are not what is tested.
template <class Change>
HRESULT SinkGraph::change_state(Change change) {
  for (const auto& line : lines_) change(static_cast<IBaseFilter&>(*line->sink.get()));
  return change(*under_test.filter.get());
}

HRESULT SinkGraph::pause() {
  return change_state([](IBaseFilter& filter) { return filter.Pause(); });
}

HRESULT SinkGraph::run() {
  return change_state([](IBaseFilter& filter) { return filter.Run(0); });
}

HRESULT SinkGraph::stop() {
  return change_state([](IBaseFilter& filter) { return filter.Stop(); });
}

HRESULT SinkGraph::seek(REFERENCE_TIME start) {
  return under_test.seeking(0)->SetPositions(&start, AM_SEEKING_AbsolutePositioning, nullptr,
                                             AM_SEEKING_NoPositioning);
}

// The log tells where segments begin, and that what came before a flush or a stop is void. It may be ahead of
// the samples by one.
SinkGraph::Line& SinkGraph::updated(size_t index) {
  Line& line = *lines_[index];
  for (const std::string& entry : line.log.take()) {
    const bool begins = entry.starts_with("new segment ");
    if (begins || entry == "end flush" || entry == "active") line.segment.clear();
    if (begins) line.segment_start = std::stoll(entry.substr(12));
    if (!entry.starts_with("sample")) continue;
    while (line.taken.empty() && sink(index).wait_for_samples(1)) {
      for (SinkSample& sample : sink(index).take_samples()) line.taken.push_back(std::move(sample));
    }
    line.segment.push_back(std::move(line.taken.front()));
    line.taken.pop_front();
  }
  return line;
}

std::vector<SinkSample> SinkGraph::segment(size_t index) {
  return updated(index).segment;
}

REFERENCE_TIME SinkGraph::segment_start(size_t index) {
  return updated(index).segment_start;
}

bool SinkGraph::wait_for_segment(size_t index, size_t samples) {
  while (updated(index).segment.size() < samples) {
    if (lines_[index]->taken.empty() && !sink(index).wait_for_samples(1)) return false;
  }
  return true;
}

bool SinkGraph::wait_for_ends() {
  for (size_t i = 0; i < lines_.size(); ++i) {
    if (!wait_for_end(i)) return false;
  }
  return true;
}

std::vector<std::string> SinkGraph::breaches() {
  std::vector<std::string> all;
  for (const auto& line : lines_) {
    for (std::string& breach : line->sink->pin().breaches()) all.push_back(std::move(breach));
  }
  return all;
}

}  // namespace zdr::tests
