// Describes an AAC stream from the configuration and the first access unit in its format block.
#pragma once

#include <dshow.h>

#include <optional>
#include <string>

#include "aacdec/zd_aac_dec.h"

namespace zdr::host {

struct AacDescription {
  int channels;           // of the decoded sound, with parametric stereo
  int core_rate;          // Hz
  int output_rate;        // Hz; with SBR usually twice the core rate
  std::string extension;  // "none", "SBR" or "SBR+PS"
};

// "none", "SBR" or "SBR+PS"
const char* extension_name(const Zd_AAC_Dec_Config& config);

// Returns nothing for other media types and for streams that the decoder rejects.
std::optional<AacDescription> describe_aac(const AM_MEDIA_TYPE& type);

}  // namespace zdr::host
