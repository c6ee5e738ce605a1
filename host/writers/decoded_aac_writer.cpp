// Writes what the decoder makes of each access unit.
#include "host/writers/decoded_aac_writer.h"

#include "host/formats/aac_format.h"

namespace zdr::host {

DecodedAacWriter::DecodedAacWriter(Bytes config, Bytes first_sample)
    : decoder_(config, first_aac_unit(first_sample)) {
  set_format({decoder_.rate_hz(), decoder_.channels()});
}

bool DecodedAacWriter::write(Output& output, Bytes sample) {
  const std::vector<Bytes> units = split_aac_sample(sample);
  if (units.empty()) note_damage(kAacTableDamage);
  for (const Bytes unit : units) {
    const AacUnitDecoder::Output decoded = decoder_.decode(unit);
    if (decoded.is_damaged) note_damage(kAacUnitDamage);
    if (!WavWriter::write(output, decoded.pcm)) return false;
  }
  return true;
}

bool DecodedAacWriter::finish(Output& output) {
  return WavWriter::write(output, decoder_.drain()) && seal(output);
}

}  // namespace zdr::host
