// The headers of movie, track and media: mvhd, tkhd, mdhd (ISO/IEC 14496-12, 8.2.2, 8.3.2, 8.4.2).
#pragma once

#include <cstdint>

#include "p3gpp/parse/box_node.h"
#include "p3gpp/parse/box_reader.h"

namespace zdr::p3gpp {

struct MvhdPayload final : BoxPayload {
  FileTime creation_time;
  FileTime modification_time;
  uint32_t time_scale = 0;
  FileTime duration;
  uint32_t rate = 0;    // 16.16
  uint16_t volume = 0;  // 8.8
  void describe(const BoxNode& node, BoxFields& fields) const override;
};

struct TkhdPayload final : BoxPayload {
  FileTime creation_time;
  FileTime modification_time;
  uint32_t track_id = 0;
  FileTime duration;  // movie time scale
  uint16_t layer = 0;
  uint16_t alternate_group = 0;
  uint16_t volume = 0;
  uint16_t width = 0;  // integer half of the 16.16 field
  uint16_t height = 0;
  void describe(const BoxNode& node, BoxFields& fields) const override;
};

struct MdhdPayload final : BoxPayload {
  FileTime creation_time;
  FileTime modification_time;
  uint32_t time_scale = 0;  // units per second
  FileTime duration;        // media time scale
  uint16_t language = 0;    // packed ISO 639-2/T as stored
  void describe(const BoxNode& node, BoxFields& fields) const override;
};

Status parse_mvhd(BoxReader& reader, BoxNode& node);
Status parse_tkhd(BoxReader& reader, BoxNode& node);
Status parse_mdhd(BoxReader& reader, BoxNode& node);

}  // namespace zdr::p3gpp
