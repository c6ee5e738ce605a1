// The configuration boxes of the codecs, children of the sample entries: esds (ISO/IEC 14496-14, 5.6), avcC
// (ISO/IEC 14496-15, 5.3.4), d263 with bitr, damr, dawp (3GPP TS 26.244, 6), devc, decb, decw, dqcp, dsmv,
// dvmr (3GPP2 C.S0050), dac3, dec3 (ETSI TS 102 366, annex F).
#pragma once

#include <cstdint>
#include <vector>

#include "p3gpp/p3gpp.h"
#include "p3gpp/parse/box_node.h"
#include "p3gpp/parse/box_reader.h"

namespace zdr::p3gpp {

struct EsdsPayload final : BoxPayload {
  std::vector<uint8_t> descriptors;  // from the ES_Descriptor tag to the end of the box
  void describe(const BoxNode& node, BoxFields& fields) const override;
};

struct AvccPayload final : BoxPayload {
  uint8_t profile = 0;
  uint8_t profile_compatibility = 0;
  uint8_t level = 0;
  uint8_t nal_length_size_minus_one = 0;
  // SPS count, (16-bit length, SPS) pairs, PPS count, (16-bit length, PPS) pairs, and any bytes that follow.
  std::vector<uint8_t> parameter_sets;
  void describe(const BoxNode& node, BoxFields& fields) const override;
};

struct D263Payload final : BoxPayload {
  uint32_t vendor = 0;
  uint8_t decoder_version = 0;
  uint8_t level = 0;
  uint8_t profile = 0;
  uint32_t average_bitrate = 0;  // bit/s, from the optional bitr child
  uint32_t max_bitrate = 0;
  void describe(const BoxNode& node, BoxFields& fields) const override;
};

// damr and dvmr.
struct AmrPayload final : BoxPayload {
  uint32_t vendor = 0;
  uint8_t decoder_version = 0;
  uint16_t mode_set = 0;
  uint8_t mode_change_period = 0;  // dvmr: the media sampling frequency
  uint8_t frames_per_sample = 0;
  void describe(const BoxNode& node, BoxFields& fields) const override;
};

struct AmrWbPlusPayload final : BoxPayload {
  uint32_t vendor = 0;
  uint8_t decoder_version = 0;
  void describe(const BoxNode& node, BoxFields& fields) const override;
};

// devc, decb, decw, dqcp and dsmv.
struct Speech3gpp2Payload final : BoxPayload {
  uint32_t vendor = 0;
  uint8_t decoder_version = 0;
  uint8_t frames_per_sample = 0;
  void describe(const BoxNode& node, BoxFields& fields) const override;
};

struct Ac3Payload final : BoxPayload {
  uint8_t fscod = 0;
  uint8_t bsid = 0;
  uint8_t bsmod = 0;
  uint8_t acmod = 0;
  uint8_t lfeon = 0;
  uint8_t bit_rate_code = 0;
  uint16_t bit_rate_kbps = 0;  // 0 for a code that the standard does not define
  void describe(const BoxNode& node, BoxFields& fields) const override;
};

struct Eac3Payload final : BoxPayload {
  uint16_t data_rate = 0;              // kbit/s
  uint8_t independent_substreams = 0;  // the field as stored: count - 1
  std::vector<P3gppEac3Substream> substreams;
  void describe(const BoxNode& node, BoxFields& fields) const override;
};

Status parse_esds(BoxReader& reader, BoxNode& node);
Status parse_avcc(BoxReader& reader, BoxNode& node);
Status parse_d263(BoxReader& reader, BoxNode& node);
Status parse_amr(BoxReader& reader, BoxNode& node);
Status parse_amr_wb_plus(BoxReader& reader, BoxNode& node);
Status parse_speech_3gpp2(BoxReader& reader, BoxNode& node);
Status parse_dac3(BoxReader& reader, BoxNode& node);
Status parse_dec3(BoxReader& reader, BoxNode& node);

}  // namespace zdr::p3gpp
