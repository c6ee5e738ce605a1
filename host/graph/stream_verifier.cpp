// Counts, examines, decodes and hashes each sample.
#include "host/graph/stream_verifier.h"

#include <utility>

#include "host/formats/aac_format.h"

namespace zdr::host {

StreamVerifier::StreamVerifier(std::string pin_name, DeliveryGuard& guard, Settings settings)
    : PinConsumer(std::move(pin_name), guard), settings_(settings) {
  if (settings.hash) digest_.emplace(*settings.hash);
}

bool StreamVerifier::receive(IMediaSample& sample) {
  const auto bytes = bytes_of(sample);
  if (!bytes) return fail();
  const uint64_t position = payload_bytes();
  const uint64_t damaged_before = damaged_units();
  if (!count_bytes(*bytes)) return false;
  const Bytes payload = bytes->first(last_sample().payload_bytes);
  if (damaged_units() != damaged_before) damage_.push_back({position, payload.size(), first_damage(), false});
  if (is_aac()) decode(*bytes, position);
  if (digest_ && !(is_aac() && settings_.hashes_pcm)) digest_->add(payload);
  REFERENCE_TIME start = 0;
  REFERENCE_TIME stop = 0;
  sample.GetTime(&start, &stop);
  count_sample(start);
  return true;
}

void StreamVerifier::note_undecodable(DamagedSpan span) {
  if (undecodable_units_++ == 0) first_decoding_damage_ = span.reason;
  damage_.push_back(span);
}

void StreamVerifier::add_pcm(Bytes pcm) {
  if (digest_ && settings_.hashes_pcm) digest_->add(pcm);
}

void StreamVerifier::decode(Bytes sample, uint64_t position) {
  const std::vector<Bytes> units = split_aac_sample(sample);
  if (units.empty()) return note_undecodable({position, last_sample().payload_bytes, kAacTableDamage, true});
  if (decoder_ == nullptr)
    decoder_ = std::make_unique<AacUnitDecoder>(read_aac_format(type()).config, units.front());
  if (!decoder_->is_usable()) return;
  for (const Bytes unit : units) {
    const AacUnitDecoder::Output output = decoder_->decode(unit);
    if (output.is_damaged) note_undecodable({position, unit.size(), kAacUnitDamage, true});
    add_pcm(output.pcm);
    position += unit.size();
  }
}

void StreamVerifier::finish() {
  if (is_decoded()) add_pcm(decoder_->drain());
  const bool has_digest = digest_ && (!is_aac() || !settings_.hashes_pcm || is_decoded());
  if (has_digest) digest_text_ = digest_->finish();
}

}  // namespace zdr::host
