// Describes an AAC stream from the configuration and the first access unit in its format block.
#pragma once

#include <dshow.h>

#include <optional>
#include <string>

namespace zdr::host {

struct AacDescription {
  int channels;           // of the decoded sound, parametric stereo included
  int core_rate;          // Hz
  int output_rate;        // Hz: usually twice the core's with SBR
  std::string extension;  // "none", "SBR" or "SBR+PS"
};

// Nothing for other media types and for streams that the decoder refuses.
std::optional<AacDescription> describe_aac(const AM_MEDIA_TYPE& type);

}  // namespace zdr::host
