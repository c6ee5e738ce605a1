// The codecs for which the filter has media types, so that a host can report which track it does not play.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <string_view>

#include "p3gpp/p3gpp.h"

namespace zdr::mp4source {

struct PlayedCodec {
  uint8_t object_type;
  std::array<std::string_view, 3> sample_entries;  // the types under which tracks have it; some are empty
};

inline constexpr PlayedCodec kPlayedCodecs[] = {
    {P3GPP_OTI_MPEG4_VISUAL, {"mp4v"}}, {P3GPP_OTI_H263, {"s263", "H263", "h263"}},
    {P3GPP_OTI_AVC, {"avc1"}},          {P3GPP_OTI_AAC, {"mp4a"}},
    {P3GPP_OTI_MPEG2_AAC_LC, {"mp4a"}}, {P3GPP_OTI_AMR, {"samr"}},
    {P3GPP_OTI_AMR_WB, {"sawb"}},       {P3GPP_OTI_QCELP, {"sqcp"}},
    {P3GPP_OTI_EVRC, {"sevc"}},         {P3GPP_OTI_AC3, {"ac-3"}},
    {P3GPP_OTI_EAC3, {"ec-3"}},
};

constexpr bool is_played_object_type(uint32_t type) {
  return std::ranges::find(kPlayedCodecs, type, &PlayedCodec::object_type) != std::end(kPlayedCodecs);
}

constexpr bool is_played_sample_entry(std::string_view type) {
  return std::ranges::any_of(kPlayedCodecs, [type](const PlayedCodec& codec) {
    return std::ranges::find(codec.sample_entries, type) != codec.sample_entries.end();
  });
}

}  // namespace zdr::mp4source
