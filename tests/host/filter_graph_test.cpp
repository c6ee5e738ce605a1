// Which pairs of pins the graph refuses to connect.
#include "host/graph/filter_graph.h"

#include <gtest/gtest.h>

#include "host/graph/media_sink.h"

namespace zdr::test {
namespace {

using namespace host;

struct NoConsumer : SampleConsumer {
  bool receive(IMediaSample&) override { return false; }
  void new_segment(REFERENCE_TIME, REFERENCE_TIME) override {}
};

TEST(FilterGraph, ConnectsPinsOfItsOwnFiltersThatFormNoCircle) {
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

}  // namespace
}  // namespace zdr::test
