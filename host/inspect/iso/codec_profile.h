// Names the codec of a track with its profile and level, from its sample description.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "aacdec/zd_aac_dec.h"
#include "host/inspect/iso/track_description.h"

namespace zdr::host {

// What the configuration boxes of a sample description state; absent members are not stated.
struct CodecConfiguration {
  using Number = std::optional<uint64_t>;

  Number avc_profile;
  Number avc_compatibility;
  Number avc_level;
  std::string avc_profile_name;
  std::vector<uint8_t> avc_sequence;  // the first parameter set
  Number hevc_profile;
  Number hevc_tier;
  Number hevc_level;
  Number hevc_chroma;
  Number hevc_bit_depth;
  Number object_type;  // of esds
  std::string object_type_name;
  Number audio_object_type;
  Number audio_rate;
  Number audio_channels;
  std::vector<uint8_t> specific_info;  // of esds
  std::vector<uint8_t> d263;           // the bodies of these boxes
  std::vector<uint8_t> dac3;
  std::vector<uint8_t> dec3;
};

// Fills in the names, and the channels and rates that the configuration knows better than the sample entry.
void describe_codec(TrackDescription& track, const CodecConfiguration& configuration);

// Fills in the profile, the channels and the rates of AAC as the decoder finds them.
void describe_aac_track(TrackDescription& track, const Zd_AAC_Dec_Config& config);

}  // namespace zdr::host
