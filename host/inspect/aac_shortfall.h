// Compares the sound that was delivered of an AAC file with the frames that the file has.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "host/messages.h"

namespace zdr::host {

// What a play of a whole file that delivered `pcm_bytes` has left out: the frames that the reader never
// delivers (exit code kDone), and those from a damaged one on (kLoss). Decodes the file again, if frames are
// missing, to find the one that ended it. Incomplete if `watch`, called regularly, returns false.
std::vector<Diagnosis> find_aac_shortfall(const std::string& file, uint64_t pcm_bytes,
                                          const std::function<bool()>& watch);

}  // namespace zdr::host
