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
  explicit TestChain(std::vector<StreamOptions> streams, std::vector<SinkOptions> sinks = {});
  ~TestChain();
  TestChain(const TestChain&) = delete;
  TestChain& operator=(const TestChain&) = delete;

  // S_OK when every connection was made.
  HRESULT connect();
  HRESULT pause();
  HRESULT run();
  HRESULT stop();
  void disconnect();

  TestStream& stream(int index = 0) { return source_->stream(index); }
  TestSinkPin& sink(std::size_t index = 0) { return sinks_[index]->pin(); }
  TestSource& source() { return *source_.get(); }
  TestSink& sink_filter(std::size_t index = 0) { return *sinks_[index].get(); }

  CallLog log;
  TestGraph graph;

 private:
  template <class Change>
  HRESULT change_state(Change change);

  com::ComPtr<TestSource> source_;
  std::vector<com::ComPtr<TestSink>> sinks_;
};

}  // namespace zdr::tests
