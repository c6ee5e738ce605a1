// Measures each access unit before it is decoded, so that a damaged one can be concealed.
#include "host/formats/aac_unit_decoder.h"

#include <algorithm>
#include <new>

#include "host/formats/aac_format.h"
#include "platform/dshow/pcm_order.h"

namespace zdr::host {
namespace {

// The decoder skips what precedes the first syncword.
Bytes from_syncword(Bytes unit) {
  while (!unit.empty() && !begins_with_syncword(unit)) unit = unit.subspan(1);
  return unit;
}

// The raw data block of a unit, which may have an ADTS header, with or without a CRC.
Bytes without_header(Bytes unit) {
  if (!begins_with_syncword(unit)) return unit;
  return unit.subspan(std::min<size_t>((unit[1] & 1) != 0 ? 7 : 9, unit.size()));
}

}  // namespace

AacUnitDecoder::AacUnitDecoder(Bytes config, Bytes first_unit) {
  if (!configure(config, first_unit)) decoder_.reset();
}

bool AacUnitDecoder::configure(Bytes config, Bytes first_unit) {
  const auto parsed = read_aac_config(config, without_header(first_unit));
  if (!parsed) return false;
  Zd_AAC_Dec_Instance* instance = nullptr;
  if (Zd_AAC_Dec_Create(&instance, ZD_AAC_DEC_MODE_PS) != ZD_AAC_DEC_OK) throw std::bad_alloc();
  decoder_.reset(instance);
  Zd_AAC_Dec_Config accepted = *parsed;
  if (Zd_AAC_Dec_SetConfig(instance, &accepted) != ZD_AAC_DEC_OK) return false;
  core_.frameLength = accepted.frameLength;
  core_.sampleRate = accepted.sampleRate;
  core_.profile = accepted.profile;
  has_adts_headers_ = begins_with_syncword(first_unit);
  pcm_.resize(static_cast<size_t>(accepted.outputBytes) / sizeof(int16_t));
  rate_hz_ = static_cast<uint32_t>(accepted.outputRate);
  channels_ = static_cast<uint16_t>(accepted.channels);
  return true;
}

bool AacUnitDecoder::is_decodable(Bytes unit) {
  if (!has_adts_headers_) return is_aac_unit(core_, unit);
  unit = from_syncword(unit);
  if (unit.size() < 3) return false;
  const int rate_index = unit[2] >> 2 & 0xF;
  if (holds_frame_ && rate_index != rate_index_) return false;
  rate_index_ = rate_index;
  Zd_AAC_Dec_Config config = core_;
  auto length = static_cast<int32_t>(unit.size());
  return Zd_AAC_Dec_GetFrameLength(unit.data(), ZD_AAC_DEC_STREAM_ADTS, &config, &length, 0) == ZD_AAC_DEC_OK;
}

AacUnitDecoder::Outcome AacUnitDecoder::feed(Bytes unit, int32_t& pcm_bytes) {
  auto unit_bytes = static_cast<int32_t>(unit.size());
  pcm_bytes = static_cast<int32_t>(pcm_.size() * sizeof(int16_t));
  if (Zd_AAC_Dec_Decode(decoder_.get(), unit.empty() ? nullptr : unit.data(), &unit_bytes, pcm_.data(),
                        &pcm_bytes) != ZD_AAC_DEC_OK) {
    return Outcome::kFailed;
  }
  holds_frame_ = true;
  return unit_bytes == 0 && !unit.empty() ? Outcome::kConcealed : Outcome::kDecoded;
}

Bytes AacUnitDecoder::pcm(int32_t bytes) {
  dshow::to_pcm_order(std::span(pcm_).first(static_cast<size_t>(bytes) / sizeof(int16_t)));
  return {reinterpret_cast<const uint8_t*>(pcm_.data()), static_cast<size_t>(bytes)};
}

AacUnitDecoder::Output AacUnitDecoder::decode(Bytes unit) {
  int32_t pcm_bytes = 0;
  const bool decodable = is_decodable(unit);
  const Outcome outcome = decodable ? feed(unit, pcm_bytes) : Outcome::kFailed;
  if (outcome == Outcome::kDecoded) return {pcm(pcm_bytes), unit.size() > kLongestAacUnit};
  // Nothing can replace a unit that precedes the first frame.
  if (outcome == Outcome::kFailed && !holds_frame_) return {{}, true};
  // After damage that only decoding detects, the buffer has the frame that the decoder held, and `pcm_bytes`
  // is still its size.
  if (outcome == Outcome::kFailed && !decodable && feed({}, pcm_bytes) == Outcome::kFailed) return {{}, true};
  return {pcm(pcm_bytes), true};
}

Bytes AacUnitDecoder::drain() {
  int32_t pcm_bytes = 0;
  return feed({}, pcm_bytes) == Outcome::kFailed ? Bytes() : pcm(pcm_bytes);
}

}  // namespace zdr::host
