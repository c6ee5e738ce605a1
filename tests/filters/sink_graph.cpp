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

std::vector<SinkSample> SinkGraph::segment(size_t index) {
  Line& line = *lines_[index];
  const std::lock_guard lock(line.mutex);
  for (const std::string& entry : line.log.take()) {
    if (entry.starts_with("new segment")) line.segment_begin = line.recorded;
    if (entry.starts_with("sample")) ++line.recorded;
  }
  std::vector<SinkSample> samples = sink(index).samples();
  samples.resize(line.recorded);
  samples.erase(samples.begin(), samples.begin() + static_cast<std::ptrdiff_t>(line.segment_begin));
  return samples;
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
