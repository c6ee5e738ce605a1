// The consumer of a pin records the first samples and then takes no more.
#include "host/graph/seek_landing.h"

#include <atomic>
#include <list>

namespace zdr::host {
namespace {

class LandingConsumer final : public SampleConsumer {
 public:
  // `left` counts the pins that have not landed.
  LandingConsumer(const PinEntry& pin, std::atomic<size_t>& left, const std::function<void()>& on_landed)
      : pin_(pin), left_(left), on_landed_(on_landed) {}

  bool receive(IMediaSample& sample) override {
    REFERENCE_TIME start = 0;
    REFERENCE_TIME stop = 0;
    sample.GetTime(&start, &stop);
    if (!first_) {
      first_ = start;
      is_sync_ = sample.IsSyncPoint() == S_OK;
    }
    if (sample.IsPreroll() == S_OK) {
      ++prerolled_;
      return true;
    }
    if (!shown_ && --left_ == 0 && on_landed_) on_landed_();
    shown_ = start;
    return false;
  }
  void new_segment(REFERENCE_TIME /*start*/, REFERENCE_TIME /*stop*/) override {}

  // Call after the run: until then the filter may move the start of the segment. Nothing if nothing was
  // delivered.
  std::optional<PinLanding> landing() const {
    if (!first_) return std::nullopt;
    PinLanding landing;
    landing.pin = pin_.name;
    landing.is_audio = pin_.is_audio();
    landing.segment_start = SourcePlayer::segment_start(pin_);
    landing.first = landing.segment_start + *first_;
    landing.is_sync = is_sync_;
    landing.prerolled = prerolled_;
    if (shown_) landing.shown = landing.segment_start + *shown_;
    return landing;
  }

 private:
  const PinEntry& pin_;
  std::atomic<size_t>& left_;
  const std::function<void()>& on_landed_;
  std::optional<REFERENCE_TIME> first_;  // within the segment
  std::optional<REFERENCE_TIME> shown_;
  bool is_sync_ = false;
  uint64_t prerolled_ = 0;
};

}  // namespace

ExitCode find_landings(SourcePlayer& player, int64_t target, const LandingWatch& watch,
                       std::vector<PinLanding>& landings) {
  std::list<LandingConsumer> consumers;
  std::atomic<size_t> left = 0;
  for (const PinEntry& pin : player.pins()) {
    if (pin.types.empty()) continue;
    LandingConsumer& consumer = consumers.emplace_back(pin, left, watch.on_landed);
    if (FAILED(player.connect(pin, consumer, nullptr, nullptr))) consumers.pop_back();
  }
  left = consumers.size();
  if (watch.on_connected) watch.on_connected();
  // The beginning needs no seek.
  PlayRange range;
  range.start = target;
  range.is_whole = target == 0;
  ExitCode result = player.seek(range);
  if (result == ExitCode::kDone) result = player.play(watch.on_slice);
  for (const LandingConsumer& consumer : consumers) {
    if (auto landing = consumer.landing()) landings.push_back(std::move(*landing));
  }
  return result;
}

}  // namespace zdr::host
