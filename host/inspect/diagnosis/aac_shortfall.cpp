// Compares the counted frames with the delivered ones, and decodes the file again to find the damaged frames.
#include "host/inspect/diagnosis/aac_shortfall.h"

#include <algorithm>
#include <new>
#include <optional>
#include <vector>

#include "host/formats/aac_format.h"
#include "host/inspect/aac/aac_stream_view.h"
#include "host/inspect/aac/adts_frames.h"
#include "host/inspect/aac/raw_frames.h"
#include "host/inspect/files/file_stream.h"
#include "host/inspect/files/read_failure.h"
#include "host/memory.h"
#include "host/messages.h"
#include "host/text/time_text.h"

namespace zdr::host {
namespace {

// The number of frames at the end of an undamaged file that may not be delivered: the decoder holds one back,
// and the reader stops before the last ones.
constexpr uint64_t kNeverDelivered = 3;

constexpr const char* kLowEstimate = ": the reader's estimate of the number of frames is too low";

uint64_t bytes_per_frame(const Zd_AAC_Dec_Config& config) {
  const int64_t rate_factor = config.sampleRate > 0 && config.outputRate > config.sampleRate ? 2 : 1;
  return static_cast<uint64_t>(
      std::max<int64_t>(1, int64_t{config.frameLength} * rate_factor * config.channels * 2));
}

// Returns the number of the first frame that cannot be decoded, or 0 if the reader can decode all its frames.
uint64_t undecodable_frame(const AacReader& reader, const std::function<bool()>& watch) {
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

// The walk to a frame of an ADTS stream: where it begins, and the gaps before it. Nothing if it is not found.
struct FoundFrame {
  uint64_t offset;
  AdtsFrames before;
};
std::optional<FoundFrame> find_frame(const std::string& file, const AacStreamView& view, uint64_t frame) {
  FileStream stream(file);
  if (!stream.is_open()) throw_exhausted();  // the reader has just opened it
  const auto [begin, end] = aac_audio_range(stream, view);
  uint64_t found = 0;
  const AdtsFrames before =
      walk_adts_frames(stream, begin, end, [&](uint64_t number, uint64_t offset, uint32_t) {
        if (number <= frame) found = offset;  // a frame with several blocks has the number of its first
        return number < frame;
      });
  return found == 0 && frame != 1 ? std::nullopt : std::optional(FoundFrame{found, before});
}

// Returns the offset of a frame of a stream without headers, or that of the damage which ends the walk there.
uint64_t find_raw_frame(const std::string& file, const AacStreamView& view, uint64_t frame) {
  FileStream stream(file);
  if (!stream.is_open()) throw_exhausted();
  const auto [begin, end] = aac_audio_range(stream, view);
  return walk_raw_frames(stream, begin, end, view.config,
                         [frame](uint64_t number, uint64_t, uint32_t) { return number < frame; })
      .end;
}

// True unless the frame has a single block that cannot be parsed. The reader numbers the frames after a
// damaged one differently, so it cannot be asked for them.
bool is_sound(Bytes frame, const Zd_AAC_Dec_Config& config) {
  const auto header = read_adts_header(frame);
  if (!header || header->blocks != 1) return true;
  const size_t header_bytes = header->has_crc ? AdtsHeader::kBytesWithCrc : AdtsHeader::kBytes;
  return frame.size() > header_bytes && is_aac_unit(config, frame.subspan(header_bytes));
}

bool has_gap(const AacFrameCount& count) {
  return count.adts && count.adts->gap_bytes != 0;
}

Diagnosis gap_of(const AacFrameCount& count) {
  return {ExitCode::kLoss,
          MessageCode::kFileDamaged,
          {},
          "damaged: has " + counted(count.adts->gap_bytes, "byte") +
              " outside any frame, the first at offset " + std::to_string(count.adts->gap_offset),
          ""};
}

Diagnosis cut_of(const AacFrameCount& count) {
  return {ExitCode::kLoss,
          MessageCode::kCutOff,
          {},
          (count.adts ? "cut off: the file ends inside the frame at offset "
                      : "cut off or damaged: no whole frame at offset ") +
              std::to_string(count.end),
          ""};
}

// The frames that the filter delivers of a stream in which nothing is damaged: groups of ten up to the stop
// position (100 ns) and the number of frames that the reader has estimated. The last frame is held back.
uint64_t frames_delivered(const AacReader& reader, uint64_t total, uint32_t number, int64_t stop) {
  constexpr uint32_t kFramesPerGroup = 10;
  const uint64_t last = std::min<uint64_t>(total, reader.stream().total_frames);
  uint64_t read = 0;
  for (; number <= last; number += kFramesPerGroup) {
    uint64_t end_ms = 0;  // of the first frame of the group, which is its time stamp
    AACF_FrameToTime(reader.get(), number + 1, &end_ms);
    if (static_cast<int64_t>(end_ms) * kUnitsPerMillisecond >= stop) break;
    read += std::min<uint64_t>(kFramesPerGroup, last - number + 1);
  }
  return read - std::min<uint64_t>(read, 1);
}

class Comparison {
 public:
  Comparison(const std::string& file, const AacReader& reader, const AacStreamView& view,
             const AacDelivery& delivery, DamageList& damage, const std::function<bool()>& watch)
      : file_(file),
        reader_(reader),
        view_(view),
        delivery_(delivery),
        damage_(damage),
        watch_(watch),
        count_(count_aac_frames(file, view, [&](uint64_t, uint64_t) { return watch(); })),
        delivered_(last_delivered_frame()),
        wanted_(last_wanted_frame()),
        missing_(wanted_ - std::min(wanted_, delivered_)) {}

  // The filter skips a frame that cannot be decoded, but ends at one that would be the first of a sample.
  std::optional<Diagnosis> find_failed_frame() const {
    const bool has_ended = missing_ > kNeverDelivered;
    const uint64_t delivered = delivery_.pcm_bytes / bytes_per_frame(view_.config);
    const uint64_t expected = frames_of_undamaged_play();
    const bool lacks_frames = delivered < expected || delivery_.lacks_frames;
    if (!has_ended && !lacks_frames) return std::nullopt;
    const uint64_t number = undecodable_frame(reader_, watch_);
    if (number == 0 || number > wanted_) {
      // A damaged frame may be decodable and swallow the next one.
      const bool is_certain = knows_places() && delivered < expected && !(is_whole() && has_ended);
      if (!is_certain) return std::nullopt;
      return Diagnosis{ExitCode::kLoss,
                       MessageCode::kUnitsMissing,
                       {},
                       "damaged: only " + std::to_string(delivered) + " of " + counted(expected, "frame") +
                           " were delivered",
                       ""};
    }
    return Diagnosis{ExitCode::kLoss,
                     MessageCode::kStreamIncomplete,
                     {},
                     (has_ended ? ended() + ": " : "") + failure_of(number),
                     ""};
  }

  std::optional<Diagnosis> find_cut() const {
    // The walk over a stream without headers ends at the first damage, wherever it is.
    const bool is_in_part =
        delivery_.is_to_end || (!count_.adts && frames_until(delivery_.stop) > count_.total);
    return count_.is_cut && is_in_part ? std::optional(cut_of(count_)) : std::nullopt;
  }

  std::optional<Diagnosis> find_gap() const {
    return delivery_.is_to_end && has_gap(count_) ? std::optional(gap_of(count_)) : std::nullopt;
  }

  std::optional<Diagnosis> find_padding_after() const {
    return delivery_.is_to_end ? find_padding(count_) : std::nullopt;
  }

  // The reader stops at the number of frames that it estimated when it opened the file. It also estimates the
  // place of a seek, so the last frame of a part is not known exactly.
  std::optional<Diagnosis> find_last_frames() const {
    if (!is_whole()) return std::nullopt;
    if (missing_ > kNeverDelivered) {
      return Diagnosis{ExitCode::kLoss, MessageCode::kUnitsMissing, {}, ended() + kLowEstimate, ""};
    }
    if (missing_ == 0) return std::nullopt;
    const std::string frames =
        missing_ == 1 ? "the last frame is" : "the last " + counted(missing_, "frame") + " are";
    return Diagnosis{ExitCode::kDone, MessageCode::kUnitsAfterEnd, {}, frames + " left out by design", ""};
  }

 private:
  void list(uint64_t number, uint64_t offset) const {
    damage_.units.push_back({number, start_of_frame(number), offset, kAacUnitDamage});
  }
  // The damaged frames after the first.
  void list_further(uint64_t first) const {
    FileStream stream(file_);
    if (!stream.is_open()) throw_exhausted();
    const auto [begin, end] = aac_audio_range(stream, view_);
    std::vector<uint8_t> bytes;
    walk_adts_frames(stream, begin, end, [&](uint64_t number, uint64_t offset, uint32_t size) {
      if (damage_.units.size() >= damage_.limit || number > wanted_ || !watch_()) return false;
      if (number <= first) return true;
      bytes.resize(size);
      if (stream.read_at(offset, bytes) == size && !is_sound(bytes, view_.config)) list(number, offset);
      return true;
    });
  }
  // Lists the damaged frames, and puts the first into words. If bytes belong to no frame, the reader reports
  // the frame that follows them as damaged.
  std::string failure_of(uint64_t frame) const {
    const auto found = count_.adts ? find_frame(file_, view_, frame) : std::nullopt;
    if (found && found->before.gap_bytes != 0 && found->before.last_gap_end == found->offset) {
      return "has " + counted(found->offset - found->before.last_gap_offset, "byte") +
             " outside any frame at offset " + std::to_string(found->before.last_gap_offset);
    }
    if (found) {
      list(frame, found->offset);
      list_further(frame);
    } else if (!count_.adts) {
      list(frame, find_raw_frame(file_, view_, frame));
    }
    return "frame " + std::to_string(frame) + " of " + std::to_string(count_.total) +
           (found ? " at offset " + std::to_string(found->offset) : "") + " cannot be decoded";
  }
  bool is_whole() const { return delivery_.is_from_start && delivery_.is_to_end; }
  double frame_ms() const { return 1000.0 * view_.config.frameLength / std::max(1, view_.config.sampleRate); }
  uint64_t frames_until(int64_t time) const {
    return static_cast<uint64_t>(
        std::max(0.0, static_cast<double>(time) / kUnitsPerMillisecond / frame_ms() + 0.5));
  }
  // The decoder delivers each frame when the next one is read; so the first sample has one frame less than
  // were read, and the others end one frame earlier.
  uint64_t last_delivered_frame() const {
    if (is_whole()) return delivery_.pcm_bytes / bytes_per_frame(view_.config);
    const uint64_t late = delivery_.samples == 1 ? 1 : 2;
    const uint64_t end =
        frames_until(delivery_.last_start) + delivery_.last_pcm_bytes / bytes_per_frame(view_.config);
    return end - std::min(end, late);
  }
  // The reader finds the place of a seek in a large ADTS file by an estimate.
  bool knows_places() const {
    return is_whole() || !count_.adts || view_.stream.bytes_scanned >= view_.stream.audio_bytes;
  }
  uint64_t frames_of_undamaged_play() const {
    uint32_t number = 1;
    const auto start_ms = static_cast<uint32_t>(std::max<int64_t>(1, delivery_.start / kUnitsPerMillisecond));
    if (!is_whole() && AACF_TimeToFrame(reader_.get(), start_ms, &number) != AACF_OK) return 0;
    return frames_delivered(reader_, count_.total, number, delivery_.stop);
  }
  uint64_t last_wanted_frame() const {
    return delivery_.is_to_end ? count_.total : std::min(count_.total, frames_until(delivery_.stop));
  }
  int64_t start_of_frame(uint64_t number) const {
    return static_cast<int64_t>(static_cast<double>(number - 1) * frame_ms()) * kUnitsPerMillisecond;
  }
  std::string ended() const {
    return "ended at " + format_time(start_of_frame(delivered_ + 1)) + " of " +
           format_time(start_of_frame(wanted_ + 1));
  }

  const std::string& file_;
  const AacReader& reader_;
  const AacStreamView& view_;
  const AacDelivery& delivery_;
  DamageList& damage_;
  const std::function<bool()>& watch_;
  const AacFrameCount count_;
  const uint64_t delivered_;  // number of the last frame
  const uint64_t wanted_;     // number of the last frame up to the stop position
  const uint64_t missing_;
};

}  // namespace

std::optional<Diagnosis> find_aac_fault(const AacFrameCount& count) {
  if (has_gap(count)) return gap_of(count);
  return count.is_cut ? std::optional(cut_of(count)) : std::nullopt;
}

std::optional<Diagnosis> find_padding(const AacFrameCount& count) {
  if (!count.adts || count.adts->padding_bytes == 0) return std::nullopt;
  return Diagnosis{ExitCode::kDone,
                   MessageCode::kPadding,
                   {},
                   counted(count.adts->padding_bytes, "zero byte") + " after its last frame",
                   ""};
}

std::optional<Diagnosis> find_unread_frames(const std::string& file, const AacFrameCount& count) {
  if (count.total == 0) return std::nullopt;
  const AacReader reader(file);
  if (reader.status() != AACF_OK) return not_opened_again();
  AACF_Duration duration{};
  if (AACF_GetDuration(reader.get(), &duration) != AACF_OK) return not_opened_again();
  const int64_t stop = int64_t{duration.duration_ms} * kUnitsPerMillisecond;
  const uint64_t delivered = frames_delivered(reader, count.total, 1, stop);
  const bool is_short = count.total <= kNeverDelivered;
  if (delivered + kNeverDelivered >= count.total && !(is_short && delivered == 0)) return std::nullopt;
  std::string reason = "playback ends at frame " + std::to_string(delivered) + " of " +
                       std::to_string(count.total) + kLowEstimate;
  if (is_short) reason = too_few_frames(count.total, duration.frame_count);
  if (is_short && duration.frame_count < count.total && count.total > 1)
    reason = "delivers no sample: " + reason;
  return Diagnosis{ExitCode::kLoss, MessageCode::kUnitsMissing, {}, reason, ""};
}

SilentFile examine_silent_aac(const std::string& file,
                              const std::function<bool(uint64_t offset, uint64_t end)>& watch) {
  const AacStreamView view(file);
  if (view.status != AACF_OK) return {.fault = not_opened_again()};
  const AacFrameCount count = count_aac_frames(file, view, watch);
  const int64_t frame =
      int64_t{view.config.frameLength} * kUnitsPerSecond / std::max(1, view.config.sampleRate);
  return {.frames = count.total,
          .frame = frame,
          .left_out = static_cast<int64_t>(kNeverDelivered) * frame,
          .fault = find_aac_fault(count),
          .estimate = view.stream.total_frames};
}

std::vector<Diagnosis> find_aac_shortfall(const std::string& file, const AacDelivery& delivery,
                                          DamageList& damage, const std::function<bool()>& watch) {
  const AacReader reader(file);
  const AacStreamView view(reader);
  if (view.status != AACF_OK) return {not_opened_again()};
  std::vector<Diagnosis> found;
  if (view.config.extension == ZD_AAC_DEC_EXTENSION_PS) {
    found.push_back({ExitCode::kDone,
                     MessageCode::kStereoDuplicated,
                     {},
                     "parametric stereo is not used: both channels are the same",
                     ""});
  }
  const Comparison comparison(file, reader, view, delivery, damage, watch);
  if (auto padding = comparison.find_padding_after()) found.push_back(*padding);
  auto shortfall = comparison.find_failed_frame();
  if (!shortfall) shortfall = comparison.find_gap();
  if (!shortfall) shortfall = comparison.find_cut();
  if (!shortfall) shortfall = comparison.find_last_frames();
  if (shortfall) found.push_back(*shortfall);
  return found;
}

}  // namespace zdr::host
