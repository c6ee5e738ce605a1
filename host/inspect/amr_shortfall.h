// Compares the frames that were delivered of an AMR file with those that it has.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "host/messages.h"

namespace zdr::host {

// What a play of a whole file that delivered `payload_bytes` has left out: a last frame that would be a media
// sample of its own (exit code kDone), a frame that is cut off, or what follows a byte that cannot begin a
// frame (kLoss).
std::optional<Diagnosis> find_amr_shortfall(const std::string& file, bool is_wide_band,
                                            uint64_t payload_bytes);

}  // namespace zdr::host
