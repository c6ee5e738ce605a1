// Plays arbitrary bytes as a file through the source filter and the host's graph and sinks. A script runs,
// pauses, stops, seeks, connects and disconnects; then what is left is played to its end. Every stream ends
// or delivers kMostSamples, and every object is released. No step depends on the clock: the engine reports a
// hang as a time-out.
#include <cstdint>
#include <list>

#include "fuzz/engine_option.h"
#include "fuzz/filter_under_fuzz.h"
#include "fuzz/media_input.h"
#include "fuzz/player_steps.h"
#include "host/graph/filter_graph.h"
#include "host/graph/media_sink.h"
#include "host/graph/stall_watch.h"

namespace zdr::fuzz {
namespace {

using com::ComPtr;
using host::FilterGraph;
using host::MediaSink;

constexpr uint32_t kMostSamples = 300;  // of a segment: tables can describe days of samples

class Consumer final : public host::SampleConsumer {
 public:
  bool receive(IMediaSample& sample) override {
    BYTE* bytes = nullptr;
    require(sample.GetPointer(&bytes) == S_OK && bytes != nullptr, "a delivered sample has a buffer");
    const LONG length = sample.GetActualDataLength();
    require(length >= 0 && length <= sample.GetSize(), "a sample fits its buffer");
    require(samples_ < kMostSamples, "a sink that has refused a sample gets no more");
    return ++samples_ < kMostSamples;
  }
  void new_segment(REFERENCE_TIME /*start*/, REFERENCE_TIME /*stop*/) override { samples_ = 0; }

 private:
  uint32_t samples_ = 0;
};

struct Pin {
  explicit Pin(IPin& output) : output(&output) {
    require(output.QueryInterface(IID_IMediaSeeking, seeking.out_void()) == S_OK, "every pin is seekable");
  }
  ComPtr<IPin> output;
  ComPtr<IMediaSeeking> seeking;
  Consumer consumer;
  ComPtr<MediaSink> sink;  // null while the pin is not connected
};

class Player {
 public:
  Player() : graph_(new FilterGraph), source_(new_source_filter()) {
    graph_->AddFilter(source_.get(), WIDE("Source"));
  }
  ~Player() {
    change_state(State_Stopped);
    graph_->tear_down();
  }
  Player(const Player&) = delete;
  Player& operator=(const Player&) = delete;

  // False if the file does not open.
  bool load(const std::filesystem::path& file) {
    ComPtr<IFileSourceFilter> loader;
    require(source_->QueryInterface(IID_IFileSourceFilter, loader.out_void()) == S_OK,
            "the filter loads files");
    const std::u16string name = file.u16string();
    if (FAILED(loader->Load(name.c_str(), nullptr))) return false;
    require(loader->Load(name.c_str(), nullptr) == E_UNEXPECTED, "a filter loads one file");
    host::for_each_pin(*source_.get(), [this](IPin& pin) { pins_.emplace_back(pin); });
    require(!pins_.empty(), "an open file has a pin");
    for (Pin& pin : pins_) connect(pin);
    return true;
  }

  void follow(Script script) {
    while (script.has_more())
      take(static_cast<Step>(script.next() % static_cast<uint8_t>(Step::kCount)), script);
  }

  void play_to_end() {
    change_state(State_Running);
    wait();
  }

 private:
  void take(Step step, Script& script) {
    switch (step) {
      case Step::kRun:
        return change_state(State_Running);
      case Step::kPause:
        return change_state(State_Paused);
      case Step::kStop:
        return change_state(State_Stopped);
      case Step::kWait:
        return wait();
      default:
        return take_on(pin(script), step, script);
    }
  }
  void take_on(Pin& pin, Step step, Script& script) {
    switch (step) {
      case Step::kSeek:
        return seek(pin, script.next());
      case Step::kSeekOddly:
        return seek_oddly(pin, script);
      case Step::kSwitchPin:
        change_state(State_Stopped);
        return pin.sink ? disconnect(pin) : connect(pin);
      case Step::kAsk:
        return ask(pin);
      default:
        return report_late(pin, script.next());
    }
  }

  Pin& pin(Script& script) {
    return *std::next(pins_.begin(), script.next() % static_cast<int>(pins_.size()));
  }

