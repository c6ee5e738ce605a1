// Compares the audio that was delivered from an AAC file with the frames that the file has.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "host/inspect/aac/aac_frame_count.h"
#include "host/inspect/diagnosis/amr_shortfall.h"
#include "host/inspect/diagnosis/damaged_units.h"
#include "host/messages.h"

namespace zdr::host {

struct AacDelivery {
  bool is_from_start;
  bool is_to_end;
  bool lacks_frames;  // in a sample between the first and the last
  uint64_t samples;
  int64_t start;  // the requested one, in 100 ns units
  uint64_t pcm_bytes;
  int64_t stop;        // of the pin, in 100 ns units
  int64_t last_start;  // media time of the last sample, which is the end of its first frame
  uint64_t last_pcm_bytes;
};

// What the counted frames show: bytes outside any frame, or a frame that is cut off.
std::optional<Diagnosis> find_aac_fault(const AacFrameCount& count);

// A note on many zeros after the last frame.
std::optional<Diagnosis> find_padding(const AacFrameCount& count);

// A loss if playback of the undamaged file would end before its last frames, or deliver nothing.
std::optional<Diagnosis> find_unread_frames(const std::string& file, const AacFrameCount& count);

SilentFile examine_silent_aac(const std::string& file,
                              const std::function<bool(uint64_t offset, uint64_t end)>& watch);

// What a play has left out up to its stop position: the frames that the reader never delivers (exit code
// kDone), and those from a damaged one on (kLoss). No table of the file states the number of frames, so they
// are counted by their headers, without decoding; only if frames are missing is the file decoded again, to
// find those that cannot be decoded, which are added to `damage`. `watch` is called regularly; if it returns
// false, the result is incomplete.
std::vector<Diagnosis> find_aac_shortfall(const std::string& file, const AacDelivery& delivery,
                                          DamageList& damage, const std::function<bool()>& watch);

}  // namespace zdr::host
