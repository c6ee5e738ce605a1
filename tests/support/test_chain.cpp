// Putting a TestChain together and taking it apart.
#include "test_chain.h"

namespace zdr::tests {

TestChain::TestChain(std::vector<StreamOptions> streams, std::vector<SinkOptions> sinks) {
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

TestChain::~TestChain() {
  stop();
  disconnect();
  for (const auto& sink : sinks_) sink->JoinFilterGraph(nullptr, nullptr);
  source_->JoinFilterGraph(nullptr, nullptr);
}

HRESULT TestChain::connect() {
  for (std::size_t i = 0; i < sinks_.size(); ++i) {
    const HRESULT hr = stream(static_cast<int>(i)).Connect(&sink(i), nullptr);
    if (hr != S_OK) return hr;
  }
  return S_OK;
}

void TestChain::disconnect() {
  for (std::size_t i = 0; i < sinks_.size(); ++i) {
    stream(static_cast<int>(i)).Disconnect();
    sink(i).Disconnect();
  }
}

// The first result that is not S_OK.
template <class Change>
HRESULT TestChain::change_state(Change change) {
  HRESULT result = S_OK;
  for (const auto& sink : sinks_) {
    const HRESULT hr = change(*sink.get());
    if (result == S_OK) result = hr;
  }
  const HRESULT hr = change(*source_.get());
  return result == S_OK ? hr : result;
}

HRESULT TestChain::pause() {
  return change_state([](CBaseFilter& filter) { return filter.Pause(); });
}

HRESULT TestChain::run() {
  return change_state([](CBaseFilter& filter) { return filter.Run(0); });
}

HRESULT TestChain::stop() {
  return change_state([](CBaseFilter& filter) { return filter.Stop(); });
}

}  // namespace zdr::tests
