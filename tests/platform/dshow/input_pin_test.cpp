// CBaseInputPin: when samples are taken, and what is found in them.
#include <com_ptr.h>
#include <gtest/gtest.h>
#include <streams.h>

#include <utility>
#include <vector>

#include "any_filter.h"
#include "tests/support/test_graph.h"
#include "tests/support/test_sink.h"

namespace zdr::tests {
namespace {

using com::ComPtr;

ComPtr<IMemAllocator> committed_allocator() {
  ComPtr<IMemAllocator> allocator;
  EXPECT_EQ(CoCreateInstance(CLSID_MemoryAllocator, nullptr, CLSCTX_INPROC_SERVER, IID_IMemAllocator,
                             allocator.out_void()),
            S_OK);
  ALLOCATOR_PROPERTIES request{.cBuffers = 2, .cbBuffer = 16, .cbAlign = 1, .cbPrefix = 0};
  ALLOCATOR_PROPERTIES actual{};
  EXPECT_EQ(allocator->SetProperties(&request, &actual), S_OK);
  EXPECT_EQ(allocator->Commit(), S_OK);
  return allocator;
}

SinkOptions only_valid_types() {
  SinkOptions options;
  options.check_type = [](const CMediaType& type) { return type.IsValid() ? S_OK : E_FAIL; };
  return options;
}

class InputPinTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(pin.NotifyAllocator(allocator.get(), FALSE), S_OK);
    sink->JoinFilterGraph(&graph, nullptr);
    ASSERT_EQ(allocator->GetBuffer(sample.out(), nullptr, nullptr, 0), S_OK);
  }
  void TearDown() override {
    sample.reset();
    allocator->Decommit();
    sink->JoinFilterGraph(nullptr, nullptr);
  }

  TestGraph graph;
  ComPtr<TestSink> sink = TestSink::create(only_valid_types());
  TestSinkPin& pin = sink->pin();
  ComPtr<IMemAllocator> allocator = committed_allocator();
  ComPtr<IMediaSample> sample;
};

TEST_F(InputPinTest, RefusesSamplesForTheFirstOfThreeReasons) {
  EXPECT_EQ(pin.Receive(nullptr), E_POINTER);
  EXPECT_EQ(pin.CheckStreaming(), VFW_E_WRONG_STATE);
  pin.Active();
  sink->Pause();
  EXPECT_EQ(pin.Receive(sample.get()), S_OK);

  // A type change that is refused ends the stream: first the end, then the event.
  CMediaType nothing;
  sample->SetMediaType(&nothing);
  EXPECT_EQ(pin.Receive(sample.get()), VFW_E_INVALIDMEDIATYPE);
  const auto events = graph.events();
  ASSERT_EQ(events.size(), 2u);
  EXPECT_EQ(events[0].code, EC_COMPLETE);
  EXPECT_EQ(events[1], (GraphEvent{EC_ERRORABORT, VFW_E_TYPE_NOT_ACCEPTED, 0}));

  EXPECT_EQ(pin.CheckStreaming(), VFW_E_RUNTIME_ERROR);
  pin.BeginFlush();
  EXPECT_EQ(pin.CheckStreaming(), S_FALSE);
  sink->Stop();
  EXPECT_EQ(pin.CheckStreaming(), VFW_E_WRONG_STATE);
  sink->Pause();
  EXPECT_EQ(pin.CheckStreaming(), S_FALSE);
  pin.EndFlush();
  EXPECT_EQ(pin.CheckStreaming(), S_OK);
  // Becoming inactive ends a flush that was left open.
  pin.BeginFlush();
  EXPECT_EQ(pin.Inactive(), S_OK);
  EXPECT_EQ(pin.CheckStreaming(), S_OK);
}

// A sample in memory of its own, which may hide its property record as the oldest kind of sample does.
class ChangingSample final : public CMediaSample {
 public:
  // Its own reference, which is never given back, keeps it away from an allocator.
  ChangingSample() : CMediaSample(NAME("ChangingSample"), nullptr, nullptr, bytes_, sizeof bytes_) {
    AddRef();
  }
  HRESULT QueryInterface(REFIID riid, void** ppv) override {
    if (!hides_properties || riid != IID_IMediaSample2) return CMediaSample::QueryInterface(riid, ppv);
    return *ppv = nullptr, E_NOINTERFACE;
  }

  bool hides_properties = false;

 private:
  BYTE bytes_[16] = {};
};

