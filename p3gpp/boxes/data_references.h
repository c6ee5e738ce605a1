// Data references: dref and its entries, url and urn (ISO/IEC 14496-12, 8.7.2). They are stored for
// inspection only; samples are always read from the file itself.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "p3gpp/parse/box_node.h"
#include "p3gpp/parse/box_reader.h"

namespace zdr::p3gpp {

struct DrefPayload final : BoxPayload {
  uint32_t entry_count = 0;  // as stored; never less than entries.size()
  BoxList entries;           // "url " and "urn " nodes
  void describe(const BoxNode& node, BoxFields& fields) const override;
};

struct UrlPayload final : BoxPayload {
  bool self_contained = false;
  std::vector<uint8_t> location;  // empty if self-contained
  void describe(const BoxNode& node, BoxFields& fields) const override;
};

struct UrnPayload final : BoxPayload {
  bool self_contained = false;
  std::vector<uint8_t> name;   // the body: the name, its NUL, and the location if there is one
  size_t location_offset = 0;  // into `name`; name.size() when there is no location
  void describe(const BoxNode& node, BoxFields& fields) const override;
};

Status parse_dref(BoxReader& reader, BoxNode& node);

}  // namespace zdr::p3gpp
