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
#include "host/inspect/iso/avc_sequence.h"
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
  describe_avc_sequence(configuration.avc_sequence, track.format);
}

void describe_hevc(TrackDescription& track, const CodecConfiguration& configuration) {
  constexpr NumberName kProfiles[] = {
      {1, "Main"}, {2, "Main 10"}, {3, "Main Still Picture"}, {4, "Range Extensions"}};
  track.profile = name_in(kProfiles, *configuration.hevc_profile);
  track.level = level_text(configuration.hevc_level.value_or(0), 30);
  if (configuration.hevc_tier.value_or(0) != 0) track.profile += ", High tier";
  constexpr NumberName kChroma[] = {{0, "monochrome"}, {1, "4:2:0"}, {2, "4:2:2"}, {3, "4:4:4"}};
  track.format.bit_depth = configuration.hevc_bit_depth;
  if (configuration.hevc_chroma) track.format.chroma = name_in(kChroma, *configuration.hevc_chroma);
}

// The only format of H.263, and of the profiles Simple and Advanced Simple of MPEG-4 visual.
void set_usual_format(TrackDescription& track) {
  track.format.chroma = "4:2:0";
  track.format.bit_depth = 8;
}

// The bytes after a start code.
Bytes after_start_code(Bytes info, uint8_t code) {
  const std::array<uint8_t, 4> start = {0, 0, 1, code};
  const auto found = std::search(info.begin(), info.end(), start.begin(), start.end());
  return info.subspan(std::min(info.size(), static_cast<size_t>(found - info.begin()) + start.size()));
}

// The colours of a visual object (6.2.2).
void read_visual_object(Bytes object, PictureFormat& format) {
  constexpr uint64_t kVideo = 1;
  constexpr uint64_t kStillTexture = 2;
  BitReader bits(object);
  if (bits.take(1) != 0) bits.skip(7);
  const uint64_t type = bits.take(4);
  if ((type == kVideo || type == kStillTexture) && bits.take(1) != 0) read_signal_type(bits, format);
}

// The profile and level are in the byte after the start code of a visual object sequence.
void describe_mpeg4_visual(TrackDescription& track, Bytes info) {
  constexpr uint8_t kSequence = 0xB0;
  constexpr uint8_t kVisualObject = 0xB5;
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
  read_visual_object(after_start_code(info, kVisualObject), track.format);
  const Bytes sequence = after_start_code(info, kSequence);
  if (sequence.empty()) return;
  const uint8_t code = sequence[0];
  track.profile = kProfiles[code >> 4];
  track.level = code == kSimpleLevel0 ? "0" : std::to_string(code & 15);
  if (code >> 4 == 0 || code >> 4 == std::size(kProfiles) - 1) set_usual_format(track);
}

// d263: vendor, decoder version, level, profile.
void describe_h263(TrackDescription& track, Bytes body) {
  set_usual_format(track);
  constexpr size_t kLevel = 5;
  constexpr size_t kProfile = 6;
  if (body.size() <= kProfile) return;
  track.profile = std::to_string(body[kProfile]);
  track.level = std::to_string(body[kLevel]);
}

// --- Sound ---

constexpr const char* kMono = "mono";
constexpr const char* kStereo = "stereo";
constexpr uint64_t kSpeechRate = 8000;
constexpr uint64_t kWideBandRate = 16000;

// The rate and the channels of a speech codec do not depend on the sample entry, whose fields are constants.
void set_sound(TrackDescription& track, uint64_t channels, uint64_t sample_rate) {
  track.channels = channels;
  track.sample_rate = sample_rate;
  if (channels == 1) track.channel_layout = kMono;
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
  constexpr NumberName kLayouts[] = {{1, kMono}, {2, kStereo}, {3, "3.0"},      {4, "4.0"},
                                     {5, "5.0"}, {6, "5.1"},   {7, "7.1(wide)"}};
  const uint64_t channels = configuration.audio_channels.value_or(0);
  if (channels != 0) track.channels = channels == kSevenPointOne ? 8 : channels;
  track.channel_layout = name_in(kLayouts, channels);
  if (configuration.audio_rate.value_or(0) != 0) track.sample_rate = configuration.audio_rate;
  const auto decoded = read_aac_config(configuration.specific_info, {});
  if (decoded) describe_aac_track(track, *decoded);
}

// The fields that dac3 and dec3 have in common.
struct Ac3Mode {
  uint64_t rate;
  uint64_t coding_mode;
  uint64_t lfe;
};

void describe_ac3_mode(TrackDescription& track, const Ac3Mode& mode) {
  constexpr uint64_t kRates[] = {48000, 44100, 32000, 0};
  constexpr uint64_t kChannels[] = {2, 1, 2, 3, 3, 4, 4, 5};  // by coding mode
  constexpr const char* kLayouts[] = {"dual mono", kMono, "stereo",     "3.0",
                                      "3.0(back)", "4.0", "quad(side)", "5.0(side)"};
  constexpr const char* kWithLfe[] = {"", "", "2.1", "3.1", "", "4.1", "", "5.1(side)"};
  if (kRates[mode.rate] == 0) return;
  set_sound(track, kChannels[mode.coding_mode] + mode.lfe, kRates[mode.rate]);
  track.channel_layout = (mode.lfe != 0 ? kWithLfe : kLayouts)[mode.coding_mode];
}

// dac3 (ETSI TS 102 366, F.4).
void describe_ac3(TrackDescription& track, Bytes body) {
  BitReader bits(body);
  Ac3Mode mode{};
  mode.rate = bits.take(2);
  bits.skip(5 + 3);
  mode.coding_mode = bits.take(3);
  mode.lfe = bits.take(1);
  if (!bits.has_failed()) describe_ac3_mode(track, mode);
}

// dec3 (F.6), the first independent substream. Its dependent substreams add channels.
void describe_eac3(TrackDescription& track, Bytes body) {
  BitReader bits(body);
  Ac3Mode mode{};
  bits.skip(16);
  mode.rate = bits.take(2);
  bits.skip(5 + 1 + 1 + 3);
  mode.coding_mode = bits.take(3);
  mode.lfe = bits.take(1);
  bits.skip(3);
  const bool has_more = bits.take(4) != 0;
  if (bits.has_failed()) return;
  describe_ac3_mode(track, mode);
  if (has_more) track.channel_layout.clear();
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
  if (!configuration.dac3.empty()) describe_ac3(track, configuration.dac3);
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
  if (config.channels == 1 || config.channels == 2)
    track.channel_layout = has_ps || config.channels == 2 ? kStereo : kMono;
}

}  // namespace zdr::host
