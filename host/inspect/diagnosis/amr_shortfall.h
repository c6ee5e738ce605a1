// Compares the frames that were delivered from an AMR file with those that the file has.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "host/inspect/amr/amr_frames.h"
#include "host/inspect/diagnosis/damaged_units.h"
#include "host/messages.h"

namespace zdr::host {

struct AmrDelivery {
  bool is_from_start;
  bool is_to_end;
  bool is_wide_band;
  bool is_damaged;  // a sample had a frame of an invalid type or size
  uint64_t payload_bytes;
  int64_t stop;          // of the pin, in 100 ns units
  int64_t last_start;    // media time of the last sample, which is the end of its first frame
  uint32_t last_frames;  // in the last sample
};

// What is wrong with the frame after those that were walked over: it is cut off, or its first byte cannot
// begin a frame.
std::optional<Diagnosis> find_amr_fault(const AmrFrames& frames);

// A speech or AAC file of which nothing was delivered.
struct SilentFile {
  bool has_data = true;  // after its first line
  uint64_t frames = 0;
  int64_t frame = 0;     // duration of one, in 100 ns units
  int64_t left_out = 0;  // of the last frames, which are left out by design
  std::optional<Diagnosis> fault{};
  std::optional<uint64_t> estimate{};  // of the number of frames, up to which they are delivered
};
// Why a file of so few frames delivers nothing.
std::string too_few_frames(uint64_t frames, std::optional<uint64_t> estimate = std::nullopt);

SilentFile examine_silent_speech(const std::string& file, bool is_wide_band);

// What a play has left out up to its stop position: a last frame that would be a media sample of its own
// (exit code kDone), a frame that is cut off, or what follows a byte that cannot begin a frame (kLoss).
// Reads only what was not delivered, unless something is wrong or the play began inside the file. Adds the
// place of such a byte, after which no frame can be found, to `damage`.
std::optional<Diagnosis> find_amr_shortfall(const std::string& file, const AmrDelivery& delivery,
                                            DamageList& damage);

}  // namespace zdr::host
