// Pins: the steps of a connection in their order, what each failure undoes and returns, which types are tried
// in which order, the allocator of a connection, and when samples are accepted.
#include <gtest/gtest.h>

#include <array>
#include <cctype>
#include <string>
#include <utility>

#include "tests/platform/dshow/allocator_double.h"
#include "tests/platform/dshow/any_filter.h"

namespace zdr::test {
namespace {

using com::ComPtr;

// What both pins return for a type: capitals are accepted, small letters plainly refused, digits refused with
// a reason.
HRESULT result_for(char letter) {
  if (letter == '1') return E_OUTOFMEMORY;
  if (letter == '2') return E_ABORT;
  return letter >= 'a' && letter <= 'z' ? E_FAIL : S_OK;
}

struct Log {
  std::string steps;      // Check connect, Type, Set, Finish, Break; a capital for the output pin
  std::string attempted;  // the letters of the types that the output pin has checked
};

// What one end of a connection offers and returns.
struct EndScript {
  std::string offers{};       // "-" when the types cannot be enumerated
  HRESULT check_type = S_OK;  // instead of the result by letter
  HRESULT check_connect = S_OK;
  HRESULT set_type = S_OK;
  HRESULT complete = S_OK;
};

class ScriptedPin final : public AgreeingPin {
 public:
  ScriptedPin(CBaseFilter* filter, CCritSec* lock, PIN_DIRECTION direction, const EndScript& end, Log* log)
      : AgreeingPin(filter, lock, u"pin", direction, end.offers), script_(end), log_(log) {}

  HRESULT CheckConnect(IPin* peer) override {
    const HRESULT hr = CBasePin::CheckConnect(peer);
    return FAILED(hr) ? hr : logged('C', script_.check_connect);
  }
  HRESULT CheckMediaType(const CMediaType* type) override {
    if (m_dir == PINDIR_OUTPUT) log_->attempted += letter_of(*type);
    return logged('T', script_.check_type == S_OK ? result_for(letter_of(*type)) : script_.check_type);
  }
  HRESULT SetMediaType(const CMediaType* type) override {
    return logged('S', FAILED(script_.set_type) ? script_.set_type : CBasePin::SetMediaType(type));
  }
  HRESULT CompleteConnect(IPin*) override { return logged('F', script_.complete); }
  HRESULT BreakConnect() override { return logged('B', S_OK); }
  HRESULT EnumMediaTypes(IEnumMediaTypes** types) override {
    return offers == "-" ? E_NOTIMPL : CBasePin::EnumMediaTypes(types);
  }

 private:
  HRESULT logged(char step, HRESULT result) {
    log_->steps += m_dir == PINDIR_OUTPUT ? step : static_cast<char>(std::tolower(step));
    return result;
  }

  const EndScript script_;
  Log* const log_;
};

// Two filters with a pin each.
struct Pair {
  explicit Pair(const EndScript& out_script = {}, const EndScript& in_script = {},
                PIN_DIRECTION in_direction = PINDIR_INPUT)
      : out(out_filter->add<ScriptedPin>(PINDIR_OUTPUT, out_script, &log)),
        in(in_filter->add<ScriptedPin>(in_direction, in_script, &log)) {}
  ~Pair() {
    out.Disconnect();
    in.Disconnect();
  }
  Pair(const Pair&) = delete;
  Pair& operator=(const Pair&) = delete;

  HRESULT connect(char letter) {
    const CMediaType type = type_of(letter);
    return out.Connect(&in, &type);
  }
  // Whether each end is connected, and the references on each filter: a pin's reference on its peer counts
  // for the peer's filter.
  std::array<ULONG, 4> state() {
    return {out.IsConnected() != FALSE, in.IsConnected() != FALSE, out_filter->references(),
            in_filter->references()};
  }