  // A pin whose stream has no media type is not connected.
  void connect(Pin& pin) {
    HRESULT hr = S_OK;
    pin.sink = ComPtr<MediaSink>(new MediaSink(pin.consumer, nullptr, nullptr, &hr));
    graph_->AddFilter(pin.sink.get(), WIDE("Sink"));
    if (FAILED(graph_->ConnectDirect(pin.output.get(), &pin.sink->pin(), nullptr))) disconnect(pin);
  }
  void disconnect(Pin& pin) {
    graph_->RemoveFilter(pin.sink.get());
    pin.sink.reset();
  }

  void change_state(FILTER_STATE state) {
    state_ = SUCCEEDED(graph_->set_state(state)) ? state : State_Stopped;
  }

  void wait() {
    if (state_ == State_Paused) {
      while (graph_->wait_until_cued(host::StallWatch::kSlice) == VFW_S_STATE_INTERMEDIATE) continue;
    }
    if (state_ != State_Running) return;
    for (const Pin& pin : pins_) {
      while (pin.sink && !pin.sink->has_ended()) graph_->wait_event(host::StallWatch::kSlice);
    }
  }

  // Up to a quarter after the end of the file, or far from it.
  static LONGLONG position(Pin& pin, uint8_t choice) {
    constexpr LONGLONG kFar[] = {-1, INT64_MIN, INT64_MAX, INT64_MAX - 10'000'000};
    LONGLONG duration = 0;
    pin.seeking->GetDuration(&duration);
    return choice < 252 ? duration / 200 * choice : kFar[choice - 252];
  }

  static void seek(Pin& pin, uint8_t choice) {
    LONGLONG start = position(pin, choice);
    const HRESULT hr =
        pin.seeking->SetPositions(&start, AM_SEEKING_AbsolutePositioning, nullptr, AM_SEEKING_NoPositioning);
    require(hr == S_OK, "a seek to any time succeeds");
  }

  static void seek_oddly(Pin& pin, Script& script) {
    LONGLONG start = position(pin, script.next());
    LONGLONG stop = position(pin, script.next());
    const uint8_t flags = script.next();
    const HRESULT hr = pin.seeking->SetPositions(&start, flags & 15u, &stop, flags >> 4 & 15u);
    require(hr == S_OK || hr == E_INVALIDARG, "a seek succeeds, or its flags are refused");
  }

  static void ask(Pin& pin) {
    LONGLONG earliest = 0;
    LONGLONG latest = 0;
    double rate = 0;
    pin.seeking->GetCurrentPosition(&earliest);
    require(pin.seeking->GetPositions(&earliest, &latest) == S_OK, "a pin has positions");
    require(pin.seeking->GetRate(&rate) == S_OK && rate == 1, "the rate is 1");
    require(pin.seeking->SetRate(2) == E_NOTIMPL, "the rate is fixed");
    ComPtr<IEnumMediaTypes> types;
    if (pin.output->EnumMediaTypes(types.out()) != S_OK) return;
    AM_MEDIA_TYPE* type = nullptr;
    if (types->Next(1, &type, nullptr) != S_OK) return;
    pin.output->QueryAccept(type);
    DeleteMediaType(type);
  }

  static void report_late(Pin& pin, uint8_t lateness) {
    ComPtr<IQualityControl> quality;
    if (FAILED(pin.output->QueryInterface(IID_IQualityControl, quality.out_void()))) return;
    quality->Notify(nullptr, {Famine, 500, LONGLONG{lateness} << (lateness & 31), 0});
  }

  ComPtr<FilterGraph> graph_;
  ComPtr<IBaseFilter> source_;
  std::list<Pin> pins_;
  FILTER_STATE state_ = State_Stopped;
};

}  // namespace
}  // namespace zdr::fuzz

// Searches for leaks at the end only: a worker announces its end before it releases its last object, and the
// search does not see what such a thread still holds.
extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv) {
  static char at_the_end[] = "-detect_leaks=0";
  zdr::fuzz::add_engine_option(argc, argv, at_the_end);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace zdr::fuzz;
  const MediaInput input = split_input({data, size});
  {
    Player player;
    if (player.load(write_media(input.file))) {
      player.follow(input.script);
      player.play_to_end();
    }
  }
  require(DllCanUnloadNow() == S_OK, "every object is released");
  return 0;
}
