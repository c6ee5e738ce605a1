// SinkChain: a TestSink on every pin of a source filter, all in a TestGraph. State changes reach the sinks
// first, as in any graph.
#pragma once

#include "tests/support/test_graph.h"
#include "tests/support/test_sink.h"

namespace zdr::test {

class SinkChain {
 public:
  SinkChain() = default;
  ~SinkChain() { take_apart(); }
  SinkChain(const SinkChain&) = delete;
  SinkChain& operator=(const SinkChain&) = delete;

  // Adds a sink for each pin; missing options are the default. The pins are not connected yet.
  void add_sinks(CBaseFilter& source, std::vector<SinkOptions> options = {}) {
    source_ = com::ComPtr<CBaseFilter>(&source);
    source_->JoinFilterGraph(&graph, u"source");
    options.resize(static_cast<size_t>(source.GetPinCount()));
    for (SinkOptions& each : options) {
      sinks_.emplace_back(new TestSink(std::move(each)));
      sinks_.back()->JoinFilterGraph(&graph, u"sink");
    }
  }
  HRESULT connect(size_t index) { return pin(index).Connect(&sink(index), nullptr); }
  void disconnect(size_t index) {
    pin(index).Disconnect();
    sink(index).Disconnect();
  }
  // Connects every pin; the first result that is not S_OK.
  HRESULT connect_all() {
    HRESULT result = S_OK;
    for (size_t i = 0; i < sinks_.size(); ++i) {
      const HRESULT hr = connect(i);
      if (result == S_OK) result = hr;
    }
    return result;
  }
  // Stops the filters, disconnects them and removes them from the graph.
  void take_apart() {
    if (!source_) return;
    stop();
    for (size_t i = 0; i < sinks_.size(); ++i) disconnect(i);
    for (const auto& sink : sinks_) sink->JoinFilterGraph(nullptr, nullptr);
    source_->JoinFilterGraph(nullptr, nullptr);
    sinks_.clear();
    source_.reset();
  }

  // Each returns the result of the source.
  HRESULT pause() {
    return change_state([](IBaseFilter& filter) { return filter.Pause(); });
  }
  HRESULT run() {
    return change_state([](IBaseFilter& filter) { return filter.Run(0); });
  }
  HRESULT stop() {
    return change_state([](IBaseFilter& filter) { return filter.Stop(); });
  }

  TestSinkPin& sink(size_t index = 0) { return sinks_[index]->pin(); }
  size_t sink_count() const { return sinks_.size(); }
  // Waits until every sink has received the end of its stream; false after kPatience.
  bool wait_for_ends() {
    for (size_t i = 0; i < sinks_.size(); ++i) {
      if (!sink(i).wait_for_end_of_stream()) return false;
    }
    return true;
  }
  // The rules of the stream that the source broke.
  std::vector<std::string> breaches() {
    std::vector<std::string> all;
    for (size_t i = 0; i < sinks_.size(); ++i) {
      for (std::string& breach : sink(i).breaches()) all.push_back(std::move(breach));
    }
    return all;
  }

  TestGraph graph;

 private:
  CBasePin& pin(size_t index) { return *source_->GetPin(static_cast<int>(index)); }

  template <class Change>
  HRESULT change_state(Change change) {
    for (const auto& sink : sinks_) change(static_cast<IBaseFilter&>(*sink.get()));
    return source_ ? change(static_cast<IBaseFilter&>(*source_.get())) : S_OK;
  }

  com::ComPtr<CBaseFilter> source_;
  std::vector<com::ComPtr<TestSink>> sinks_;
};

}  // namespace zdr::test