  Log log;
  ComPtr<AnyFilter> out_filter{new AnyFilter};
  ComPtr<AnyFilter> in_filter{new AnyFilter};
  ScriptedPin& out;
  ScriptedPin& in;
};

TEST(BasePin, ConnectsInOneFixedOrderAndUndoesEveryFailedStep) {
  // Connect itself adds the last break.
  const std::tuple<const char*, EndScript, EndScript, HRESULT, const char*> cases[] = {
      {"both agree", {}, {}, S_OK, "CTSctsfF"},
      {"output refuses peer", {.check_connect = E_NOINTERFACE}, {}, E_NOINTERFACE, "CBB"},
      {"output refuses type", {.check_type = E_INVALIDARG}, {}, VFW_E_TYPE_NOT_ACCEPTED, "CTBB"},
      {"output returns S_FALSE", {.check_type = S_FALSE}, {}, VFW_E_TYPE_NOT_ACCEPTED, "CTBB"},
      {"output cannot set", {.set_type = E_OUTOFMEMORY}, {}, E_OUTOFMEMORY, "CTSBB"},
      {"input refuses peer", {}, {.check_connect = E_ACCESSDENIED}, E_ACCESSDENIED, "CTScbBB"},
      {"input refuses type", {}, {.check_type = E_FAIL}, VFW_E_TYPE_NOT_ACCEPTED, "CTSctbBB"},
      {"input has a reason", {}, {.check_type = E_ACCESSDENIED}, E_ACCESSDENIED, "CTSctbBB"},
      {"input cannot set", {}, {.set_type = E_OUTOFMEMORY}, E_OUTOFMEMORY, "CTSctsbBB"},
      {"input cannot finish", {}, {.complete = E_ABORT}, E_ABORT, "CTSctsfbBB"},
      {"output cannot finish", {.complete = E_ABORT}, {}, E_ABORT, "CTSctsfFbBB"},
  };
  for (const auto& [what, out_script, in_script, result, steps] : cases) {
    EndScript out = out_script;
    EndScript in = in_script;
    out.offers = in.offers = "B";  // not tried, because a fully specified type is given
    Pair pair(out, in);
    EXPECT_EQ(pair.connect('A'), result) << what;
    EXPECT_EQ(pair.log.steps, steps) << what;
    const std::array<ULONG, 4> connected{1, 1, 2, 2};
    EXPECT_EQ(pair.state(), result == S_OK ? connected : (std::array<ULONG, 4>{0, 0, 1, 1})) << what;
  }
}

// The receiver's types are tried first.
TEST(BasePin, KeptSecondRoundOfTypesHidesTheReasonOfTheFirst) {
  constexpr HRESULT kNone = VFW_E_NO_ACCEPTABLE_TYPES;
  // What, own types, types of the receiver, the partial type ("" none, "*" any stream, else that subtype).
  const std::tuple<const char*, const char*, const char*, const char*, HRESULT, const char*> cases[] = {
      {"first offered", "CD", "AB", "", S_OK, "A"},
      {"second round", "CD", "ab", "", S_OK, "abC"},
      {"receiver cannot enumerate", "CD", "-", "", S_OK, "C"},
      {"neither can enumerate", "-", "-", "", kNone, ""},
      {"all plainly refused", "cd", "ab", "", kNone, "abcd"},
      {"a partial type filters", "CA", "BA", "A", S_OK, "A"},
      {"an unspecific partial type matches all", "cd", "ab", "*", kNone, "abcd"},
      {"none matches the partial type", "CD", "AB", "E", kNone, ""},
      {"the first reason of a round counts", "-", "a12", "", E_OUTOFMEMORY, "a12"},
      {"a reason does not end a round", "-", "1A", "", S_OK, "1A"},
      {"another reason hides the first", "2", "1", "", E_ABORT, "12"},
      {"a plain refusal hides it too", "c", "1", "", kNone, "1c"},
      {"so does an empty list", "", "1", "", kNone, "1"},
  };
  for (const auto& [what, own, receivers, filter, result, attempted] : cases) {
    Pair pair({.offers = own}, {.offers = receivers});
    CMediaType partial;
    partial.majortype = MEDIATYPE_Stream;
    if (filter[0] != '*') partial.subtype.Data1 = static_cast<DWORD>(filter[0]);
    EXPECT_EQ(pair.out.Connect(&pair.in, filter[0] == '\0' ? nullptr : &partial), result) << what;
    EXPECT_EQ(pair.log.attempted, attempted) << what;
    EXPECT_EQ(pair.out.IsConnected(), result == S_OK) << what;
  }
}

TEST(BasePin, ConnectsOnlyWhileStoppedAndDisconnectsOneSideOnly) {
  Pair same_direction({}, {}, PINDIR_OUTPUT);
  EXPECT_EQ(same_direction.connect('A'), VFW_E_INVALID_DIRECTION);

  const CMediaType a = type_of('A');
  Pair pair;
  pair.out_filter->Pause();
  pair.in_filter->Pause();
  EXPECT_EQ(pair.connect('A'), VFW_E_NOT_STOPPED);
  EXPECT_EQ(pair.in.ReceiveConnection(&pair.out, &a), VFW_E_NOT_STOPPED);
  pair.out_filter->Stop();
  pair.in_filter->Stop();
  EXPECT_EQ(pair.connect('A'), S_OK);
  EXPECT_EQ(pair.connect('A'), VFW_E_ALREADY_CONNECTED);

  ComPtr<IPin> peer;
  EXPECT_EQ(pair.in.ConnectedTo(peer.out()), S_OK);
  EXPECT_EQ(peer.get(), static_cast<IPin*>(&pair.out));
  peer.reset();
  CMediaType type;
  EXPECT_EQ(pair.in.ConnectionMediaType(&type), S_OK);
  EXPECT_EQ(letter_of(type), 'A');

  pair.out_filter->Pause();
  EXPECT_EQ(pair.out.Disconnect(), VFW_E_NOT_STOPPED);
  pair.out_filter->Stop();
  EXPECT_EQ(pair.out.Disconnect(), S_OK);
  EXPECT_EQ(pair.out.Disconnect(), S_FALSE);
  EXPECT_EQ(pair.state(), (std::array<ULONG, 4>{0, 1, 2, 1}));
  EXPECT_EQ(pair.out.ConnectedTo(peer.out()), VFW_E_NOT_CONNECTED);
  EXPECT_EQ(pair.out.ConnectionMediaType(&type), VFW_E_NOT_CONNECTED);
  EXPECT_EQ(type.majortype, GUID_NULL);
}

TEST(NullArguments, AreRefused) {
  Pair pair;
  IBaseFilter& filter = *pair.out_filter.get();
  IPin& pin = pair.out;
  CMediaType type = type_of('A');
  ComPtr<IEnumPins> pins;
  ComPtr<IEnumMediaTypes> types;
  ASSERT_EQ(filter.EnumPins(pins.out()), S_OK);
  ASSERT_EQ(pin.EnumMediaTypes(types.out()), S_OK);
  HRESULT hr = S_OK;
  const ComPtr<CMemAllocator> allocator(new CMemAllocator(NAME("allocator"), nullptr, &hr));
  ALLOCATOR_PROPERTIES properties{1, 1, 1, 0};
  const std::pair<const char*, HRESULT> results[] = {
      {"GetClassID", filter.GetClassID(nullptr)},
      {"GetState", filter.GetState(0, nullptr)},
      {"GetSyncSource", filter.GetSyncSource(nullptr)},
      {"EnumPins", filter.EnumPins(nullptr)},
      {"QueryFilterInfo", filter.QueryFilterInfo(nullptr)},
      {"FindPin", filter.FindPin(u"pin", nullptr)},
      {"QueryInterface", filter.QueryInterface(IID_IBaseFilter, nullptr)},
      {"Connect", pin.Connect(nullptr, &type)},
      {"ReceiveConnection", pin.ReceiveConnection(nullptr, &type)},
      {"ReceiveConnection, type", pair.in.ReceiveConnection(&pin, nullptr)},
      {"ConnectedTo", pin.ConnectedTo(nullptr)},
      {"ConnectionMediaType", pin.ConnectionMediaType(nullptr)},
      {"QueryPinInfo", pin.QueryPinInfo(nullptr)},
      {"QueryDirection", pin.QueryDirection(nullptr)},
      {"QueryId", pin.QueryId(nullptr)},
      {"QueryAccept", pin.QueryAccept(nullptr)},
      {"EnumMediaTypes", pin.EnumMediaTypes(nullptr)},
      {"IEnumPins::Next", pins->Next(1, nullptr, nullptr)},
      {"IEnumPins::Clone", pins->Clone(nullptr)},
      {"IEnumMediaTypes::Next", types->Next(1, nullptr, nullptr)},
      {"IEnumMediaTypes::Clone", types->Clone(nullptr)},
      {"GetBuffer", allocator->GetBuffer(nullptr, nullptr, nullptr, 0)},
      {"GetProperties", allocator->GetProperties(nullptr)},
      {"SetProperties", allocator->SetProperties(nullptr, &properties)},
      {"SetProperties, actual", allocator->SetProperties(&properties, nullptr)},
  };
  for (const auto& [call, result] : results) EXPECT_EQ(result, E_POINTER) << call;
}

// What both pins return in the search for an allocator, and a log of their calls.
struct Choice {
  HRESULT get_allocator = S_OK;
  int decide_failures = 0;  // calls of DecideBufferSize that fail
  int notify_failures = 0;  // calls of NotifyAllocator that fail
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
