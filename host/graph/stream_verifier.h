// The consumer of a pin in `zdr verify`: checks what is delivered and stores none of it.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/formats/aac_unit_decoder.h"
#include "host/formats/digest.h"
#include "host/graph/pin_consumer.h"
#include "host/inspect/diagnosis/damaged_units.h"

namespace zdr::host {

class StreamVerifier final : public PinConsumer {
 public:
  struct Settings {
    std::optional<DigestKind> hash;
    bool hashes_pcm = false;  // of AAC, instead of the access units
  };
  StreamVerifier(std::string pin_name, DeliveryGuard& guard, Settings settings);

  bool receive(IMediaSample& sample) override;

  // Call after the run.
  void finish();
  // The digest of all payload or PCM; empty without `hash`, and if the PCM could not be decoded.
  const std::string& digest() const { return digest_text_; }

  bool is_aac() const { return is_aac_access_units(type()); }
  // False if the decoder does not support the stream, and for other codecs.
  bool is_decoded() const { return decoder_ != nullptr && decoder_->is_usable(); }
  // The number of AAC access units that could not be decoded.
  uint64_t undecodable_units() const { return undecodable_units_; }
  const char* first_decoding_damage() const { return first_decoding_damage_; }
  // Where the damage is, in the order of the stream.
  const std::vector<DamagedSpan>& damage() const { return damage_; }

 private:
  bool decodes_aac() const override { return true; }
  void decode(Bytes sample, uint64_t position);
  void note_undecodable(DamagedSpan span);
  void add_pcm(Bytes pcm);

  const Settings settings_;
  std::optional<Digest> digest_;
  std::string digest_text_;
  std::unique_ptr<AacUnitDecoder> decoder_;
  uint64_t undecodable_units_ = 0;
  const char* first_decoding_damage_ = nullptr;
  std::vector<DamagedSpan> damage_;
};

}  // namespace zdr::host
