// Writes the boxes of tags and of hint tracks for tests: asset boxes, item lists, ID3v2 boxes, SDP,
// statistics. As in box_builder.h everything is the bytes that it occupies.
#ifndef ZDR_TESTS_SUPPORT_METADATA_BUILDER_H
#define ZDR_TESTS_SUPPORT_METADATA_BUILDER_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/box_builder.h"

namespace zdr::test {

// Three lower-case letters in 15 bits.
uint16_t packed_language(std::string_view letters);

// ASCII as big-endian UTF-16 with its byte order mark and a NUL of two bytes.
std::string utf16(std::string_view ascii);
// The same as UTF-8, with its NUL.
std::string utf8(std::string_view text);

// ---- Asset boxes: texts are written as they are, terminators included -------------------------------------

// Version and flags, language, body.
Bytes asset(std::string_view type, std::string_view body, uint16_t language = packed_language("eng"));
Bytes rtng(std::string_view entity, std::string_view criteria, std::string_view info);
Bytes clsf(uint32_t entity, uint16_t table_index, std::string_view info);
// `claimed_count` -1: the true one.
Bytes kywd(const std::vector<std::string>& keywords, int claimed_count = -1);
struct Location {
  std::string name;
  uint8_t role = 0;
  uint32_t longitude = 0;
  uint32_t latitude = 0;
  uint32_t altitude = 0;
  std::string body;
  std::string notes;
};
Bytes loci(const Location& location);
Bytes albm(std::string_view title, uint8_t track_number);
Bytes yrrc(uint16_t year);

// ---- Item lists -------------------------------------------------------------------------------------------

// A box "data": type, locale, value.
Bytes data_atom(const Bytes& value, uint32_t data_type = 1);
Bytes data_atom(std::string_view value, uint32_t data_type = 1);
// An item with one such value; the type may begin with the byte \251.
Bytes item(std::string_view type, std::string_view value);
Bytes number_item(std::string_view type, uint16_t number, uint16_t total);
Bytes freeform_item(std::string_view mean, std::string_view name, std::string_view value);
// meta with its handler and what else it holds.
Bytes item_meta(const Bytes& children);
Bytes item_list_meta(const std::vector<Bytes>& items);

Bytes id32(uint16_t language, const Bytes& id3v2);

// All twelve asset boxes and all kinds of items.
Bytes full_user_data();

// ---- Hint tracks ------------------------------------------------------------------------------------------

Bytes hnti(std::string_view sdp);
// A statistic of 4 or 8 bytes.
Bytes statistic(std::string_view type, uint64_t value, int byte_count);
// All fifteen; the values are 1 to 14, in the order of their codes.
Bytes full_hinf();

}  // namespace zdr::test

#endif
