// CBaseFilter: the walks over its pins at changes of state, graph membership, clock, events.
#include <com_ptr.h>
#include <gtest/gtest.h>
#include <streams.h>

#include "any_filter.h"
#include "tests/support/call_log.h"
#include "tests/support/test_graph.h"

namespace zdr::tests {
namespace {

using com::ComPtr;

struct PinScript {
  const WCHAR* name = u"pin";
  bool connected = true;
  HRESULT active = S_OK;
  HRESULT run = S_OK;
  HRESULT inactive = S_OK;
};

// A pin that claims to be connected and answers its filter by script.
class ScriptedPin final : public AgreeingPin {
 public:
  ScriptedPin(CBaseFilter* filter, CCritSec* lock, const PinScript& script, CallLog* log, std::string label)
      : AgreeingPin(filter, lock, script.name, PINDIR_OUTPUT),
        script_(script),
        log_(log),
        label_(std::move(label)) {
    if (script.connected) m_Connected = this;
  }

  HRESULT Active() override { return logged("active", script_.active); }
  HRESULT Run(REFERENCE_TIME start) override { return logged("run " + std::to_string(start), script_.run); }
  HRESULT Inactive() override { return logged("inactive", script_.inactive); }

 private:
  HRESULT logged(const std::string& what, HRESULT result) {
    log_->add(label_ + " " + what);
    return result;
  }

  const PinScript script_;
  CallLog* const log_;
  const std::string label_;
};

class ScriptedFilter final : public AnyFilter {
 public:
  explicit ScriptedFilter(const std::vector<PinScript>& scripts, int missing_pin)
      : missing_pin_(missing_pin) {
    for (const PinScript& script : scripts) add<ScriptedPin>(script, &log, std::to_string(pins.size()));
  }
  CBasePin* GetPin(int index) override { return index == missing_pin_ ? nullptr : AnyFilter::GetPin(index); }

  CallLog log;

