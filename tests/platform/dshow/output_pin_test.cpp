// CBaseOutputPin: which allocator a connection gets, and what an output pin answers without one.
#include <com_ptr.h>
#include <gtest/gtest.h>
#include <streams.h>

#include <optional>
#include <string>
#include <vector>

#include "any_filter.h"
#include "tests/support/test_sink.h"

namespace zdr::tests {
namespace {

using com::ComPtr;

struct ChoiceCase {
  const char* what;
  std::vector<HRESULT> decide;  // our answers when asked for the size
  std::vector<HRESULT> notify;  // the receiver's answers to the choice
  HRESULT result;
  const char* log;  // whose allocator, with the buffer count and alignment of the request
  HRESULT get_allocator = S_OK;
  std::optional<ALLOCATOR_PROPERTIES> requirements{};
};

constexpr ALLOCATOR_PROPERTIES kWishes{.cBuffers = 5, .cbBuffer = 0, .cbAlign = 16, .cbPrefix = 0};

// The second request is what the first attempt has made of it.
const ChoiceCase kChoices[] = {
    {"theirs", {S_OK}, {S_OK}, S_OK, "decide theirs 0/1, notify theirs"},
    {"their wishes", {S_OK}, {S_OK}, S_OK, "decide theirs 5/16, notify theirs", S_OK, kWishes},
    {"none of theirs", {S_OK}, {S_OK}, S_OK, "decide own 0/1, notify own", E_FAIL},
    {"theirs is too small", {E_FAIL, S_OK}, {S_OK}, S_OK, "decide theirs 0/1, decide own 1/1, notify own"},
    {"none suits", {E_ABORT, VFW_E_SIZENOTSET}, {}, VFW_E_SIZENOTSET, "decide theirs 0/1, decide own 1/1"},
    {"they refuse both",
     {S_OK, S_OK},
     {E_FAIL, E_ABORT},
     E_ABORT,
     "decide theirs 0/1, notify theirs, decide own 1/1, notify own"},
};

HRESULT next_of(std::vector<HRESULT>& answers) {
  const HRESULT hr = answers.front();
  answers.erase(answers.begin());
  return hr;
}

TEST(OutputPin, TakesTheReceiversAllocatorElseItsOwn) {
  for (ChoiceCase c : kChoices) {
    SCOPED_TRACE(c.what);
    std::string log;
    ComPtr<TestSink> sink;
    const auto note = [&](const char* what, IMemAllocator* allocator, const std::string& more) {
      const char* owner = allocator == sink->pin().Allocator() ? " theirs" : " own";
      log += (log.empty() ? "" : ", ") + std::string(what) + owner + more;
    };
    SinkOptions options;
    options.get_allocator = c.get_allocator;
    options.requirements = c.requirements;
    options.notify_allocator = [&](IMemAllocator* allocator) {
      note("notify", allocator, "");
      return next_of(c.notify);
    };
    sink = TestSink::create(options);
    const ComPtr<AnyFilter> filter(new AnyFilter);
    auto& out = filter->add<OutputPin>([&](IMemAllocator* allocator, ALLOCATOR_PROPERTIES* request) {
      note("decide", allocator,
           ' ' + std::to_string(request->cBuffers) + '/' + std::to_string(request->cbAlign));
      ++request->cBuffers;
      return next_of(c.decide);
    });

    EXPECT_EQ(out.Connect(&sink->pin(), nullptr), c.result);
    EXPECT_EQ(log, c.log);
    EXPECT_EQ(sink->pin().IsConnected(), c.result == S_OK);
    EXPECT_EQ(out.allocator() != nullptr, c.result == S_OK);
    if (c.result != S_OK) continue;
    EXPECT_EQ(out.allocator(), sink->pin().Allocator());
    disconnect(out, sink->pin());
    EXPECT_EQ(out.allocator(), nullptr);
  }
}

// An allocator that will not be decommitted.
class BusyAllocator final : public IMemAllocator {
 public:
  HRESULT QueryInterface(REFIID, void**) override { return E_NOINTERFACE; }
  ULONG AddRef() override { return static_cast<ULONG>(++references); }
  ULONG Release() override { return static_cast<ULONG>(--references); }
  HRESULT SetProperties(ALLOCATOR_PROPERTIES*, ALLOCATOR_PROPERTIES*) override { return S_OK; }
  HRESULT GetProperties(ALLOCATOR_PROPERTIES*) override { return S_OK; }
  HRESULT Commit() override { return commit; }
  HRESULT Decommit() override { return decommit; }
  HRESULT GetBuffer(IMediaSample**, REFERENCE_TIME*, REFERENCE_TIME*, DWORD) override { return E_FAIL; }
  HRESULT ReleaseBuffer(IMediaSample*) override { return S_OK; }

  LONG references = 0;
  HRESULT commit = S_OK;
  HRESULT decommit = E_ACCESSDENIED;
};

TEST(OutputPin, KeepsItsConnectionWhileTheAllocatorWillNotDecommit) {
  BusyAllocator busy;
  {
    SinkOptions options;
    options.get_allocator = VFW_E_NO_ALLOCATOR;
    const auto sink = TestSink::create(options);
    const ComPtr<AnyFilter> filter(new AnyFilter);
    auto& out = filter->add<OutputPin>();
    out.own_allocator = ComPtr<IMemAllocator>(&busy);
    ASSERT_EQ(out.Connect(&sink->pin(), nullptr), S_OK);
    busy.commit = E_OUTOFMEMORY;
    EXPECT_EQ(filter->Pause(), E_OUTOFMEMORY);
    EXPECT_EQ(out.Inactive(), E_ACCESSDENIED);
    EXPECT_EQ(out.Disconnect(), E_ACCESSDENIED);
    EXPECT_EQ(out.allocator(), &busy);
    EXPECT_TRUE(out.IsConnected());
    EXPECT_EQ(sink->pin().Disconnect(), E_ACCESSDENIED);
    EXPECT_TRUE(sink->pin().IsConnected());
    busy.decommit = S_OK;
    EXPECT_EQ(out.Disconnect(), S_OK);
    EXPECT_EQ(sink->pin().Disconnect(), S_OK);
  }
  EXPECT_EQ(busy.references, 0);
}

TEST(OutputPin, HasItsOwnAnswersWhenUnconnectedOrMisused) {
  const ComPtr<AnyFilter> filter(new AnyFilter);
  auto& out = filter->add<OutputPin>();
  // An input pin that takes no samples in memory.
  EXPECT_EQ(out.Connect(&filter->add<AgreeingPin>(u"deaf", PINDIR_INPUT), nullptr), E_NOINTERFACE);
  IMediaSample* sample = nullptr;
  EXPECT_EQ(out.GetDeliveryBuffer(&sample, nullptr, nullptr, 0), E_NOINTERFACE);
  EXPECT_EQ(out.Active(), VFW_E_NO_ALLOCATOR);
  EXPECT_EQ(out.Inactive(), VFW_E_NO_ALLOCATOR);
  for (const HRESULT hr : {out.Deliver(nullptr), out.DeliverEndOfStream(), out.DeliverBeginFlush(),
                           out.DeliverEndFlush(), out.DeliverNewSegment(0, 1, 1.0)}) {
    EXPECT_EQ(hr, VFW_E_NOT_CONNECTED);
  }
  for (const HRESULT hr : {out.EndOfStream(), out.BeginFlush(), out.EndFlush()}) EXPECT_EQ(hr, E_UNEXPECTED);
}

}  // namespace
}  // namespace zdr::tests
