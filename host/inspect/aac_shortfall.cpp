// Counts the frames by their headers; for streams without headers, uses the number that the reader found.
#include "host/inspect/aac_shortfall.h"

#include <algorithm>
#include <array>
#include <optional>
#include <vector>

#include "host/inspect/aac_stream_view.h"
#include "host/inspect/adts_frames.h"
#include "host/inspect/file_stream.h"
#include "host/inspect/id3_tags.h"
#include "host/memory.h"
#include "host/messages.h"
#include "host/time_text.h"

namespace zdr::host {
namespace {

// The most frames at the end that undamaged files lack: the decoder holds one back, and the reader stops
// before the last ones.
constexpr uint64_t kNeverDelivered = 3;
// An estimate of the number of frames is too rough to report a loss while this share was delivered.
constexpr double kDoubtfulShare = 0.9;

struct FrameCount {
  uint64_t total = 0;
  bool is_exact = false;
  std::optional<AdtsFrames> adts;
};

uint64_t bytes_per_frame(const Zd_AAC_Dec_Config& config) {
  const int64_t rate_factor = config.sampleRate > 0 && config.outputRate > config.sampleRate ? 2 : 1;
  return static_cast<uint64_t>(
      std::max<int64_t>(1, int64_t{config.frameLength} * rate_factor * config.channels * 2));
}

FrameCount count_frames(const std::string& file, const AacStreamView& view,
                        const std::function<bool()>& watch) {
  FileStream stream(file);
  const uint64_t begin = Id3Tags(file).v2_bytes();
  std::array<uint8_t, 4> start{};
  stream.read_at(begin, start);
  const AACF_StreamInfo& info = view.stream;
  if (!is_adts_header(start)) return {info.total_frames, info.bytes_scanned >= info.audio_bytes, {}};
  constexpr uint64_t kFramesPerCall = 4096;
  const AdtsFrames frames =
      walk_adts_frames(stream, begin, begin + info.audio_bytes,
                       [&](uint64_t number, uint64_t) { return number % kFramesPerCall != 0 || watch(); });
  return {frames.count, true, frames};
}

// Returns the number of the first frame that cannot be decoded, or 0 if the reader can decode all its frames.
uint64_t undecodable_frame(const std::string& file, const std::function<bool()>& watch) {
  const AacReader reader(file);
  if (reader.status() != AACF_OK) return 0;
  std::vector<int16_t> pcm(static_cast<size_t>(reader.config().outputBytes) / sizeof(int16_t));
  constexpr uint32_t kFramesPerCall = 64;
  for (uint32_t number = 1; number <= reader.stream().total_frames; ++number) {
    if (number % kFramesPerCall == 0 && !watch()) return 0;
    AACF_FrameRequest request{number, static_cast<uint32_t>(pcm.size() * sizeof(int16_t)), pcm.data()};
    const int32_t status = with_memory(AACF_ReadFrame(reader.get(), &request), AACF_ERR_NO_MEMORY);
    if (status == AACF_ERR_END_OF_STREAM) return 0;
    if (status != AACF_OK) return number;
  }
  return 0;
}

// " at offset 1234" of a frame of an ADTS stream.
std::string offset_text(const std::string& file, const AacStreamView& view, uint64_t frame) {
  FileStream stream(file);
  const uint64_t begin = Id3Tags(file).v2_bytes();
  uint64_t found = 0;
  walk_adts_frames(stream, begin, begin + view.stream.audio_bytes, [&](uint64_t number, uint64_t offset) {
    if (number <= frame) found = offset;  // a frame with several blocks has the number of its first
    return number < frame;
  });
  return found == 0 && frame != 1 ? "" : " at offset " + std::to_string(found);
}

class Comparison {
 public:
  Comparison(const std::string& file, const AacStreamView& view, uint64_t pcm_bytes,
             const std::function<bool()>& watch)
      : file_(file),
        view_(view),
        watch_(watch),
        count_(count_frames(file, view, watch)),
        delivered_(pcm_bytes / bytes_per_frame(view.config)),
        missing_(count_.total - std::min(count_.total, delivered_)) {}

