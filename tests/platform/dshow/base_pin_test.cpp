// CBasePin: the steps of a connection in their order, what each failure undoes and returns, and which types
// are tried in which order.
#include <gtest/gtest.h>

#include <cctype>
#include <string>
#include <utility>

#include "tests/platform/dshow/any_filter.h"

namespace zdr::test {
namespace {

using com::ComPtr;

// A fully specified type with a letter in its sub type.
CMediaType type_of(char letter) {
  CMediaType type;
  type.majortype = MEDIATYPE_Stream;
  type.subtype.Data1 = static_cast<DWORD>(letter);
  type.formattype = FORMAT_None;
  return type;
}

// What both pins return for a type: capitals are accepted, small letters plainly refused, digits refused with
// a reason.
HRESULT result_for(char letter) {
  if (letter == '1') return E_OUTOFMEMORY;
  if (letter == '2') return E_ABORT;
  return letter >= 'a' && letter <= 'z' ? E_FAIL : S_OK;
}

char letter_of(const AM_MEDIA_TYPE& type) {
  return static_cast<char>(type.subtype.Data1);
}

// The steps of a connection as letters, capital for the output pin: Check connect, Type, Set, Finish, Break.
class Steps {
 public:
  void add(PIN_DIRECTION direction, char step) {
    steps_ += direction == PINDIR_OUTPUT ? step : static_cast<char>(std::tolower(step));
  }
  void attempt(char letter) { attempted_ += letter; }
  std::string take() { return std::exchange(steps_, {}); }
  // The letters of the types that the output pin has checked.
  const std::string& attempted() const { return attempted_; }

 private:
  std::string steps_;
  std::string attempted_;
};

// What one end of a connection offers and returns.
struct EndScript {
  std::string offers{};       // letters of the types; "-" when they cannot be enumerated
  HRESULT check_type = S_OK;  // instead of the result by letter
  HRESULT check_connect = S_OK;
  HRESULT set_type = S_OK;
  HRESULT complete = S_OK;
};

class ScriptedPin final : public AgreeingPin {
 public:
  ScriptedPin(CBaseFilter* filter, CCritSec* lock, PIN_DIRECTION direction, const EndScript& end,
              Steps* steps)
      : AgreeingPin(filter, lock, u"pin", direction), script(end), steps_(steps) {}

  HRESULT CheckConnect(IPin* peer) override {
    const HRESULT hr = CBasePin::CheckConnect(peer);
    return FAILED(hr) ? hr : logged('C', script.check_connect);
  }
  HRESULT CheckMediaType(const CMediaType* type) override {
    const char letter = letter_of(*type);
    if (m_dir == PINDIR_OUTPUT) steps_->attempt(letter);
    return logged('T', script.check_type == S_OK ? result_for(letter) : script.check_type);
  }
  HRESULT SetMediaType(const CMediaType* type) override {
    if (FAILED(script.set_type)) return logged('S', script.set_type);
    return logged('S', CBasePin::SetMediaType(type));
  }
  HRESULT CompleteConnect(IPin*) override { return logged('F', script.complete); }
  HRESULT BreakConnect() override { return logged('B', S_OK); }
  HRESULT GetMediaType(int position, CMediaType* type) override {
    if (static_cast<std::size_t>(position) >= script.offers.size()) return VFW_S_NO_MORE_ITEMS;
    return type->Set(type_of(script.offers[static_cast<std::size_t>(position)]));
  }
  HRESULT EnumMediaTypes(IEnumMediaTypes** types) override {
    return script.offers == "-" ? E_NOTIMPL : CBasePin::EnumMediaTypes(types);
  }

  const EndScript script;

 private:
  HRESULT logged(char step, HRESULT result) {
    steps_->add(m_dir, step);
    return result;
  }

  Steps* const steps_;
};

// Two filters with a pin each.
struct Pair {
  explicit Pair(const EndScript& out_script = {}, const EndScript& in_script = {},
                PIN_DIRECTION in_direction = PINDIR_INPUT) {
    out_filter->add<ScriptedPin>(PINDIR_OUTPUT, out_script, &steps);
    in_filter->add<ScriptedPin>(in_direction, in_script, &steps);
  }
  ~Pair() {
    out().Disconnect();
    in().Disconnect();
  }
  Pair(const Pair&) = delete;
  Pair& operator=(const Pair&) = delete;

