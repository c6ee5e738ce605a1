// Counts the frames of an AAC file: by their headers, or by parsing those of a stream without headers.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "host/inspect/aac/aac_stream_view.h"
#include "host/inspect/aac/adts_frames.h"
#include "host/inspect/files/file_stream.h"

namespace zdr::host {

struct AacFrameCount {
  uint64_t total = 0;
  uint64_t end = 0;    // offset after the last whole frame
  uint64_t bytes = 0;  // of all whole frames
  bool is_cut = false;
  std::optional<AdtsFrames> adts;
};

// The bytes of the audio, without tags and header.
struct AacAudioRange {
  uint64_t begin;
  uint64_t end;
};
AacAudioRange aac_audio_range(FileStream& stream, const AacStreamView& view);

// `watch` is called regularly; returning false ends the count. Throws std::bad_alloc if the file cannot be
// opened.
AacFrameCount count_aac_frames(const std::string& file, const AacStreamView& view,
                               const std::function<bool(uint64_t offset, uint64_t end)>& watch);

}  // namespace zdr::host
