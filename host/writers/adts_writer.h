// AAC access units as an ADTS stream (ISO/IEC 14496-3, 1.A.2).
#pragma once

#include <array>
#include <vector>

#include "host/writers/stream_writer.h"

namespace zdr::host {

// Media samples hold up to ten access units and end in a table of ten 16-bit little-endian sizes.
constexpr size_t kAacUnitsPerSample = 10;
constexpr size_t kAacSizeTableBytes = 2 * kAacUnitsPerSample;

// The access units of one media sample; empty when the table does not fit the sample.
std::vector<Bytes> split_aac_sample(Bytes sample);

// `audio_specific_config` names the core codec; with HE-AAC the ADTS header signals the core alone, as ADTS
// always does.
class AdtsWriter : public StreamWriter {
 public:
  explicit AdtsWriter(Bytes audio_specific_config);
  bool write(OutputFile& file, Bytes sample) override;

 private:
  bool write_unit(OutputFile& file, Bytes unit);

  bool usable_ = false;
  unsigned profile_ = 0;  // audio object type minus one
  unsigned rate_index_ = 0;
  unsigned channel_configuration_ = 0;
};

}  // namespace zdr::host
