// CBaseOutputPin and CBaseInputPin: the allocator of a connection, and when samples are accepted.
#include <com_ptr.h>
#include <gtest/gtest.h>
#include <streams.h>

#include <string>

#include "tests/platform/dshow/allocator_double.h"
#include "tests/platform/dshow/any_filter.h"

namespace zdr::test {
namespace {

using com::ComPtr;

// What both pins return in the search for an allocator, and a log of their calls.
struct Choice {
  HRESULT get_allocator = S_OK;
  int decide_failures = 0;  // so many calls of the output pin fail, when it sets the size
  int notify_failures = 0;  // the same for the input pin, when it is passed the chosen allocator
  ALLOCATOR_PROPERTIES requirements{};
  std::string log{};
};

class InputPin final : public CBaseInputPin {
 public:
  InputPin(CBaseFilter* filter, CCritSec* lock, Choice* choice)
      : CBaseInputPin(NAME("InputPin"), filter, lock, nullptr, u"in"), choice_(choice) {}

  HRESULT CheckMediaType(const CMediaType*) override { return S_OK; }
  HRESULT GetAllocator(IMemAllocator** allocator) override {
    return FAILED(choice_->get_allocator) ? choice_->get_allocator : CBaseInputPin::GetAllocator(allocator);
  }
  HRESULT GetAllocatorRequirements(ALLOCATOR_PROPERTIES* properties) override {
    *properties = choice_->requirements;
    return S_OK;
  }
  HRESULT NotifyAllocator(IMemAllocator* allocator, BOOL read_only) override {
    choice_->log += allocator == m_pAllocator ? "notify theirs, " : "notify own, ";
    return --choice_->notify_failures >= 0 ? E_ABORT : CBaseInputPin::NotifyAllocator(allocator, read_only);
  }
  IMemAllocator* allocator() const { return m_pAllocator; }

 private:
  Choice* const choice_;
};

class OutputPin final : public CBaseOutputPin {
 public:
  OutputPin(CBaseFilter* filter, CCritSec* lock, Choice* choice, InputPin* peer)
      : CBaseOutputPin(NAME("OutputPin"), filter, lock, nullptr, u"out"), choice_(choice), peer_(peer) {}

  HRESULT CheckMediaType(const CMediaType*) override { return S_OK; }
  HRESULT DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* request) override {
    choice_->log += allocator == peer_->allocator() ? "decide theirs " : "decide own ";
    choice_->log += std::to_string(request->cBuffers++) + '/' + std::to_string(request->cbAlign) + ", ";
    return --choice_->decide_failures >= 0 ? VFW_E_SIZENOTSET : S_OK;
  }
  IMemAllocator* allocator() const { return m_pAllocator; }

 private:
  Choice* const choice_;
  InputPin* const peer_;
};

TEST(OutputPin, UsesTheReceiversAllocatorOrElseItsOwn) {
  // In the log: whose allocator; the buffer count and alignment of the request.
  const std::tuple<Choice, HRESULT, const char*> cases[] = {
      {{.requirements = {5, 0, 16, 0}}, S_OK, "decide theirs 5/16, notify theirs, "},
      {{.get_allocator = E_FAIL}, S_OK, "decide own 0/1, notify own, "},
      // The second attempt gets the request as the first attempt left it.
      {{.decide_failures = 1}, S_OK, "decide theirs 0/1, decide own 1/1, notify own, "},
      {{.decide_failures = 2}, VFW_E_SIZENOTSET, "decide theirs 0/1, decide own 1/1, "},
      {{.notify_failures = 2}, E_ABORT, "decide theirs 0/1, notify theirs, decide own 1/1, notify own, "},
  };
  const CMediaType type = type_of('A');
  for (const auto& [script, result, log] : cases) {
    SCOPED_TRACE(log);
    Choice choice = script;
    const ComPtr<AnyFilter> filter(new AnyFilter);
    auto& in = filter->add<InputPin>(&choice);
    auto& out = filter->add<OutputPin>(&choice, &in);
    EXPECT_EQ(out.Connect(&in, &type), result);
    EXPECT_EQ(choice.log, log);
    EXPECT_EQ(in.IsConnected(), result == S_OK);
    EXPECT_EQ(out.allocator(), result == S_OK ? in.allocator() : nullptr);
    out.Disconnect();
    in.Disconnect();
    EXPECT_EQ(out.allocator(), nullptr);
  }
}

TEST(InputPin, RefusesSamplesWhileStoppedOrFlushing) {
  Choice choice;
  const ComPtr<AnyFilter> sink(new AnyFilter);
  auto& pin = sink->add<InputPin>(&choice);
  const auto allocator = make_committed(1, 16);
  pin.NotifyAllocator(allocator.get(), FALSE);
  ComPtr<IMediaSample> sample = take(*allocator.get());
  EXPECT_EQ(pin.Receive(sample.get()), VFW_E_WRONG_STATE);
  sink->Pause();
  EXPECT_EQ(pin.Receive(sample.get()), S_OK);
  pin.BeginFlush();
  EXPECT_EQ(pin.Receive(sample.get()), S_FALSE);
  pin.EndFlush();
  EXPECT_EQ(pin.Receive(sample.get()), S_OK);
  pin.BeginFlush();
  pin.Inactive();  // ends a flush
  EXPECT_EQ(pin.Receive(sample.get()), S_OK);
  sample.reset();
  sink->Stop();
}

}  // namespace
}  // namespace zdr::test
