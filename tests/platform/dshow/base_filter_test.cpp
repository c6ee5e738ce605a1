// CBaseFilter: the walks over its pins at changes of state, graph membership, events; and the enumerators
// over pins and media types, while the list of pins changes.
#include <com_ptr.h>
#include <gtest/gtest.h>
#include <streams.h>

#include <map>
#include <memory>
#include <string>

#include "tests/platform/dshow/any_filter.h"
#include "tests/support/test_graph.h"

namespace zdr::test {
namespace {

using com::ComPtr;

// A pin named by its letter. 'u' is unconnected; 'a', 'r' and 'i' (or 'I') fail in Active, Run and Inactive.
class LetterPin final : public AgreeingPin {
 public:
  LetterPin(CBaseFilter* filter, CCritSec* lock, char letter, std::string* log)
      : AgreeingPin(filter, lock, std::u16string(1, static_cast<WCHAR>(letter)).c_str(), PINDIR_OUTPUT,
                    "abc"),
        log_(log) {
    if (letter != 'u') m_Connected = this;
  }

  char letter() { return static_cast<char>(Name()[0]); }
  HRESULT Active() override { return logged('A', letter() == 'a' ? E_OUTOFMEMORY : S_OK); }
  HRESULT Run(REFERENCE_TIME start) override {
    return logged('R', letter() == 'r' ? E_ACCESSDENIED : start == 7 ? S_OK : E_INVALIDARG);
  }
  HRESULT Inactive() override {
    return logged('I', letter() == 'i' ? E_ABORT : letter() == 'I' ? E_HANDLE : S_OK);
  }

 private:
  HRESULT logged(char call, HRESULT result) {
    *log_ += {letter(), call, ' '};
    return result;
  }

  std::string* const log_;
};

// A filter whose list of pins is a text: a pin for each letter, '-' for a missing one.
class LetterFilter final : public CBaseFilter {
 public:
  explicit LetterFilter(const std::string& order)
      : CBaseFilter(NAME("LetterFilter"), nullptr, &lock_, GUID_NULL), order_(order) {}
  int GetPinCount() override { return static_cast<int>(order_.size()); }
  CBasePin* GetPin(int index) override {
    const char letter = order_[static_cast<std::size_t>(index)];
    if (letter == '-') return nullptr;
    std::unique_ptr<LetterPin>& pin = pins_[letter];
    if (!pin) pin = std::make_unique<LetterPin>(this, &lock_, letter, &log);
    return pin.get();
  }
  void change(const std::string& order) {
    order_ = order;
    IncrementPinVersion();
  }

  std::string log;

 private:
  CCritSec lock_;
  std::string order_;
  std::map<char, std::unique_ptr<LetterPin>> pins_;
};

TEST(BaseFilter, KeptFailedPauseLeavesEarlierPinsActive) {
  // Pins; operations (s stop, p pause, r run); of the last one: result, state, and each pin's letter with its
  // call.
  const std::tuple<const char*, const char*, HRESULT, FILTER_STATE, const char*> cases[] = {
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
  for (const auto& [pins, operations, expected, expected_state, log] : cases) {
    SCOPED_TRACE(std::string(pins) + " " + operations);
    const ComPtr<LetterFilter> filter(new LetterFilter(pins));
    HRESULT result = S_OK;
    for (const char operation : std::string(operations)) {
      filter->log.clear();
      result = operation == 's' ? filter->Stop() : operation == 'p' ? filter->Pause() : filter->Run(7);
    }
    EXPECT_EQ(result, expected);
    FILTER_STATE state = State_Running;
    EXPECT_EQ(filter->GetState(INFINITE, &state), S_OK);
    EXPECT_EQ(state, expected_state);
    EXPECT_EQ(filter->log, log);
  }
}

TEST(BaseFilter, JoinsAndLeavesAGraphWithoutReferencingIt) {
  TestGraph graph;
  const ComPtr<LetterFilter> filter(new LetterFilter(""));
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
  EXPECT_EQ(filter->NotifyEvent(EC_ERRORABORT, 1, 2), E_NOTIMPL);
}

TEST(BaseFilter, FindsPinsByTheirExactNames) {
  const ComPtr<LetterFilter> filter(new LetterFilter("uo"));
  ComPtr<IPin> pin;
  EXPECT_EQ(filter->FindPin(u"o", pin.out()), S_OK);
  EXPECT_EQ(pin.get(), static_cast<IPin*>(filter->GetPin(1)));
  PIN_INFO info{nullptr, PINDIR_INPUT, u""};
  EXPECT_EQ(pin->QueryPinInfo(&info), S_OK);
  EXPECT_TRUE(info.pFilter == filter.get() && info.dir == PINDIR_OUTPUT && info.achName[0] == u'o');
  info.pFilter->Release();
  EXPECT_EQ(filter->FindPin(u"O", pin.out()), VFW_E_NOT_FOUND);
  EXPECT_FALSE(pin);
}

// The letter of an item, which is released.
char take(IPin* pin) {
  const char letter = static_cast<LetterPin*>(pin)->letter();
  pin->Release();
  return letter;
}
char take(AM_MEDIA_TYPE* type) {
  const char letter = letter_of(*type);
  DeleteMediaType(type);
  return letter;
}

// The letters that Next returns, then '.' for S_FALSE or '!' for out of sync.
template <class Item = IPin*, class Enumerator>
std::string next(const ComPtr<Enumerator>& enumerator, ULONG count) {
  Item items[8] = {};
  ULONG fetched = 99;
  const HRESULT hr = enumerator->Next(count, items, &fetched);
  std::string letters;
  for (ULONG i = 0; i < fetched; ++i) letters += take(items[i]);
  return letters + (hr == S_FALSE ? "." : hr == VFW_E_ENUM_OUT_OF_SYNC ? "!" : "");
}

class EnumPins : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(filter->EnumPins(pins.out()), S_OK); }