TEST_F(InputPinTest, CollectsTheSamePropertiesFromBothKindsOfSample) {
  pin.Active();
  sink->Pause();
  ChangingSample both;
  CMediaType type(&MEDIATYPE_Stream);
  REFERENCE_TIME start = 100;
  REFERENCE_TIME stop = 250;
  for (int bits = 0; bits < 64; ++bits) {
    SCOPED_TRACE(bits);
    both.SetSyncPoint(bits & 1);
    both.SetPreroll(bits & 2);
    both.SetDiscontinuity(bits & 4);
    both.SetMediaType((bits & 8) != 0 ? &type : nullptr);
    both.SetTime((bits & 16) != 0 ? &start : nullptr, (bits & 48) == 48 ? &stop : nullptr);
    both.SetActualDataLength(bits % 17);
    both.hides_properties = false;
    ASSERT_EQ(pin.Receive(&both), S_OK);
    const AM_SAMPLE2_PROPERTIES expected = *pin.SampleProps();
    both.hides_properties = true;
    ASSERT_EQ(pin.Receive(&both), S_OK);
    const AM_SAMPLE2_PROPERTIES& collected = *pin.SampleProps();
    EXPECT_EQ(collected.dwSampleFlags, expected.dwSampleFlags);
    EXPECT_EQ(collected.lActual, expected.lActual);
    EXPECT_EQ(collected.cbBuffer, expected.cbBuffer);
    EXPECT_EQ(collected.pbBuffer, expected.pbBuffer);
    EXPECT_EQ(collected.pMediaType != nullptr, expected.pMediaType != nullptr);
    if ((bits & 16) == 0) continue;
    EXPECT_EQ(collected.tStart, 100);
    EXPECT_EQ(collected.tStop, (bits & 32) == 0 ? 101 : 250);
  }
}

TEST_F(InputPinTest, CountsWhatItTakesOfSeveralSamples) {
  pin.Active();
  sink->Pause();
  ComPtr<IMediaSample> bad;
  ASSERT_EQ(allocator->GetBuffer(bad.out(), nullptr, nullptr, 0), S_OK);
  CMediaType nothing;
  bad->SetMediaType(&nothing);
  IMediaSample* samples[] = {sample.get(), sample.get(), bad.get(), sample.get()};
  LONG processed = 99;
  EXPECT_EQ(pin.ReceiveMultiple(samples, 1, &processed), S_OK);
  EXPECT_EQ(processed, 1);
  EXPECT_EQ(pin.ReceiveMultiple(samples, 4, &processed), VFW_E_INVALIDMEDIATYPE);
  EXPECT_EQ(processed, 2);
}

class PatientPin final : public CBaseInputPin {
 public:
  PatientPin(CBaseFilter* filter, CCritSec* lock, HRESULT can_block)
      : CBaseInputPin(NAME("PatientPin"), filter, lock, nullptr, u"in"), can_block_(can_block) {}
  HRESULT CheckMediaType(const CMediaType*) override { return S_OK; }
  HRESULT ReceiveCanBlock() override { return can_block_; }

 private:
  const HRESULT can_block_;
};

TEST(InputPin, CanBlockUnlessEveryConnectedReceiverDenies) {
  constexpr HRESULT kUnconnected = VFW_E_NOT_CONNECTED;
  const std::pair<std::vector<HRESULT>, HRESULT> cases[] = {
      {{}, S_OK},
      {{kUnconnected}, S_FALSE},
      {{S_FALSE, S_FALSE, kUnconnected}, S_FALSE},
      {{S_FALSE, S_OK}, S_OK},
      {{E_FAIL}, S_OK},
  };
  for (const auto& [downstream, result] : cases) {
    const ComPtr<AnyFilter> middle(new AnyFilter);
    const ComPtr<AnyFilter> end(new AnyFilter);
    auto& in = middle->add<PatientPin>(S_OK);
    for (const HRESULT answer : downstream) {
      auto& from = middle->add<OutputPin>();
      if (answer != kUnconnected) {
        ASSERT_EQ(from.Connect(&end->add<PatientPin>(answer), nullptr), S_OK);
      }
    }
    EXPECT_EQ(in.CBaseInputPin::ReceiveCanBlock(), result);
    for (const ComPtr<AnyFilter>& filter : {middle, end}) {
      for (const auto& pin : filter->pins) pin->Disconnect();
    }
  }
}

}  // namespace
}  // namespace zdr::tests
