// The structure of known boxes (ISO/IEC 14496-12 and the registered additions to it): which have a version
// and flags, and where their children begin.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace zdr::host {

// True if the box has a version and flags. `container` is the type of the box around it.
bool is_full_box(std::string_view type, std::string_view container);

// The bytes between the header of a container and its first child; nothing if the box has no children.
std::optional<uint32_t> children_offset(std::string_view type, std::string_view container);

// The bytes that a QuickTime sound description of this version has before its children, more than one of
// version 0.
uint32_t quicktime_sound_bytes(std::string_view type, uint64_t version);

// True for the types of sample entries that have the fields of video, or of audio.
bool is_video_entry(std::string_view type);
bool is_audio_entry(std::string_view type);

// True if boxes of the type occur at the top level of a file.
bool is_top_level_type(std::string_view type);

}  // namespace zdr::host
