// Parses an AudioSpecificConfig: one function per part of the record, in bit order.
#include "aacdec/syntax/audio_specific_config.h"

#include <cstdio>
#include <optional>

#include "aacdec/syntax/console.h"
#include "aacdec/syntax/program_config.h"
#include "aacdec/syntax/sampling_rates.h"
#include "aacdec/syntax/stream_format.h"

namespace zdr::aacdec {
namespace {

enum ObjectType { kObjectLc = 2, kObjectLtp = 4, kObjectSbr = 5, kObjectPs = 29 };
constexpr int kObjectTypeBits = 5;
constexpr uint32_t kExplicitRate = 15;
constexpr int kRateBits = 24;
constexpr uint32_t kSbrSyncExtension = 0x2B7;
constexpr int kSyncExtensionBits = 11;

// The SBR signalling of the record.
struct SbrSignalling {
  bool present = false;
  int32_t rate_hz = 0;
};

// Returns 0 unless the rate is one of kSamplingRates, even if it is coded explicitly.
int32_t read_core_rate(BitReader& reader) {
  const uint32_t index = reader.read(4);
  if (index == kExplicitRate) {
    const int table_index = sampling_index_of(static_cast<int32_t>(reader.read(kRateBits)));
    return table_index < 0 ? 0 : kSamplingRates[table_index];
  }
  return is_sampling_index(static_cast<int>(index)) ? kSamplingRates[index] : 0;
}

// Returns the rate of SBR. Any rate is accepted if it is coded explicitly.
std::optional<int32_t> read_extension_rate(BitReader& reader) {
  const uint32_t index = reader.read(4);
  if (index == kExplicitRate) return static_cast<int32_t>(reader.read(kRateBits));
  if (!is_sampling_index(static_cast<int>(index))) return std::nullopt;
  return kSamplingRates[index];
}

void report_object_type(int object_type) {
  char text[80];
  // Printed by a single call, so that lines of two threads do not mix.
  std::snprintf(text, sizeof text, "lObjectType = %d =Failed at Zd_AAC_Dec_sParseRawConfigData\n",
                object_type);
  write_console(text);
}

bool apply_object_type(int object_type, Zd_AAC_Dec_Config& config) {
  config.profile = object_type == kObjectLtp ? kProfileLtp : kProfileLc;
  switch (object_type) {
    case kObjectLc:
    case kObjectLtp:
      config.extension = ZD_AAC_DEC_EXTENSION_NONE;
      return true;
    case kObjectSbr:
      config.extension = ZD_AAC_DEC_EXTENSION_SBR;
      return true;
    case kObjectPs:
      config.extension = ZD_AAC_DEC_EXTENSION_PS;
      return true;
    default:
      report_object_type(object_type);
      return false;
  }
}

// Hierarchical signalling: the rate of SBR and the core's object type precede the core's own configuration.
bool parse_hierarchical_sbr(BitReader& reader, SbrSignalling& sbr) {
  const auto rate = read_extension_rate(reader);
  if (!rate.has_value()) return false;
  sbr = {true, *rate};
  return reader.read(kObjectTypeBits) == kObjectLc;
}

bool parse_general_audio_config(BitReader& reader, bool hierarchical, Zd_AAC_Dec_Config& config) {
  const bool short_frames = reader.read_bit();  // 960 samples
  if (short_frames) return false;
  config.frameLength = kFrameLength;
  const bool depends_on_core_coder = reader.read_bit();
  // Kept: records exist that set the flag and end here; the missing bits read as zeros.
  if (depends_on_core_coder) reader.skip(14);
  const bool extension_flag = reader.read_bit();
  if (extension_flag && !hierarchical) return false;
  if (extension_flag) reader.skip(1);
  if (config.channels == 0) {
    const auto program = parse_program_config(reader);
    if (!program.has_value()) return false;
    config.channels = program->channels;
  }
  return true;
}

// Backward compatible signalling: SBR is announced after the configuration, where decoders without SBR do not
// look.
bool parse_compatible_sbr(BitReader& reader, SbrSignalling& sbr) {
  if (reader.bits_left() < 16 || reader.peek(kSyncExtensionBits) != kSbrSyncExtension) return true;
  reader.skip(kSyncExtensionBits);
  if (reader.read(kObjectTypeBits) != kObjectSbr) return false;
  if (reader.bits_left() < 5) return false;
  const bool present = reader.read_bit();
  if (!present) return true;
  if (reader.peek(4) == kExplicitRate && reader.bits_left() < 4 + kRateBits) return false;
  const auto rate = read_extension_rate(reader);
  if (!rate.has_value()) return false;
  sbr = {true, *rate};
  return true;
}

// Kept: compatible signalling sets rates and sizes only; the extension remains that of the object type.
bool apply_sbr(const SbrSignalling& sbr, Zd_AAC_Dec_Config& config) {
  const bool doubled = sbr.present && sbr.rate_hz != config.sampleRate;
  if (doubled && sbr.rate_hz != 2 * config.sampleRate) return false;
  config.singleRate = sbr.present && !doubled ? 1 : 0;
  config.outputBytes = config.channels * (doubled ? 4 : 2) * kFrameLength;
  config.outputRate = doubled ? sbr.rate_hz : config.sampleRate;
  return true;
}

}  // namespace

bool parse_audio_specific_config(BitReader& reader, Zd_AAC_Dec_Config& config) {
  const int object_type = static_cast<int>(reader.read(kObjectTypeBits));
  if (!apply_object_type(object_type, config)) return false;
  const bool hierarchical = object_type == kObjectSbr || object_type == kObjectPs;
  config.sampleRate = read_core_rate(reader);
  if (config.sampleRate == 0) return false;
  config.channels = static_cast<int32_t>(reader.read(4));

  SbrSignalling sbr;
  if (hierarchical && !parse_hierarchical_sbr(reader, sbr)) return false;
  if (!parse_general_audio_config(reader, hierarchical, config)) return false;
  if (object_type == kObjectPs) config.channels = 2;
  if (!hierarchical && !parse_compatible_sbr(reader, sbr)) return false;
  return apply_sbr(sbr, config);
}

}  // namespace zdr::aacdec
