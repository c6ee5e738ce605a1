// Sample descriptions (stsd; ISO/IEC 14496-12, 8.5.2): one entry per coding of a track (mp4v, mp4a, mp4s,
// avc1, s263, H263, h263, samr, sawb, sawp, svmr, sevc, secb, secw, sqcp, ssmv, ac-3, ec-3, .mp3, text, rtp),
// each with the codec's configuration.
//
// All entry types share one record. The table in sample_entries.cpp defines which of its fields an entry type
// has, and which child box is the configuration.
#pragma once

#include <cstdint>

#include "p3gpp/parse/box_node.h"
#include "p3gpp/parse/box_reader.h"

namespace zdr::p3gpp {

struct StsdPayload final : BoxPayload {
  uint32_t entry_count = 0;  // as stored; may exceed entries.size() when the box is too short for it
  BoxList entries;           // file order; null where the entry's type is unknown
  void describe(const BoxNode& node, BoxFields& fields) const override;
};

struct SampleEntryPayload final : BoxPayload {
  uint16_t data_reference_index = 0;
  uint16_t width = 0;          // video entries
  uint16_t height = 0;         // video entries
  uint16_t channel_count = 0;  // audio entries
  uint16_t sample_size = 0;    // audio entries, bits
  uint16_t sample_rate = 0;    // audio entries, Hz
  BoxSlot configuration;       // codec_boxes.h; null if the entry has none
  void describe(const BoxNode& node, BoxFields& fields) const override;
};

// An entry of unknown type becomes a null node; an entry that lacks its optional configuration may become a
// node without payload. Fails if any entry fails.
Status parse_stsd(BoxReader& reader, BoxNode& node);

}  // namespace zdr::p3gpp
