// TestChain: a TestSource with a TestSink on every pin, in a TestGraph; started and stopped the way a graph
// does it, sinks first, and taken apart when it leaves scope.
#pragma once

#include "test_graph.h"
#include "test_sink.h"
#include "test_source.h"

namespace zdr::tests {

class TestChain {
 public:
  // The options' logs are set to the chain's own. One sink a stream; missing sink options are the default.
  explicit TestChain(std::vector<StreamOptions> streams, std::vector<SinkOptions> sinks = {}) {
    for (StreamOptions& options : streams) options.log = &log;
    source_ = TestSource::create(streams);
    source_->JoinFilterGraph(&graph, u"source");
    sinks.resize(streams.size());
    for (SinkOptions& options : sinks) {
      options.log = &log;
      sinks_.push_back(TestSink::create(std::move(options)));
      sinks_.back()->JoinFilterGraph(&graph, u"sink");
    }
  }
  ~TestChain() {
    stop();
    disconnect();
    for (const auto& sink : sinks_) sink->JoinFilterGraph(nullptr, nullptr);
    source_->JoinFilterGraph(nullptr, nullptr);
  }
  TestChain(const TestChain&) = delete;
  TestChain& operator=(const TestChain&) = delete;

  // S_OK when every connection was made.
  HRESULT connect() {
    for (std::size_t i = 0; i < sinks_.size(); ++i) {
      const HRESULT hr = stream(static_cast<int>(i)).Connect(&sink(i), nullptr);
      if (hr != S_OK) return hr;
    }
    return S_OK;
  }
  HRESULT pause() {
    return change_state([](CBaseFilter& filter) { return filter.Pause(); });
  }
  HRESULT run() {
    return change_state([](CBaseFilter& filter) { return filter.Run(0); });
  }
  HRESULT stop() {
    return change_state([](CBaseFilter& filter) { return filter.Stop(); });
  }
  void disconnect() {
    for (std::size_t i = 0; i < sinks_.size(); ++i) {
      stream(static_cast<int>(i)).Disconnect();
      sink(i).Disconnect();
    }
  }

  TestStream& stream(int index = 0) { return source_->stream(index); }
  TestSinkPin& sink(std::size_t index = 0) { return sinks_[index]->pin(); }
  TestSource& source() { return *source_.get(); }
  TestSink& sink_filter(std::size_t index = 0) { return *sinks_[index].get(); }

  CallLog log;
  TestGraph graph;

 private:
  // The first result that is not S_OK.
  template <class Change>
  HRESULT change_state(Change change) {
    HRESULT result = S_OK;
    for (const auto& sink : sinks_) {
      const HRESULT hr = change(*sink.get());
      if (result == S_OK) result = hr;
    }
    const HRESULT hr = change(*source_.get());
    return result == S_OK ? hr : result;
  }

  com::ComPtr<TestSource> source_;
  std::vector<com::ComPtr<TestSink>> sinks_;
};

}  // namespace zdr::tests