  ScriptedPin& out() { return static_cast<ScriptedPin&>(*out_filter->GetPin(0)); }
  ScriptedPin& in() { return static_cast<ScriptedPin&>(*in_filter->GetPin(0)); }
  HRESULT connect(char letter) {
    const CMediaType type = type_of(letter);
    return out().Connect(&in(), &type);
  }

  Steps steps;
  ComPtr<AnyFilter> out_filter{new AnyFilter};
  ComPtr<AnyFilter> in_filter{new AnyFilter};
};

TEST(BasePin, ConnectsInOneFixedOrderOfSteps) {
  Pair pair;
  ASSERT_EQ(pair.connect('A'), S_OK);
  EXPECT_EQ(pair.steps.take(), "CTSctsfF");
  // Each pin holds a reference on the other, which is one on the other's filter.
  EXPECT_EQ(pair.out_filter->references(), 2u);
  EXPECT_EQ(pair.in_filter->references(), 2u);
  ComPtr<IPin> peer;
  EXPECT_EQ(pair.in().ConnectedTo(peer.out()), S_OK);
  EXPECT_EQ(peer.get(), static_cast<IPin*>(&pair.out()));
  peer.reset();
  CMediaType type;
  EXPECT_EQ(pair.in().ConnectionMediaType(&type), S_OK);
  EXPECT_EQ(letter_of(type), 'A');

  EXPECT_EQ(pair.out().Disconnect(), S_OK);
  EXPECT_EQ(pair.steps.take(), "B");
  EXPECT_EQ(pair.out().Disconnect(), S_FALSE);
  EXPECT_TRUE(pair.in().IsConnected()) << "Disconnect affects one side only";
  EXPECT_EQ(pair.in().Disconnect(), S_OK);
  EXPECT_EQ(pair.out_filter->references(), 1u);
  EXPECT_EQ(pair.in_filter->references(), 1u);
  EXPECT_EQ(pair.in().ConnectedTo(peer.out()), VFW_E_NOT_CONNECTED);
  EXPECT_FALSE(peer);
  EXPECT_EQ(pair.in().ConnectionMediaType(&type), VFW_E_NOT_CONNECTED);
  EXPECT_EQ(type.majortype, GUID_NULL);
}

TEST(BasePin, UndoesEveryFailedStepOnBothEnds) {
  // Connect itself adds the last break.
  const struct {
    const char* what;
    EndScript out;
    EndScript in;
    HRESULT result;
    const char* steps;
  } cases[] = {
      {"output refuses peer", {.check_connect = E_NOINTERFACE}, {}, E_NOINTERFACE, "CBB"},
      {"output refuses type", {.check_type = E_INVALIDARG}, {}, VFW_E_TYPE_NOT_ACCEPTED, "CTBB"},
      {"output returns S_FALSE", {.check_type = S_FALSE}, {}, VFW_E_TYPE_NOT_ACCEPTED, "CTBB"},
      {"output runs out of memory", {.check_type = E_OUTOFMEMORY}, {}, E_OUTOFMEMORY, "CTBB"},
      {"output cannot set", {.set_type = E_OUTOFMEMORY}, {}, E_OUTOFMEMORY, "CTSBB"},
      {"input refuses peer", {}, {.check_connect = E_ACCESSDENIED}, E_ACCESSDENIED, "CTScbBB"},
      {"input refuses type", {}, {.check_type = E_FAIL}, VFW_E_TYPE_NOT_ACCEPTED, "CTSctbBB"},
      {"input has a reason", {}, {.check_type = VFW_E_NO_DECOMPRESSOR}, VFW_E_NO_DECOMPRESSOR, "CTSctbBB"},
      {"input cannot set", {}, {.set_type = E_OUTOFMEMORY}, E_OUTOFMEMORY, "CTSctsbBB"},
      {"input cannot finish", {}, {.complete = E_ABORT}, E_ABORT, "CTSctsfbBB"},
      {"output cannot finish", {.complete = E_ABORT}, {}, E_ABORT, "CTSctsfFbBB"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    EndScript out = c.out;
    EndScript in = c.in;
    out.offers = in.offers = "B";  // not tried, because a fully specified type is given
    Pair pair(out, in);
    EXPECT_EQ(pair.connect('A'), c.result);
    EXPECT_EQ(pair.steps.take(), c.steps);
    EXPECT_FALSE(pair.out().IsConnected());
    EXPECT_FALSE(pair.in().IsConnected());
    EXPECT_EQ(pair.out_filter->references(), 1u);
    EXPECT_EQ(pair.in_filter->references(), 1u);
  }
}

TEST(BasePin, TriesTheReceiversTypesThenItsOwn) {
  constexpr HRESULT kNone = VFW_E_NO_ACCEPTABLE_TYPES;
  const struct {
    const char* what;
    const char* own;
    const char* receivers;
    const char* partial;  // "" none, "*" any stream, else that subtype
    HRESULT result;
    const char* attempted;
  } cases[] = {
      {"first offered", "CD", "AB", "", S_OK, "A"},
      {"second round", "CD", "ab", "", S_OK, "abC"},
      {"receiver cannot enumerate", "CD", "-", "", S_OK, "C"},
      {"neither can enumerate", "-", "-", "", kNone, ""},
      {"neither offers a type", "", "", "", kNone, ""},
      {"all plainly refused", "cd", "ab", "", kNone, "abcd"},
      {"a partial type filters", "CA", "BA", "A", S_OK, "A"},
      {"an unspecific partial type matches all", "cd", "ab", "*", kNone, "abcd"},
      {"none matches the partial type", "CD", "AB", "E", kNone, ""},
      {"the first reason of a round counts", "-", "a12", "", E_OUTOFMEMORY, "a12"},
      {"a reason does not end a round", "-", "1A", "", S_OK, "1A"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    Pair pair({.offers = c.own}, {.offers = c.receivers});
    CMediaType partial;
    partial.majortype = MEDIATYPE_Stream;
    if (c.partial[0] != '*') partial.subtype.Data1 = static_cast<DWORD>(c.partial[0]);
    EXPECT_EQ(pair.out().Connect(&pair.in(), c.partial[0] == '\0' ? nullptr : &partial), c.result);
    EXPECT_EQ(pair.steps.attempted(), c.attempted);
    EXPECT_EQ(pair.out().IsConnected(), c.result == S_OK);
  }
}

TEST(BasePin, KeptSecondRoundOfTypesHidesTheReasonOfTheFirst) {
  constexpr HRESULT kNone = VFW_E_NO_ACCEPTABLE_TYPES;
  const std::pair<const char*, HRESULT> cases[] = {
      {"2", E_ABORT}, {"c", kNone}, {"", kNone}, {"-", E_OUTOFMEMORY}};
  for (const auto& [own, result] : cases) {
    Pair pair({.offers = own}, {.offers = "1"});
    EXPECT_EQ(pair.out().Connect(&pair.in(), nullptr), result) << own;
  }
}

TEST(BasePin, RefusesToConnectBeforeAnyStep) {
  const CMediaType a = type_of('A');
  Pair pair;
  EXPECT_EQ(pair.out().Connect(nullptr, &a), E_POINTER);
  EXPECT_EQ(pair.in().ReceiveConnection(nullptr, &a), E_POINTER);
  EXPECT_EQ(pair.in().ReceiveConnection(&pair.out(), nullptr), E_POINTER);
  ASSERT_EQ(pair.connect('A'), S_OK);
  pair.steps.take();
  EXPECT_EQ(pair.connect('A'), VFW_E_ALREADY_CONNECTED);
  pair.out().Disconnect();
  pair.in().Disconnect();
  pair.steps.take();
  pair.out_filter->Pause();
  pair.in_filter->Pause();
  EXPECT_EQ(pair.connect('A'), VFW_E_NOT_STOPPED);
  EXPECT_EQ(pair.in().ReceiveConnection(&pair.out(), &a), VFW_E_NOT_STOPPED);
  EXPECT_EQ(pair.out().Disconnect(), VFW_E_NOT_STOPPED);
  EXPECT_EQ(pair.steps.take(), "");
  pair.out_filter->Stop();
  pair.in_filter->Stop();

  Pair same_direction({}, {}, PINDIR_OUTPUT);
  EXPECT_EQ(same_direction.connect('A'), VFW_E_INVALID_DIRECTION);
}

}  // namespace
}  // namespace zdr::test