 private:
  const int missing_pin_;
};

ComPtr<ScriptedFilter> make_filter(const std::vector<PinScript>& scripts, int missing_pin = -1) {
  return ComPtr<ScriptedFilter>(new ScriptedFilter(scripts, missing_pin));
}

FILTER_STATE state_of(CBaseFilter& filter) {
  FILTER_STATE state = State_Running;
  EXPECT_EQ(filter.GetState(INFINITE, &state), S_OK);
  return state;
}

HRESULT apply(CBaseFilter& filter, char operation) {
  if (operation == 's') return filter.Stop();
  return operation == 'p' ? filter.Pause() : filter.Run(7);
}

std::string joined(const std::vector<std::string>& entries) {
  std::string text;
  for (const std::string& entry : entries) text += (text.empty() ? "" : ", ") + entry;
  return text;
}

TEST(BaseFilter, WalksItsConnectedPinsAtEachChangeOfState) {
  const PinScript ok;
  const PinScript unconnected{.connected = false};
  const PinScript active_says_no{.active = S_FALSE};
  const PinScript active_fails{.active = E_OUTOFMEMORY};
  const PinScript run_fails{.run = E_ACCESSDENIED};
  const PinScript inactive_fails{.inactive = E_ABORT};
  const PinScript inactive_fails_too{.inactive = E_HANDLE};
  const struct {
    const char* what;
    std::vector<PinScript> pins;
    int missing_pin;
    const char* operations;  // s stop, p pause, r run; the last one's result is checked
    HRESULT result;
    FILTER_STATE state;
    const char* log;  // of the last operation
  } cases[] = {
      {"pause activates", {ok, unconnected, ok}, -1, "p", S_OK, State_Paused, "0 active, 2 active"},
      {"pause again does nothing", {ok}, -1, "pp", S_OK, State_Paused, ""},
      {"pause from running calls no pin", {ok}, -1, "rp", S_OK, State_Paused, ""},
      {"a missing pin ends the walk", {ok, ok, ok}, 1, "p", S_OK, State_Paused, "0 active"},
      {"S_FALSE is no failure", {active_says_no, ok}, -1, "p", S_OK, State_Paused, "0 active, 1 active"},
      {"run pauses first", {ok, ok}, -1, "r", S_OK, State_Running, "0 active, 1 active, 0 run 7, 1 run 7"},
      {"run from paused", {ok}, -1, "pr", S_OK, State_Running, "0 run 7"},
      {"run again does nothing", {ok}, -1, "rr", S_OK, State_Running, ""},
      {"run ends at a failing pause", {active_fails}, -1, "r", E_OUTOFMEMORY, State_Stopped, "0 active"},
      {"stop deactivates", {ok, unconnected, ok}, -1, "rs", S_OK, State_Stopped, "0 inactive, 2 inactive"},
      {"stop when stopped calls no pin", {inactive_fails}, -1, "s", S_OK, State_Stopped, ""},
      {"stop goes on and keeps the first failure",
       {ok, inactive_fails, inactive_fails_too, ok},
       -1,
       "ps",
       E_ABORT,
       State_Stopped,
       "0 inactive, 1 inactive, 2 inactive, 3 inactive"},
      {"a failing run leaves it paused",
       {ok, run_fails, ok},
       -1,
       "r",
       E_ACCESSDENIED,
       State_Paused,
       "0 active, 1 active, 2 active, 0 run 7, 1 run 7"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    const auto filter = make_filter(c.pins, c.missing_pin);
    HRESULT result = S_OK;
    for (const char* operation = c.operations; *operation != '\0'; ++operation) {
      filter->log.take();
      result = apply(*filter.get(), *operation);
    }
    EXPECT_EQ(result, c.result);
    EXPECT_EQ(state_of(*filter.get()), c.state);
    EXPECT_EQ(joined(filter->log.take()), c.log);
  }
}

TEST(BaseFilter, RequiredFailedPauseLeavesEarlierPinsActive) {
  const auto filter = make_filter({{}, {.active = E_FAIL}, {}});
  EXPECT_EQ(filter->Pause(), E_FAIL);
  EXPECT_EQ(joined(filter->log.take()), "0 active, 1 active");
  EXPECT_EQ(state_of(*filter.get()), State_Stopped);
  EXPECT_EQ(filter->Stop(), S_OK);
  EXPECT_TRUE(filter->log.take().empty());
}

TEST(BaseFilter, JoinsAndLeavesAGraphWithoutReferencingIt) {
  TestGraph graph;
  const auto filter = make_filter({});
  const std::u16string long_name(300, u'x');
  ASSERT_EQ(filter->JoinFilterGraph(&graph, long_name.c_str()), S_OK);
  EXPECT_EQ(graph.references(), 0);
  EXPECT_EQ(filter->GetFilterGraph(), &graph);

  FILTER_INFO info{};
  ASSERT_EQ(filter->QueryFilterInfo(&info), S_OK);
  EXPECT_EQ(std::u16string(info.achName), long_name.substr(0, 127));
  EXPECT_EQ(graph.references(), 1);
  info.pGraph->Release();

  EXPECT_EQ(filter->NotifyEvent(EC_USER, 1, 2), S_OK);
  // The sender of a completion is the filter, whatever it says.
  EXPECT_EQ(filter->NotifyEvent(EC_COMPLETE, S_OK, 2), S_OK);
  const auto self = reinterpret_cast<LONG_PTR>(static_cast<IBaseFilter*>(filter.get()));
  EXPECT_EQ(graph.events(), (std::vector<GraphEvent>{{EC_USER, 1, 2}, {EC_COMPLETE, S_OK, self}}));

  EXPECT_EQ(filter->ReconnectPin(nullptr, nullptr), S_OK);
  graph.has_filter_graph2 = false;
  EXPECT_EQ(filter->ReconnectPin(nullptr, nullptr), S_OK);
  EXPECT_EQ(graph.reconnects(), (std::vector<std::string>{"ex", "plain"}));

  ASSERT_EQ(filter->JoinFilterGraph(nullptr, nullptr), S_OK);
  ASSERT_EQ(filter->QueryFilterInfo(&info), S_OK);
  EXPECT_EQ(info.pGraph, nullptr);
  EXPECT_EQ(info.achName[0], u'\0');
  EXPECT_EQ(filter->NotifyEvent(EC_USER, 1, 2), E_NOTIMPL);
  EXPECT_EQ(filter->ReconnectPin(nullptr, nullptr), E_NOINTERFACE);

  graph.has_event_sink = false;
  ASSERT_EQ(filter->JoinFilterGraph(&graph, u"again"), S_OK);
  EXPECT_EQ(filter->NotifyEvent(EC_USER, 1, 2), E_NOTIMPL);
  EXPECT_EQ(graph.references(), 0);
}

class StillClock final : public IReferenceClock {
 public:
  HRESULT QueryInterface(REFIID, void**) override { return E_NOINTERFACE; }
  ULONG AddRef() override { return static_cast<ULONG>(++references); }
  ULONG Release() override { return static_cast<ULONG>(--references); }
  HRESULT GetTime(REFERENCE_TIME* time) override { return *time = 1000, result; }
  HRESULT AdviseTime(REFERENCE_TIME, REFERENCE_TIME, HEVENT, DWORD_PTR*) override { return E_NOTIMPL; }
  HRESULT AdvisePeriodic(REFERENCE_TIME, REFERENCE_TIME, HSEMAPHORE, DWORD_PTR*) override {
    return E_NOTIMPL;
  }
  HRESULT Unadvise(DWORD_PTR) override { return E_NOTIMPL; }

  int references = 0;
  HRESULT result = S_OK;
};

TEST(BaseFilter, CountsStreamTimeFromTheStartOfTheRun) {
  StillClock clock;
  {
    const auto filter = make_filter({});
    CRefTime time;
    EXPECT_EQ(filter->StreamTime(time), VFW_E_NO_CLOCK);
    EXPECT_EQ(filter->SetSyncSource(&clock), S_OK);
    EXPECT_EQ(filter->SetSyncSource(&clock), S_OK);
    EXPECT_EQ(clock.references, 1);
    ASSERT_EQ(filter->Run(300), S_OK);
    EXPECT_EQ(filter->StreamTime(time), S_OK);
    EXPECT_EQ(time.GetUnits(), 700);
    clock.result = E_FAIL;
    EXPECT_EQ(filter->StreamTime(time), E_FAIL);
    IReferenceClock* source = nullptr;
    EXPECT_EQ(filter->GetSyncSource(&source), S_OK);
    EXPECT_EQ(source, &clock);
    source->Release();
    filter->Stop();
  }
  EXPECT_EQ(clock.references, 0);
}

TEST(BaseFilter, FindsPinsByTheirExactNames) {
  const auto filter = make_filter({{.name = u"Video"}, {.name = nullptr}, {.name = u"video"}});
  ComPtr<IPin> pin;
  EXPECT_EQ(filter->FindPin(u"video", pin.out()), S_OK);
  EXPECT_EQ(pin.get(), static_cast<IPin*>(filter->GetPin(2)));
  for (const WCHAR* unknown : {u"VIDEO", u"vide", u"video ", u""}) {
    EXPECT_EQ(filter->FindPin(unknown, pin.out()), VFW_E_NOT_FOUND);
    EXPECT_FALSE(pin);
  }
  EXPECT_EQ(filter->FindPin(u"video", nullptr), E_POINTER);
}

}  // namespace
}  // namespace zdr::tests