  ComPtr<LetterFilter> filter{new LetterFilter("abc")};
  ComPtr<IEnumPins> pins;
  ComPtr<IEnumPins> clone;
};

TEST_F(EnumPins, WalksInOrderAndReportsWhenFewerAreLeft) {
  EXPECT_EQ(next(pins, 2), "ab");
  EXPECT_EQ(next(pins, 2), "c.");
  EXPECT_EQ(pins->Reset(), S_OK);
  EXPECT_EQ(pins->Skip(2), S_OK);
  // Past the end the position does not move.
  EXPECT_EQ(pins->Skip(2), S_FALSE);
  ASSERT_EQ(pins->Clone(clone.out()), S_OK);
  EXPECT_EQ(next(pins, 1), "c");
  EXPECT_EQ(next(clone, 1), "c");
  IPin* array[2] = {};
  EXPECT_EQ(pins->Next(2, array, nullptr), E_INVALIDARG);
}

TEST_F(EnumPins, RestartsAfterAChangeWithoutRepeatingAPin) {
  EXPECT_EQ(next(pins, 2), "ab");
  filter->change("cbad");
  EXPECT_EQ(pins->Skip(1), VFW_E_ENUM_OUT_OF_SYNC);
  EXPECT_EQ(pins->Clone(clone.out()), VFW_E_ENUM_OUT_OF_SYNC);
  EXPECT_EQ(next(pins, 1), "c");
  // In sync again. The clone remembers which pins the original has returned.
  ASSERT_EQ(pins->Clone(clone.out()), S_OK);
  EXPECT_EQ(next(pins, 3), "d.");
  EXPECT_EQ(next(clone, 3), "d.");
  EXPECT_EQ(pins->Reset(), S_OK);
  EXPECT_EQ(next(pins, 4), "cbad");
}

TEST_F(EnumPins, ReturnsNothingWhenAPinIsMissingInTheMiddle) {
  filter->change("ab-c");
  EXPECT_EQ(next(pins, 1), "a");
  // The walk is undone, so b is not lost.
  EXPECT_EQ(next(pins, 3), "!");
  EXPECT_EQ(next(pins, 1), "b");
}

TEST(EnumMediaTypes, KeptSkipMovesPastTheEnd) {
  const ComPtr<LetterFilter> filter(new LetterFilter("abc"));
  auto& pin = static_cast<AgreeingPin&>(*filter->GetPin(0));
  ComPtr<IEnumMediaTypes> types;
  ComPtr<IEnumMediaTypes> clone;
  ASSERT_EQ(pin.EnumMediaTypes(types.out()), S_OK);
  const auto next_of = [](const auto& enumerator, ULONG count) {
    return next<AM_MEDIA_TYPE*>(enumerator, count);
  };
  EXPECT_EQ(next_of(types, 2), "ab");
  ASSERT_EQ(types->Clone(clone.out()), S_OK);
  EXPECT_EQ(next_of(types, 2), "c.");
  EXPECT_EQ(next_of(clone, 1), "c");
  AM_MEDIA_TYPE* array[2] = {};
  EXPECT_EQ(types->Next(2, array, nullptr), E_INVALIDARG);

  types->Reset();
  EXPECT_EQ(types->Skip(3), S_OK);
  EXPECT_EQ(types->Skip(1), S_FALSE);
  EXPECT_EQ(types->Skip(0), S_OK);
  types->Reset();
  EXPECT_EQ(types->Skip(5), S_FALSE);
  pin.offers = "abcdefg";
  EXPECT_EQ(next_of(types, 1), "f");
  EXPECT_EQ(types->Skip(0xFFFFFFFF), S_FALSE);
  EXPECT_EQ(next_of(types, 1), ".");
}

}  // namespace
}  // namespace zdr::test
