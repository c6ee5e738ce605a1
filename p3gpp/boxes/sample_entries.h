// Sample descriptions: the entries of stsd, one per coding of a track, each with the codec's configuration.
//
// One record serves every entry type; which of its fields an entry has, and which configuration box is looked
// for among its children, stands in the table in sample_entries.cpp.
#ifndef ZDR_P3GPP_SAMPLE_ENTRIES_H
#define ZDR_P3GPP_SAMPLE_ENTRIES_H

#include "p3gpp/boxes/box_tree.h"
#include "p3gpp/parse/box_reader.h"

namespace zdr::p3gpp {

struct SampleEntryPayload final : BoxPayload {
  uint16_t data_reference_index = 0;
  uint16_t width = 0;          // video entries
  uint16_t height = 0;         // video entries
  uint16_t channel_count = 0;  // audio entries
  uint16_t sample_size = 0;    // audio entries, bits
  uint16_t sample_rate =
      0;  // audio entries, Hz; kept on purpose: the integer half alone, so 96 kHz shows as 30464
  BoxSlot configuration;  // codec_boxes.h; null when the entry has none
  const ContainerRule* container() const override;
  void describe(const BoxNode& node, BoxFields& fields) const override;
};

// An entry whose type is unknown leaves a null node in its place; one that lacks an optional configuration
// may be a node without payload. A failing entry fails the box.
Status parse_stsd(BoxReader& reader, BoxNode& node);

}  // namespace zdr::p3gpp

#endif
