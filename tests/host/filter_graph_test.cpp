// Which pairs of pins the graph refuses to connect.
#include "host/graph/filter_graph.h"

#include <gtest/gtest.h>

#include "host/graph/media_sink.h"
#include "tests/platform/dshow/any_filter.h"

namespace zdr::test {
namespace {

using namespace host;

struct NoConsumer : SampleConsumer {
  bool receive(IMediaSample&) override { return false; }
  void new_segment(REFERENCE_TIME, REFERENCE_TIME) override {}
};

TEST(FilterGraph, ConnectsPinsOfItsOwnFiltersThatFormNoCycle) {
  NoConsumer consumer;
  HRESULT hr = S_OK;
  const ComPtr<MediaSink> inside(new MediaSink(consumer, nullptr, nullptr, &hr));
  const ComPtr<MediaSink> outside(new MediaSink(consumer, nullptr, nullptr, &hr));
  const ComPtr<FilterGraph> graph(new FilterGraph);
  ASSERT_EQ(graph->AddFilter(inside.get(), u"inside"), S_OK);
  EXPECT_EQ(graph->ConnectDirect(&inside->pin(), &outside->pin(), nullptr), VFW_E_NOT_IN_GRAPH);
  EXPECT_EQ(graph->ConnectDirect(&outside->pin(), &inside->pin(), nullptr), VFW_E_NOT_IN_GRAPH);
  EXPECT_EQ(graph->ConnectDirect(&inside->pin(), &inside->pin(), nullptr), VFW_E_CIRCULAR_GRAPH);
  EXPECT_EQ(graph->ConnectDirect(nullptr, &inside->pin(), nullptr), E_POINTER);
}

// A chain of three filters refuses only the connection of its end to its beginning.
TEST(FilterGraph, LongCyclesAreRefused) {
  const ComPtr<FilterGraph> graph(new FilterGraph);
  ComPtr<AnyFilter> filters[3];
  for (ComPtr<AnyFilter>& filter : filters) {
    filter = ComPtr<AnyFilter>(new AnyFilter);
    filter->add<AgreeingPin>(u"in", PINDIR_INPUT);
    filter->add<AgreeingPin>(u"out", PINDIR_OUTPUT, "A");
    ASSERT_EQ(graph->AddFilter(filter.get(), u"link"),
              filter.get() == filters[0].get() ? S_OK : VFW_S_DUPLICATE_NAME);
  }
  for (const auto& [from, to, result] :
       {std::tuple{1, 2, S_OK}, {0, 1, S_OK}, {2, 0, VFW_E_CIRCULAR_GRAPH}}) {
    EXPECT_EQ(graph->ConnectDirect(filters[from]->GetPin(1), filters[to]->GetPin(0), nullptr), result)
        << from;
  }
  EXPECT_EQ(graph->Reconnect(filters[0]->GetPin(1)), S_OK);
}

// A source reports its end also after a consumer has taken all it needs.
TEST(FilterGraph, EachSinkReportsItsEndOnce) {
  NoConsumer consumer;
  HRESULT hr = S_OK;
  const ComPtr<MediaSink> sink(new MediaSink(consumer, nullptr, nullptr, &hr));
  const ComPtr<AnyFilter> source(new AnyFilter);
  source->add<AgreeingPin>(u"out", PINDIR_OUTPUT, "A");
  const ComPtr<FilterGraph> graph(new FilterGraph);
  ASSERT_EQ(graph->AddFilter(source.get(), u"source"), S_OK);
  ASSERT_EQ(graph->AddFilter(sink.get(), u"sink"), S_OK);
  ASSERT_EQ(graph->ConnectDirect(source->GetPin(0), &sink->pin(), nullptr), S_OK);
  graph->set_state(State_Running);
  for (int i = 0; i < 2; ++i) EXPECT_EQ(sink->pin().EndOfStream(), S_OK);
  const std::optional<GraphEvent> event = graph->wait_event({});
  EXPECT_TRUE(event && event->code == EC_COMPLETE);
  EXPECT_FALSE(graph->has_events());
}

}  // namespace
}  // namespace zdr::test
