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

// What a letter says of a pin: o agrees to everything, u is not connected, f says S_FALSE, a, r and i fail to
// become active, to run and to become inactive.
struct PinScript {
  explicit PinScript(char letter)
      : connected(letter != 'u'),
        active(letter == 'a'   ? E_OUTOFMEMORY
               : letter == 'f' ? S_FALSE
                               : S_OK),
        run(letter == 'r' ? E_ACCESSDENIED : S_OK),
        inactive(letter == 'i'   ? E_ABORT
                 : letter == 'I' ? E_HANDLE
                                 : S_OK) {}

  bool connected;
  HRESULT active;
  HRESULT run;
  HRESULT inactive;
};

// A pin that claims to be connected and answers its filter by script.
class ScriptedPin final : public AgreeingPin {
 public:
  ScriptedPin(CBaseFilter* filter, CCritSec* lock, char letter, CallLog* log, std::string label)
      : AgreeingPin(filter, lock, letter == 'o' ? u"ok" : u"OK", PINDIR_OUTPUT),
        script_(letter),
        log_(log),
        label_(std::move(label)) {
    if (script_.connected) m_Connected = this;
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

// A pin for each letter, '-' for one that is missing.
class ScriptedFilter final : public AnyFilter {
 public:
  explicit ScriptedFilter(const std::string& letters) : letters_(letters) {
    for (const char letter : letters) add<ScriptedPin>(letter, &log, std::to_string(pins.size()));
  }
  CBasePin* GetPin(int index) override {
    return letters_[static_cast<std::size_t>(index)] == '-' ? nullptr : AnyFilter::GetPin(index);
  }

  CallLog log;

 private:
  const std::string letters_;
};

ComPtr<ScriptedFilter> make_filter(const std::string& letters) {
  return ComPtr<ScriptedFilter>(new ScriptedFilter(letters));
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
  const struct {
    const char* what;
    const char* pins;
    const char* operations;  // s stop, p pause, r run; the last one's result is checked
    HRESULT result;
    FILTER_STATE state;
    const char* log;  // of the last operation
  } cases[] = {
      {"pause activates", "ouo", "p", S_OK, State_Paused, "0 active, 2 active"},
      {"pause again does nothing", "o", "pp", S_OK, State_Paused, ""},
      {"pause from running calls no pin", "o", "rp", S_OK, State_Paused, ""},
      {"a missing pin ends the walk", "o-o", "p", S_OK, State_Paused, "0 active"},
      {"S_FALSE is no failure", "fo", "p", S_OK, State_Paused, "0 active, 1 active"},
      {"run pauses first", "oo", "r", S_OK, State_Running, "0 active, 1 active, 0 run 7, 1 run 7"},
      {"run again does nothing", "o", "rr", S_OK, State_Running, ""},
      {"run ends at a failing pause", "a", "r", E_OUTOFMEMORY, State_Stopped, "0 active"},
      {"a failing run leaves it paused", "oro", "pr", E_ACCESSDENIED, State_Paused, "0 run 7, 1 run 7"},
      {"stop deactivates", "ouo", "rs", S_OK, State_Stopped, "0 inactive, 2 inactive"},
      {"stop when stopped calls no pin", "i", "s", S_OK, State_Stopped, ""},
      {"stop goes on and keeps the first failure", "oiI", "ps", E_ABORT, State_Stopped,
       "0 inactive, 1 inactive, 2 inactive"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    const auto filter = make_filter(c.pins);
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
  const auto filter = make_filter("oao");
  EXPECT_EQ(filter->Pause(), E_OUTOFMEMORY);
  EXPECT_EQ(joined(filter->log.take()), "0 active, 1 active");
  EXPECT_EQ(state_of(*filter.get()), State_Stopped);
  EXPECT_EQ(filter->Stop(), S_OK);
  EXPECT_TRUE(filter->log.take().empty());
}

TEST(BaseFilter, JoinsAndLeavesAGraphWithoutReferencingIt) {
  TestGraph graph;
  const auto filter = make_filter("");
  const std::u16string long_name(300, u'x');
  ASSERT_EQ(filter->JoinFilterGraph(&graph, long_name.c_str()), S_OK);
  EXPECT_EQ(graph.references(), 0);
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
  EXPECT_EQ(graph.references(), 0);
}

TEST(BaseFilter, FindsPinsByTheirExactNames) {
  const auto filter = make_filter("uoo");
  ComPtr<IPin> pin;
  EXPECT_EQ(filter->FindPin(u"ok", pin.out()), S_OK);
  EXPECT_EQ(pin.get(), static_cast<IPin*>(filter->GetPin(1)));
  for (const WCHAR* unknown : {u"Ok", u"o", u"ok ", u""}) {
    EXPECT_EQ(filter->FindPin(unknown, pin.out()), VFW_E_NOT_FOUND);
    EXPECT_FALSE(pin);
  }
  EXPECT_EQ(filter->FindPin(u"ok", nullptr), E_POINTER);
}

}  // namespace
}  // namespace zdr::tests
