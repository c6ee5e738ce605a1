// Locates the audio between the tags, and counts its frames.
#include "host/inspect/aac/aac_frame_count.h"

#include <algorithm>
#include <array>

#include "host/inspect/aac/raw_frames.h"
#include "host/memory.h"

namespace zdr::host {

// An ID3v1 tag takes the last bytes of a file. The reader reports the size without the first tag.
AacAudioRange aac_audio_range(FileStream& stream, const AacStreamView& view) {
  constexpr uint64_t kTagBytes = 128;
  constexpr std::array<uint8_t, 3> kMark = {'T', 'A', 'G'};
  std::array<uint8_t, 3> bytes{};
  const uint64_t size = stream.size();
  const bool has_tag =
      size >= kTagBytes && stream.read_at(size - kTagBytes, bytes) == bytes.size() && bytes == kMark;
  const uint64_t end = has_tag ? size - kTagBytes : size;
  return {end - std::min<uint64_t>(end, view.stream.audio_bytes), end};
}

AacFrameCount count_aac_frames(const std::string& file, const AacStreamView& view,
                               const std::function<bool(uint64_t offset, uint64_t end)>& watch) {
  FileStream stream(file);
  if (!stream.is_open()) throw_exhausted();  // the reader has just opened it
  const auto [begin, end] = aac_audio_range(stream, view);
  const auto on_frame = [&watch, end = end](uint64_t number, uint64_t offset, uint32_t) {
    constexpr uint64_t kFramesPerCall = 4096;
    return number % kFramesPerCall != 0 || watch(offset, end);
  };
  std::array<uint8_t, 2> start{};
  stream.read_at(begin, start);
  if (!is_adts_header(start)) {
    const RawFrames frames = walk_raw_frames(stream, begin, end, view.config, on_frame);
    const bool is_cut = frames.end < end && watch(frames.end, end);
    return {frames.count, frames.end, frames.end - begin, is_cut, {}};
  }
  const AdtsFrames frames = walk_adts_frames(stream, begin, end, on_frame);
  return {frames.count, frames.end, frames.bytes, frames.is_cut, frames};
}

}  // namespace zdr::host
