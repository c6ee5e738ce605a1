// The layouts of known boxes, one row each, in the order of their fields (ISO/IEC 14496-12; the
// configurations of codecs in ISO/IEC 14496-15).
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "host/inspect/iso/codec_details.h"

namespace zdr::host::layouts {

enum class Kind : uint8_t {
  kSkipped,
  kNumber,
  kSigned,
  kOffset,  // signed from version 1 on
  kFixed,   // signed, with half of its bits after the point
  kTime,    // seconds since 1904
  kLanguage,
  kType,
  kCount,       // of the entries
  kCommonSize,  // if it is not 0, there are no entries
  kMatrix,
  kTypes,  // these take the rest of the body
  kTrackIds,
  kText,
};

struct FieldRow {
  const char* name;
  uint16_t bits;  // kWide: 32, in version 1 64
  Kind kind = Kind::kNumber;
  const char* second_name = nullptr;  // of a second form of the value
  uint8_t bias = 0;                   // added to a number
};

inline constexpr uint16_t kWide = 0;
inline constexpr uint16_t kRest = 0;
inline constexpr uint16_t kMatrixBits = 9 * 32;
inline constexpr FieldRow skip(uint16_t bits) {
  return {"", bits, Kind::kSkipped};
}
inline constexpr FieldRow kCreated{"creation_time", kWide, Kind::kTime, "creation_time_utc"};
inline constexpr FieldRow kModified{"modification_time", kWide, Kind::kTime, "modification_time_utc"};
inline constexpr FieldRow kEntryCount{"entry_count", 32, Kind::kCount};
inline constexpr FieldRow kMatrix{"matrix", kMatrixBits, Kind::kMatrix, "rotation_degrees"};
inline constexpr FieldRow kVolume{"volume", 16, Kind::kFixed};

// --- Boxes ---

inline constexpr FieldRow kFtyp[] = {
    {"major_brand", 32, Kind::kType}, {"minor_version", 32}, {"compatible_brands", kRest, Kind::kTypes}};
inline constexpr FieldRow kMvhd[] = {
    kCreated, kModified, {"time_scale", 32}, {"duration", kWide},  {"rate", 32, Kind::kFixed}, kVolume,
    skip(80), kMatrix,   skip(192),          {"next_track_id", 32}};
inline constexpr FieldRow kTkhd[] = {kCreated,
                                     kModified,
                                     {"track_id", 32},
                                     skip(32),
                                     {"duration", kWide},
                                     skip(64),
                                     {"layer", 16, Kind::kSigned},
                                     {"alternate_group", 16, Kind::kSigned},
                                     kVolume,
                                     skip(16),
                                     kMatrix,
                                     {"width", 32, Kind::kFixed},
                                     {"height", 32, Kind::kFixed}};
inline constexpr FieldRow kMdhd[] = {
    kCreated, kModified, {"time_scale", 32}, {"duration", kWide}, {"language", 16, Kind::kLanguage}};
inline constexpr FieldRow kHdlr[] = {
    skip(32), {"handler_type", 32, Kind::kType}, skip(96), {"name", kRest, Kind::kText}};
inline constexpr FieldRow kVmhd[] = {{"graphics_mode", 16}};
inline constexpr FieldRow kSmhd[] = {{"balance", 16, Kind::kFixed}};
inline constexpr FieldRow kCountOnly[] = {kEntryCount};
inline constexpr FieldRow kEdit[] = {
    {"segment_duration", kWide}, {"media_time", kWide, Kind::kSigned}, {"media_rate", 32, Kind::kFixed}};
inline constexpr FieldRow kStsz[] = {{"default_size", 32, Kind::kCommonSize},
                                     {"sample_count", 32, Kind::kCount}};
inline constexpr FieldRow kTimeRun[] = {{"sample_count", 32}, {"sample_delta", 32}};
inline constexpr FieldRow kOffsetRun[] = {{"sample_count", 32}, {"sample_offset", 32, Kind::kOffset}};
inline constexpr FieldRow kChunkRun[] = {
    {"first_chunk", 32}, {"samples_per_chunk", 32}, {"description_index", 32}};
inline constexpr FieldRow kSyncSample[] = {{"sample_number", 32}};
inline constexpr FieldRow kShadow[] = {{"shadowed_sample", 32}, {"sync_sample", 32}};
inline constexpr FieldRow kSize[] = {{"sample_size", 32}};
inline constexpr FieldRow kChunkOffset[] = {{"chunk_offset", 32}};
inline constexpr FieldRow kChunkOffset64[] = {{"chunk_offset", 64}};
inline constexpr FieldRow kStz2[] = {skip(24), {"field_size", 8}, {"sample_count", 32}};
inline constexpr FieldRow kTrackIds[] = {{"track_ids", kRest, Kind::kTrackIds}};
inline constexpr FieldRow kMehd[] = {{"fragment_duration", kWide}};
inline constexpr FieldRow kTrex[] = {{"track_id", 32},
                                     {"description_index", 32},
                                     {"sample_duration", 32},
                                     {"sample_size", 32},
                                     {"sample_flags", 32}};
inline constexpr FieldRow kMfhd[] = {{"sequence_number", 32}};
inline constexpr FieldRow kTfhd[] = {{"track_id", 32}};
inline constexpr FieldRow kTfdt[] = {{"base_media_decode_time", kWide}};
inline constexpr FieldRow kTrun[] = {{"sample_count", 32}};

// --- Sample entries and their children ---

inline constexpr FieldRow kVideoEntry[] = {
    skip(48), {"data_reference_index", 16}, skip(128), {"width", 16}, {"height", 16}};
inline constexpr FieldRow kAudioEntry[] = {
    skip(48), {"data_reference_index", 16}, skip(64), {"channel_count", 16}, {"sample_size", 16},
    skip(32), {"sample_rate", 16}};
inline constexpr FieldRow kPasp[] = {{"h_spacing", 32}, {"v_spacing", 32}};
inline constexpr FieldRow kBtrt[] = {{"buffer_size", 32}, {"max_bit_rate", 32}, {"average_bit_rate", 32}};
inline constexpr FieldRow kHvcc[] = {{"configuration_version", 8},
                                     {"profile_space", 2},
                                     {"tier", 1},
                                     {"profile", 5},
                                     {"profile_compatibility", 32},
                                     skip(48),
                                     {"level", 8},
                                     skip(30),
                                     {"chroma_format", 2},
                                     skip(5),
                                     {"bit_depth_luma", 3, Kind::kNumber, nullptr, 8},
                                     skip(5),
                                     {"bit_depth_chroma", 3, Kind::kNumber, nullptr, 8},
                                     {"average_frame_rate", 16},
                                     {"constant_frame_rate", 2},
                                     {"temporal_layers", 3},
                                     {"temporal_id_nested", 1},
                                     {"nal_length_size", 2, Kind::kNumber, nullptr, 1},
                                     {"array_count", 8}};

enum class Use : uint8_t {
  kReplaces,  // the fields of the parser
  kAddsTo,    // them
};

struct Layout {
  std::string_view type;
  std::span<const FieldRow> fields;
  std::span<const FieldRow> entry = {};
  Use use = Use::kReplaces;
  void (*decode)(Bytes front, FieldSink& sink) = nullptr;  // instead of the fields
};

inline constexpr Layout kLayouts[] = {{"ftyp", kFtyp},
                                      {"styp", kFtyp},
                                      {"mvhd", kMvhd},
                                      {"tkhd", kTkhd},
                                      {"mdhd", kMdhd},
                                      {"hdlr", kHdlr},
                                      {"vmhd", kVmhd},
                                      {"smhd", kSmhd},
                                      {"elst", kCountOnly, kEdit},
                                      {"stsd", kCountOnly},
                                      {"stts", kCountOnly, kTimeRun},
                                      {"ctts", kCountOnly, kOffsetRun},
                                      {"stsc", kCountOnly, kChunkRun},
                                      {"stss", kCountOnly, kSyncSample},
                                      {"stsh", kCountOnly, kShadow},
                                      {"stsz", kStsz, kSize},
                                      {"stco", kCountOnly, kChunkOffset},
                                      {"co64", kCountOnly, kChunkOffset64},
                                      {"stz2", kStz2},
                                      {"mehd", kMehd},
                                      {"trex", kTrex},
                                      {"mfhd", kMfhd},
                                      {"tfhd", kTfhd},
                                      {"tfdt", kTfdt},
                                      {"trun", kTrun},
                                      {"pasp", kPasp},
                                      {"btrt", kBtrt},
                                      {"hvcC", kHvcc},
                                      {"avcC", {}, {}, Use::kReplaces, describe_avcc},
                                      {"esds", {}, {}, Use::kReplaces, describe_esds},
                                      {"colr", {}, {}, Use::kReplaces, describe_colr},
                                      {"dac3", {}, {}, Use::kAddsTo, describe_dac3},
                                      {"damr", {}, {}, Use::kAddsTo, describe_damr}};
inline constexpr Layout kVideoLayout{"", kVideoEntry};
inline constexpr Layout kAudioLayout{"", kAudioEntry};
inline constexpr Layout kReferenceLayout{"", kTrackIds};

}  // namespace zdr::host::layouts
