// The descriptive boxes of a movie: the asset boxes of 3GPP TS 26.244 and the item list of iTunes-style
// files, both under moov/udta, and the place of an ID3v2 tag (ID32) under moov/meta. Parser contract:
// box_reader.h.
//
// Texts are kept as the bytes of the file, UTF-8 or UTF-16 with a byte order mark, and not converted. Every
// tag has its slot, numbered by the P3GPP_TAG_ codes; a later box of the same kind replaces the earlier.
#ifndef ZDR_P3GPP_METADATA_BOXES_H
#define ZDR_P3GPP_METADATA_BOXES_H

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "p3gpp/boxes/box_tree.h"
#include "p3gpp/parse/box_reader.h"

namespace zdr::p3gpp {

// User data of the movie. The items of meta/ilst stand in it side by side with the asset boxes.
struct MovieUdtaPayload final : BoxPayload {
  std::array<BoxSlot, P3GPP_TAG_COUNT> tags;  // by P3GPP_TAG_ code, from 1
  const ContainerRule* container() const override;
};

template <uint32_t kTag>
BoxSlot& tag_slot(BoxPayload& payload) {
  return static_cast<MovieUdtaPayload&>(payload).tags[kTag - 1];
}

// Base of the records in those slots.
struct TagPayload : BoxPayload {
  uint16_t language = 0;  // asset boxes: packed ISO 639-2/T, pad bit cleared; else 0
  // Fills the text and the union as the kind of tag has them; the rest of `tag` is 0 already. Pointers lead
  // into this record.
  virtual void fill(P3gppTag& tag) const = 0;
};

// titl, dscp, cprt, perf, auth, gnre.
struct AssetTextPayload final : TagPayload {
  std::string text;
  void fill(P3gppTag& tag) const override;
  void describe(const BoxNode& node, BoxFields& fields) const override;
};

struct RtngPayload final : TagPayload {
  std::array<char, 5> entity{};
  std::array<char, 5> criteria{};
  std::string info;
  void fill(P3gppTag& tag) const override;
  void describe(const BoxNode& node, BoxFields& fields) const override;
};

struct ClsfPayload final : TagPayload {
  uint32_t entity = 0;
  uint16_t table_index = 0;
  std::string info;
  void fill(P3gppTag& tag) const override;
  void describe(const BoxNode& node, BoxFields& fields) const override;
};

struct KywdPayload final : TagPayload {
  uint8_t keyword_count = 0;         // as stored
  std::string bytes;                 // what follows the count
  std::vector<P3gppBytes> keywords;  // the whole ones, pointing into `bytes`; never more than the count
  void fill(P3gppTag& tag) const override;
  void describe(const BoxNode& node, BoxFields& fields) const override;
};

struct LociPayload final : TagPayload {
  std::string name;  // without its terminator, as the other two texts
  uint8_t role = 0;
  uint32_t longitude = 0;  // 16.16 as stored, degrees; so latitude; altitude in metres
  uint32_t latitude = 0;
  uint32_t altitude = 0;
  std::string astronomical_body;
  std::string notes;
  void fill(P3gppTag& tag) const override;
  void describe(const BoxNode& node, BoxFields& fields) const override;
};

struct AlbmPayload final : TagPayload {
  std::string title;
  uint8_t track_number = 0;
  void fill(P3gppTag& tag) const override;
  void describe(const BoxNode& node, BoxFields& fields) const override;
};

struct YrrcPayload final : TagPayload {
  uint16_t year = 0;
  void fill(P3gppTag& tag) const override;
  void describe(const BoxNode& node, BoxFields& fields) const override;
};

// The value of an item: text, a genre name, an image, or a flag.
struct ItemValuePayload final : TagPayload {
  std::string value;
  bool is_text = true;
  void fill(P3gppTag& tag) const override;
  void describe(const BoxNode& node, BoxFields& fields) const override;
};

// trkn and disk.
struct ItemNumberPayload final : TagPayload {
  uint16_t number = 0;
  uint16_t total = 0;
  void fill(P3gppTag& tag) const override;
  void describe(const BoxNode& node, BoxFields& fields) const override;
};

// meta of the movie: read for the ID3v2 tag alone.
struct MovieMetaPayload final : BoxPayload {
  BoxSlot id32;
  const ContainerRule* container() const override;
};

struct Id32Payload final : BoxPayload {
  std::array<uint8_t, 2> language{};  // kept on purpose: raw, with its pad bit
  uint64_t data_offset = 0;           // of the ID3v2 tag in the file
  uint64_t data_size = 0;             // to the end of the box
  void describe(const BoxNode& node, BoxFields& fields) const override;
};

// ---- Parsers ----------------------------------------------------------------------------------------------

Status parse_asset_text(BoxReader& reader, BoxNode& node);
Status parse_rtng(BoxReader& reader, BoxNode& node);
Status parse_clsf(BoxReader& reader, BoxNode& node);
// A keyword that runs past the box ends the list.
Status parse_kywd(BoxReader& reader, BoxNode& node);
// Fields and texts behind the end of the box are left 0 and empty.
Status parse_loci(BoxReader& reader, BoxNode& node);
Status parse_albm(BoxReader& reader, BoxNode& node);
Status parse_yrrc(BoxReader& reader, BoxNode& node);

// Items of meta/ilst: the reader stands behind the header of the item's `data` atom and ends with it. Values
// of another shape than expected give no payload.
Status parse_text_item(BoxReader& reader, BoxNode& node);
Status parse_genre_item(BoxReader& reader, BoxNode& node);
Status parse_number_item(BoxReader& reader, BoxNode& node);
Status parse_bytes_item(BoxReader& reader, BoxNode& node);
// ilst; the items go to the user data, two levels above `node`.
Status parse_item_list(BoxReader& reader, BoxNode& node);

// meta under udta, whose payload (that of node.parent) receives the items. Every failure inside is
// P3GPP_ERR_GENERIC.
Status parse_user_meta(BoxReader& reader, BoxNode& node);
// meta under moov.
Status parse_movie_meta(BoxReader& reader, BoxNode& node);
Status parse_id32(BoxReader& reader, BoxNode& node);

// The name that belongs to the code of a gnre item; empty for a code without one.
std::string_view genre_name(uint16_t code);

}  // namespace zdr::p3gpp

#endif
