// Walks over the frames by their headers. Those of an AAC file are walked over twice, the first time to find
// their number, and so the width of the columns.
#include "host/plot/gather/stream_figures.h"

#include <algorithm>
#include <array>

#include "host/formats/adts_header.h"
#include "host/inspect/aac/aac_frame_count.h"
#include "host/inspect/aac/aac_stream_view.h"
#include "host/inspect/aac/adts_frames.h"
#include "host/inspect/aac/raw_frames.h"
#include "host/inspect/amr/amr_frames.h"
#include "host/inspect/diagnosis/aac_shortfall.h"
#include "host/messages.h"

namespace zdr::host::plot {
namespace {

std::string at_offset(uint64_t offset) {
  return " at offset " + std::to_string(offset);
}

// An AAC stream as a list of frames of one duration.
class AacFrames {
 public:
  using OnFrame = std::function<bool(uint64_t number, uint64_t offset, uint32_t size)>;

  AacFrames(const std::string& file, const AacReader& reader)
      : stream_(file), config_(reader.config()), range_(aac_audio_range(stream_, AacStreamView(reader))) {
    std::array<uint8_t, 2> start{};
    stream_.read_at(range_.begin, start);
    has_headers_ = is_adts_header(start);
  }

  uint32_t time_scale() const { return static_cast<uint32_t>(std::max(1, config_.sampleRate)); }
  uint64_t time_of(uint64_t frame) const { return frame * static_cast<uint64_t>(config_.frameLength); }
  uint64_t size() const { return stream_.size(); }

  struct End {
    uint64_t frames = 0;
    std::string fault;  // what ends the stream early
    Fault gap;          // bytes between the frames
  };
  End walk(const OnFrame& on_frame) {
    if (!has_headers_) {
      const RawFrames frames = walk_raw_frames(stream_, range_.begin, range_.end, config_, on_frame);
      return {frames.count, frames.end < range_.end ? "no whole frame" + at_offset(frames.end) : "", {}};
    }
    const AdtsFrames frames = walk_adts_frames(stream_, range_.begin, range_.end, on_frame);
    End end{frames.count, frames.is_cut ? "the file ends inside the frame" + at_offset(frames.end) : "", {}};
    if (frames.gap_bytes != 0) {
      end.gap = {
          counted(frames.gap_bytes, "byte") + " outside any frame, the first" + at_offset(frames.gap_offset),
          frames.gap_offset};
    }
    return end;
  }

 private:
  FileStream stream_;
  Zd_AAC_Dec_Config config_;
  AacAudioRange range_;
  bool has_headers_ = false;
};

}  // namespace

void add_speech(const std::string& file, const SpeechStream& stream, FileFigure& figure) {
  constexpr uint32_t kFramesPerSecond = 50;
  FileStream reader(file);
  BlockReader block(reader);
  figure.grid = make_grid(reader.size(), stream.duration, 1);
  TrackFigure& track = figure.tracks.emplace_back(stream.label);
  UnitCollector collector(figure.grid, kFramesPerSecond, track);
  uint64_t number = 0;
  const AmrFrames frames = list_amr_frames(block, first_amr_frame(block), reader.size(), stream.is_wide_band,
                                           [&](uint64_t offset, uint32_t size) {
                                             collector.add({offset, size, number++, false});
                                           });
  const double end = static_cast<double>(frames.count) / kFramesPerSecond;
  collector.finish(end);
  if (frames.is_damaged) track.fault = "the byte" + at_offset(frames.end) + " does not begin a frame";
  if (frames.is_blank) track.fault = "the frame" + at_offset(frames.end) + " has only zeros";
  if (frames.is_cut) track.fault = "the file ends inside the frame" + at_offset(frames.end);
  track.fault_code = frames.is_damaged ? MessageCode::kFileDamaged : MessageCode::kCutOff;
  track.fault_from = end;
}

void add_aac(const std::string& file, const TrackFigure& label, const Watch& watch, FileFigure& figure) {
  constexpr uint64_t kFramesPerCall = 4096;
  const AacReader reader(file);
  if (reader.status() != AACF_OK) return;
  AacFrames frames(file, reader);
  const auto goes_on = [&](uint64_t number, uint64_t offset) {
    return number % kFramesPerCall != 0 || watch(offset, frames.size());
  };
  const AacFrames::End end =
      frames.walk([&](uint64_t number, uint64_t offset, uint32_t) { return goes_on(number, offset); });
  const double end_time = static_cast<double>(frames.time_of(end.frames)) / frames.time_scale();
  figure.grid = make_grid(frames.size(), end_time, 1);
  TrackFigure& track = figure.tracks.emplace_back(label);
  track.codec = format_line(AacStreamView(reader));
  UnitCollector collector(figure.grid, frames.time_scale(), track);
  frames.walk([&](uint64_t number, uint64_t offset, uint32_t size) {
    collector.add({offset, size, frames.time_of(number - 1), false});
    return goes_on(number, offset);
  });
  collector.finish(end_time);
  track.fault = end.fault;
  track.fault_code = MessageCode::kCutOff;
  track.fault_from = end_time;
  if (!end.gap.text.empty()) figure.faults.push_back(end.gap);
  if (!end.gap.text.empty() || !end.fault.empty()) return;
  AacFrameCount count;
  count.total = end.frames;
  if (const auto unread = find_unread_frames(file, count))
    figure.faults.push_back({.text = unread->reason, .code = unread->code});
}

}  // namespace zdr::host::plot
