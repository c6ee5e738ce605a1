// StreamOrder: the rules by which an input pin may be called, as a state machine that notes every breach.
// Streaming calls (new segment, sample, end of stream) must not overlap; each run of the stream begins with a
// new segment; nothing follows an end of stream or a refused sample until the stream begins anew.
#pragma once

#include <mutex>
#include <string>
#include <vector>

namespace zdr::tests {

class StreamOrder {
 public:
  enum class Call { kNewSegment, kSample, kEndOfStream };

  // Around every streaming call; overlaps are seen here.
  class [[nodiscard]] Streaming {
   public:
    Streaming(StreamOrder& order, Call call) : order_(order) { order_.enter(call); }
    ~Streaming() { order_.leave(); }
    Streaming(const Streaming&) = delete;
    Streaming& operator=(const Streaming&) = delete;

   private:
    StreamOrder& order_;
  };

  // The receiver has answered a sample with something else than S_OK.
  void sample_refused();
  void begin_flush();
  void end_flush();
  // The pin becomes active or inactive: a stream begins anew.
  void restart();

  std::vector<std::string> breaches() const;

 private:
  enum class Phase { kStart, kStreaming, kEnded, kRefused };

  void enter(Call call);
  void leave();
  void note(const std::string& breach) { breaches_.push_back(breach); }

  mutable std::mutex mutex_;
  Phase phase_ = Phase::kStart;
  bool streaming_call_ = false;
  bool flushing_ = false;
  std::vector<std::string> breaches_;
};

}  // namespace zdr::tests
