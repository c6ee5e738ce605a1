// The small boxes without children (ISO/IEC 14496-12): ftyp (4.3), tref (8.3.3), hdlr (8.4.3), elst (edit
// list, 8.6.6), hmhd (12.4.2); iods (ISO/IEC 14496-14).
#pragma once

#include <array>
#include <cstdint>
#include <string_view>
#include <vector>

#include "p3gpp/parse/box_node.h"
#include "p3gpp/parse/box_reader.h"

namespace zdr::p3gpp {

struct FtypPayload final : BoxPayload {
  std::array<char, 4> major_brand{};
  std::array<uint8_t, 4> minor_version{};  // Kept: in file order
  std::vector<char> compatible_brands;     // four each, without terminator
  void describe(const BoxNode& node, BoxFields& fields) const override;
};

struct IodsPayload final : BoxPayload {
  std::vector<uint8_t> bytes;  // the body after version and flags
  void describe(const BoxNode& node, BoxFields& fields) const override;
};

struct TrefPayload final : BoxPayload {
  std::vector<uint8_t> bytes;  // the whole body, not interpreted
  void describe(const BoxNode& node, BoxFields& fields) const override;
};

struct ElstEntry {
  static constexpr uint32_t kSize = 12;
  uint32_t segment_duration = 0;  // movie time scale
  uint32_t media_time = 0;        // media time scale; kEmptyEdit marks an initial delay
  uint16_t media_rate_integer = 0;
  uint16_t media_rate_fraction = 0;
};
inline constexpr uint32_t kEmptyEdit = 0xFFFFFFFF;

struct ElstPayload final : BoxPayload {
  std::vector<uint8_t> bytes;  // of all entries

  size_t entry_count() const { return bytes.size() / ElstEntry::kSize; }
  ElstEntry entry(size_t index) const;
  void describe(const BoxNode& node, BoxFields& fields) const override;
};

struct HdlrPayload final : BoxPayload {
  std::array<char, 5> handler_type{};
  bool is(std::string_view four_characters) const {
    return std::string_view(handler_type.data(), 4) == four_characters;
  }
  void describe(const BoxNode& node, BoxFields& fields) const override;
};

struct HmhdPayload final : BoxPayload {
  uint16_t max_pdu_size = 0;
  uint16_t average_pdu_size = 0;
  uint32_t max_bitrate = 0;
  uint32_t average_bitrate = 0;
  void describe(const BoxNode& node, BoxFields& fields) const override;
};

// P3GPP_ERR_READ for more than 32 compatible brands and for a size of 9 to 15 bytes. A box of 8 bytes has no
// payload.
Status parse_ftyp(BoxReader& reader, BoxNode& node);
// Makes no payload if nothing follows version and flags.
Status parse_iods(BoxReader& reader, BoxNode& node);
Status parse_tref(BoxReader& reader, BoxNode& node);
// P3GPP_ERR_READ if the entry count exceeds the box.
Status parse_elst(BoxReader& reader, BoxNode& node);
Status parse_hdlr(BoxReader& reader, BoxNode& node);
// P3GPP_ERR_BOX_SIZE unless the box has exactly 28 bytes.
Status parse_hmhd(BoxReader& reader, BoxNode& node);

}  // namespace zdr::p3gpp