  std::optional<Diagnosis> find_failed_frame() const {
    const uint64_t number = is_doubtful() ? undecodable_frame(file_, watch_) : 0;
    if (number == 0 || number + kNeverDelivered > count_.total) return std::nullopt;
    const std::string offset = count_.adts ? offset_text(file_, view_, number) : "";
    return Diagnosis{ExitCode::kLoss,
                     MessageCode::kStreamIncomplete,
                     {},
                     ended() + ": frame " + std::to_string(number) + " of " + std::to_string(count_.total) +
                         offset + " cannot be decoded",
                     ""};
  }

  std::optional<Diagnosis> find_cut() const {
    if (!count_.adts || !count_.adts->is_cut) return std::nullopt;
    return Diagnosis{ExitCode::kLoss,
                     MessageCode::kCutOff,
                     {},
                     "cut off: the file ends inside the frame at offset " + std::to_string(count_.adts->end),
                     ""};
  }

  std::optional<Diagnosis> find_gap() const {
    if (!count_.adts || count_.adts->gap_bytes == 0) return std::nullopt;
    return Diagnosis{ExitCode::kLoss,
                     MessageCode::kFileDamaged,
                     {},
                     "damaged: " + counted(count_.adts->gap_bytes, "byte") + " from offset " +
                         std::to_string(count_.adts->gap_offset) + " on belong to no frame",
                     ""};
  }

  // The reader stops at the number of frames that it estimated when it opened the file.
  std::optional<Diagnosis> find_last_frames() const {
    if (missing_ == 0 || !count_.is_exact) return std::nullopt;
    constexpr uint64_t kFiftieth = 50;
    if (missing_ > kNeverDelivered && missing_ * kFiftieth > count_.total) {
      return Diagnosis{ExitCode::kLoss,
                       MessageCode::kStreamIncomplete,
                       {},
                       ended() + ": the reader estimates fewer frames than the file has",
                       ""};
    }
    const std::string frames =
        missing_ == 1 ? "the last frame is" : "the last " + counted(missing_, "frame") + " are";
    return Diagnosis{ExitCode::kDone, MessageCode::kUnitsAfterEnd, {}, frames + " left out by design", ""};
  }

 private:
  bool is_doubtful() const {
    if (count_.is_exact) return missing_ > kNeverDelivered;
    return static_cast<double>(delivered_) < kDoubtfulShare * static_cast<double>(count_.total);
  }
  std::string time_of(uint64_t frames) const {
    const double seconds =
        static_cast<double>(frames) * view_.config.frameLength / std::max(1, view_.config.sampleRate);
    return format_time(static_cast<int64_t>(seconds * 1000) * kUnitsPerMillisecond);
  }
  std::string ended() const {
    return "ended at " + time_of(delivered_) + " of " + (count_.is_exact ? "" : "about ") +
           time_of(count_.total);
  }

  const std::string& file_;
  const AacStreamView& view_;
  const std::function<bool()>& watch_;
  const FrameCount count_;
  const uint64_t delivered_;
  const uint64_t missing_;  // of the frames of the file
};

}  // namespace

std::vector<Diagnosis> find_aac_shortfall(const std::string& file, uint64_t pcm_bytes,
                                          const std::function<bool()>& watch) {
  const AacStreamView view(file);
  if (view.status != AACF_OK) return {};
  std::vector<Diagnosis> found;
  if (view.config.extension == ZD_AAC_DEC_EXTENSION_PS) {
    found.push_back({ExitCode::kDone,
                     MessageCode::kStereoDuplicated,
                     {},
                     "its parametric stereo is not used: both channels have the same sound",
                     ""});
  }
  const Comparison comparison(file, view, pcm_bytes, watch);
  auto shortfall = comparison.find_failed_frame();
  if (!shortfall) shortfall = comparison.find_gap();
  if (!shortfall) shortfall = comparison.find_cut();
  if (!shortfall) shortfall = comparison.find_last_frames();
  if (shortfall) found.push_back(*shortfall);
  return found;
}

}  // namespace zdr::host
