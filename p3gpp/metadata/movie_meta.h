// The meta box of a movie, moov/meta, which is read only for the location of an ID3v2 tag (ID32).
#pragma once

#include <array>
#include <cstdint>

#include "p3gpp/parse/box_node.h"
#include "p3gpp/parse/box_reader.h"

namespace zdr::p3gpp {

struct MovieMetaPayload final : BoxPayload {
  BoxSlot id32;
};

struct Id32Payload final : BoxPayload {
  std::array<uint8_t, 2> language{};  // Kept: raw, with its pad bit
  uint64_t data_offset = 0;           // of the ID3v2 tag in the file
  uint64_t data_size = 0;             // to the end of the box
  void describe(const BoxNode& node, BoxFields& fields) const override;
};

Status parse_movie_meta(BoxReader& reader, BoxNode& node);

}  // namespace zdr::p3gpp
