// CBaseFilter: the walks over its pins at changes of state, graph membership, events.
#include <com_ptr.h>
#include <gtest/gtest.h>
#include <streams.h>

#include <string>

#include "tests/platform/dshow/any_filter.h"
#include "tests/support/test_graph.h"

namespace zdr::test {
namespace {

using com::ComPtr;

// A pin that claims to be connected. Its letter: o agrees to everything, u is not connected; a, r and i (or
// I) fail to become active, to run and to become inactive.
class ScriptedPin final : public AgreeingPin {
 public:
  ScriptedPin(CBaseFilter* filter, CCritSec* lock, char letter, std::string* log)
      : AgreeingPin(filter, lock, letter == 'o' ? u"ok" : u"OK", PINDIR_OUTPUT), letter_(letter), log_(log) {
    if (letter != 'u') m_Connected = this;
  }

  HRESULT Active() override { return logged('A', letter_ == 'a' ? E_OUTOFMEMORY : S_OK); }
  HRESULT Run(REFERENCE_TIME start) override {
    return logged('R', letter_ == 'r' ? E_ACCESSDENIED : start == 7 ? S_OK : E_INVALIDARG);
  }
  HRESULT Inactive() override {
    return logged('I', letter_ == 'i' ? E_ABORT : letter_ == 'I' ? E_HANDLE : S_OK);
  }

 private:
  HRESULT logged(char call, HRESULT result) {
    *log_ += {letter_, call, ' '};
    return result;
  }

  const char letter_;
  std::string* const log_;
};

// A pin for each letter; '-' is a missing one.
class ScriptedFilter final : public AnyFilter {
 public:
  explicit ScriptedFilter(const std::string& letters) : letters_(letters) {
    for (const char letter : letters) add<ScriptedPin>(letter, &log);
  }
  CBasePin* GetPin(int index) override {
    return letters_[static_cast<std::size_t>(index)] == '-' ? nullptr : AnyFilter::GetPin(index);
  }

  std::string log;

 private:
  const std::string letters_;
};

TEST(BaseFilter, KeptFailedPauseLeavesEarlierPinsActive) {
  const struct {
    const char* pins;
    const char* operations;  // s stop, p pause, r run
    HRESULT result;          // of the last operation
    FILTER_STATE state;
    const char* log;  // of the last operation: letter and call
  } cases[] = {
      {"ouo", "p", S_OK, State_Paused, "oA oA "},
      {"o", "pp", S_OK, State_Paused, ""},
      {"o", "rp", S_OK, State_Paused, ""},
      {"o-o", "p", S_OK, State_Paused, "oA "},  // a missing pin ends the walk
      {"oo", "r", S_OK, State_Running, "oA oA oR oR "},
      {"o", "rr", S_OK, State_Running, ""},
      {"a", "r", E_OUTOFMEMORY, State_Stopped, "aA "},
      {"oro", "pr", E_ACCESSDENIED, State_Paused, "oR rR "},
      {"ouo", "rs", S_OK, State_Stopped, "oI oI "},
      {"i", "s", S_OK, State_Stopped, ""},
      {"oiI", "ps", E_ABORT, State_Stopped, "oI iI II "},
      {"oao", "p", E_OUTOFMEMORY, State_Stopped, "oA aA "},
      {"oao", "ps", S_OK, State_Stopped, ""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string(c.pins) + " " + c.operations);
    const ComPtr<ScriptedFilter> filter(new ScriptedFilter(c.pins));
    HRESULT result = S_OK;
    for (const char operation : std::string(c.operations)) {
      filter->log.clear();
      result = operation == 's' ? filter->Stop() : operation == 'p' ? filter->Pause() : filter->Run(7);
    }
    EXPECT_EQ(result, c.result);
    FILTER_STATE state = State_Running;
    EXPECT_EQ(filter->GetState(INFINITE, &state), S_OK);
    EXPECT_EQ(state, c.state);
    EXPECT_EQ(filter->log, c.log);
  }
}

TEST(BaseFilter, JoinsAndLeavesAGraphWithoutReferencingIt) {
  TestGraph graph;
  const ComPtr<ScriptedFilter> filter(new ScriptedFilter(""));
  const std::u16string long_name(300, u'x');
  ASSERT_EQ(filter->JoinFilterGraph(&graph, long_name.c_str()), S_OK);
  EXPECT_EQ(graph.references(), 0);
  FILTER_INFO info{};
  ASSERT_EQ(filter->QueryFilterInfo(&info), S_OK);
  EXPECT_EQ(std::u16string(info.achName), long_name.substr(0, 127));
  EXPECT_EQ(graph.references(), 1);
  info.pGraph->Release();

  filter->NotifyEvent(EC_ERRORABORT, 1, 2);
  // The sender of a completion is always the filter.
  filter->NotifyEvent(EC_COMPLETE, S_OK, 2);
  const auto self = reinterpret_cast<LONG_PTR>(static_cast<IBaseFilter*>(filter.get()));
  EXPECT_EQ(graph.events(), (std::vector<GraphEvent>{{EC_ERRORABORT, 1, 2}, {EC_COMPLETE, S_OK, self}}));

  ASSERT_EQ(filter->JoinFilterGraph(nullptr, nullptr), S_OK);
  ASSERT_EQ(filter->QueryFilterInfo(&info), S_OK);
  EXPECT_EQ(info.pGraph, nullptr);
  EXPECT_EQ(info.achName[0], u'\0');
  EXPECT_EQ(filter->NotifyEvent(EC_ERRORABORT, 1, 2), E_NOTIMPL);
}

TEST(BaseFilter, FindsPinsByTheirExactNames) {
  const ComPtr<ScriptedFilter> filter(new ScriptedFilter("uo"));
  ComPtr<IPin> pin;
  EXPECT_EQ(filter->FindPin(u"ok", pin.out()), S_OK);
  EXPECT_EQ(pin.get(), static_cast<IPin*>(filter->GetPin(1)));
  EXPECT_EQ(filter->FindPin(u"Ok", pin.out()), VFW_E_NOT_FOUND);
  EXPECT_FALSE(pin);
}

}  // namespace
}  // namespace zdr::test
