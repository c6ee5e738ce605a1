// AAC access units as an ADTS stream (ISO/IEC 14496-3, 1.A.2).
#pragma once

#include "host/writers/stream_writer.h"

namespace zdr::host {

// Writes a header of seven bytes before each access unit. The header of an HE-AAC stream signals only the
// core codec, since ADTS cannot signal SBR.
class AdtsWriter : public StreamWriter {
 public:
  explicit AdtsWriter(Bytes config);
  bool write(Output& output, Bytes sample) override;

 private:
  bool write_unit(Output& output, Bytes unit);

  bool usable_ = false;
  unsigned profile_ = 0;  // audio object type minus one
  unsigned rate_index_ = 0;
  unsigned channel_configuration_ = 0;
};

}  // namespace zdr::host
