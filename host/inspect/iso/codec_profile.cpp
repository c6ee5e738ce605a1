// Profiles and levels of AVC (ISO/IEC 14496-10, annex A), HEVC (ISO/IEC 23008-2, annex A), MPEG-4 visual
// (ISO/IEC 14496-2, annex G), H.263 and AAC (ISO/IEC 14496-3, 1.5).
#include "host/inspect/iso/codec_profile.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <iterator>
#include <string_view>

#include "host/formats/aac_format.h"
#include "host/formats/codec_names.h"
#include "host/inspect/iso/bit_reader.h"

namespace zdr::host {
namespace {

struct NumberName {
  uint64_t number;
  const char* name;
};

std::string name_in(std::span<const NumberName> names, uint64_t number) {
  const auto found = std::ranges::find(names, number, &NumberName::number);
  return found != names.end() ? found->name : "";
}

// A level with one digit after the point, of which there are `parts` per unit: "3.1", "4".
std::string level_text(uint64_t level, uint64_t parts) {
  const uint64_t tenth = level % parts * 10 / parts;
  return std::to_string(level / parts) + (tenth != 0 ? "." + std::to_string(tenth) : "");
}

void describe_avc(TrackDescription& track, const CodecConfiguration& configuration) {
  constexpr uint64_t kBaseline = 66;
  constexpr uint64_t kMain = 77;
  constexpr uint64_t kConstraintSet1 = 0x40;
  constexpr uint64_t kConstraintSet3 = 0x10;
  const uint64_t profile = configuration.avc_profile.value_or(0);
  const uint64_t compatibility = configuration.avc_compatibility.value_or(0);
  const uint64_t level = configuration.avc_level.value_or(0);
  const bool is_constrained = profile == kBaseline && (compatibility & kConstraintSet1) != 0;
  track.profile = (is_constrained ? "Constrained " : "") + configuration.avc_profile_name;
  const bool has_flag_for_1b = profile <= kMain && (compatibility & kConstraintSet3) != 0;
  const bool is_1b = level == 9 || (level == 11 && has_flag_for_1b);
  track.level = is_1b ? "1b" : level_text(level, 10);
}

void describe_hevc(TrackDescription& track, const CodecConfiguration& configuration) {
  constexpr NumberName kProfiles[] = {
      {1, "Main"}, {2, "Main 10"}, {3, "Main Still Picture"}, {4, "Range Extensions"}};
  track.profile = name_in(kProfiles, *configuration.hevc_profile);
  track.level = level_text(configuration.hevc_level.value_or(0), 30);
  if (configuration.hevc_tier.value_or(0) != 0) track.profile += ", High tier";
}

// The profile and level are in the byte after the first start code of a visual object sequence.
void describe_mpeg4_visual(TrackDescription& track, Bytes info) {
  constexpr std::array<uint8_t, 4> kSequenceStart = {0, 0, 1, 0xB0};
  constexpr const char* kProfiles[] = {"Simple",
                                       "Simple Scalable",
                                       "Core",
                                       "Main",
                                       "N-bit",
                                       "Scalable Texture",
                                       "Simple Face Animation",
                                       "Basic Animated Texture",
                                       "Hybrid",
                                       "Advanced Real Time Simple",
                                       "Core Scalable",
                                       "Advanced Coding Efficiency",
                                       "Advanced Core",
                                       "Advanced Scalable Texture",
                                       "Simple Studio",
                                       "Advanced Simple"};
  constexpr uint8_t kSimpleLevel0 = 8;
  const auto found =
      std::search(info.begin(), info.end(), std::begin(kSequenceStart), std::end(kSequenceStart));
  const auto after = static_cast<size_t>(found - info.begin()) + std::size(kSequenceStart);
  if (after >= info.size()) return;
  const uint8_t code = info[after];
  track.profile = kProfiles[code >> 4];
  track.level = code == kSimpleLevel0 ? "0" : std::to_string(code & 15);
}

// d263: vendor, decoder version, level, profile.
void describe_h263(TrackDescription& track, Bytes body) {
  constexpr size_t kLevel = 5;
  constexpr size_t kProfile = 6;
  if (body.size() <= kProfile) return;
  track.profile = std::to_string(body[kProfile]);
  track.level = std::to_string(body[kLevel]);
}

// --- Sound ---

constexpr uint64_t kSpeechRate = 8000;
constexpr uint64_t kWideBandRate = 16000;

// The rate and the channels of a speech codec do not depend on the sample entry, whose fields are constants.
void set_sound(TrackDescription& track, uint64_t channels, uint64_t sample_rate) {
  track.channels = channels;
  track.sample_rate = sample_rate;
}

constexpr NumberName kAacProfiles[] = {{1, "Main"},       {2, "LC"},       {3, "SSR"},     {4, "LTP"},
                                       {5, "HE-AAC"},     {6, "Scalable"}, {17, "ER LC"},  {23, "LD"},
                                       {29, "HE-AAC v2"}, {39, "ELD"},     {42, "xHE-AAC"}};

void describe_mpeg4_audio(TrackDescription& track, const CodecConfiguration& configuration) {
  constexpr uint64_t kSevenPointOne = 7;  // the only configuration whose number is not that of its channels
  const uint64_t object_type = configuration.audio_object_type.value_or(0);
  constexpr NumberName kMpeg2Profiles[] = {{0x66, "Main"}, {0x67, "LC"}, {0x68, "SSR"}};
  track.profile = name_in(kMpeg2Profiles, *configuration.object_type);
  if (object_type != 0) track.profile = name_in(kAacProfiles, object_type);
  track.codec = track.profile.empty() && object_type != 0
                    ? "MPEG-4 audio of object type " + std::to_string(object_type)
                    : "AAC";
  const uint64_t channels = configuration.audio_channels.value_or(0);
  if (channels != 0) track.channels = channels == kSevenPointOne ? 8 : channels;
  if (configuration.audio_rate.value_or(0) != 0) track.sample_rate = configuration.audio_rate;
  const auto decoded = read_aac_config(configuration.specific_info, {});
  if (decoded) describe_aac_track(track, *decoded);
}

// dec3 (ETSI TS 102 366, F.6), the first independent substream.
void describe_eac3(TrackDescription& track, Bytes body) {
  constexpr uint64_t kRates[] = {48000, 44100, 32000, 0};
  constexpr uint64_t kChannels[] = {2, 1, 2, 3, 3, 4, 4, 5};  // by coding mode
  BitReader bits(body);
  bits.skip(16);
  const uint64_t rate = kRates[bits.take(2)];
  bits.skip(5 + 1 + 1 + 3);
  const uint64_t channels = kChannels[bits.take(3)];
  const uint64_t lfe = bits.take(1);
  if (!bits.has_failed() && rate != 0) set_sound(track, channels + lfe, rate);
}

void describe_by_object_type(TrackDescription& track, const CodecConfiguration& configuration) {
  constexpr uint64_t kMpeg4Visual = 0x20;
  constexpr uint64_t kAac[] = {0x40, 0x66, 0x67, 0x68};  // MPEG-4 audio, and MPEG-2 AAC in three profiles
  constexpr uint64_t kQcelp = 0xE1;
  const uint64_t type = *configuration.object_type;
  if (std::ranges::find(kAac, type) != std::end(kAac)) return describe_mpeg4_audio(track, configuration);
  if (type == kQcelp) set_sound(track, 1, kSpeechRate);
  if (type == kMpeg4Visual) describe_mpeg4_visual(track, configuration.specific_info);
  track.codec = configuration.object_type_name;
}

}  // namespace

void describe_codec(TrackDescription& track, const CodecConfiguration& configuration) {
  track.codec = codec_of_entry(track.entry_type);
  if (configuration.object_type) describe_by_object_type(track, configuration);
  if (configuration.avc_profile) describe_avc(track, configuration);
  if (configuration.hevc_profile) describe_hevc(track, configuration);
  if (!configuration.d263.empty()) describe_h263(track, configuration.d263);
  if (!configuration.dec3.empty()) describe_eac3(track, configuration.dec3);
  constexpr std::string_view kSpeech[] = {"samr", "sqcp", "sevc", "secb", "ssmv"};
  constexpr std::string_view kWideBand[] = {"sawb", "secw"};
  if (std::ranges::find(kSpeech, track.entry_type) != std::end(kSpeech)) set_sound(track, 1, kSpeechRate);
  if (std::ranges::find(kWideBand, track.entry_type) != std::end(kWideBand))
    set_sound(track, 1, kWideBandRate);
}

void describe_aac_track(TrackDescription& track, const Zd_AAC_Dec_Config& config) {
  const bool has_sbr = config.extension != ZD_AAC_DEC_EXTENSION_NONE ||
                       config.outputRate != config.sampleRate || config.singleRate != 0;
  const bool has_ps = config.extension == ZD_AAC_DEC_EXTENSION_PS;
  if (config.channels > 0) track.channels = has_ps ? 2 : static_cast<uint64_t>(config.channels);
  track.sample_rate = static_cast<uint64_t>(config.outputRate);
  if (has_sbr) track.core_rate = static_cast<uint64_t>(config.sampleRate);
  if (has_sbr) track.profile = has_ps ? "HE-AAC v2" : "HE-AAC";
}

}  // namespace zdr::host
