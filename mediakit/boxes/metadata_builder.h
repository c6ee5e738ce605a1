// Writes the boxes of tags and of hint tracks for tests: asset boxes, item lists, ID3v2 boxes, SDP,
// statistics. As in box_builder.h, everything is the bytes that it occupies.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "mediakit/boxes/box_builder.h"

namespace zdr::test {

inline constexpr uint16_t kEnglish = 0x15C7;  // "eng", packed

// ASCII as big-endian UTF-16 with its byte order mark and a NUL of two bytes.
inline std::string utf16(std::string_view ascii) {
  std::string text = "\xFE\xFF";
  for (const char character : ascii) text.append({'\0', character});
  return text.append(2, '\0');
}

// The same as UTF-8, with its NUL terminator.
inline std::string utf8(std::string_view text) {
  return std::string(text) + '\0';
}

// --- Asset boxes: texts are written unchanged, terminators included ---

// Version and flags, language, body.
inline Bytes asset(std::string_view type, std::string_view body, uint16_t language = kEnglish) {
  return full_box(type, 0, 0, Fields().u16(language).text(body).bytes);
}

inline Bytes rtng(std::string_view entity, std::string_view criteria, std::string_view info) {
  return full_box("rtng", 0, 0, Fields().text(entity).text(criteria).u16(kEnglish).text(info).bytes);
}

inline Bytes clsf(uint32_t entity, uint16_t table_index, std::string_view info) {
  return full_box("clsf", 0, 0, Fields().u32(entity).u16(table_index).u16(kEnglish).text(info).bytes);
}

// A `claimed_count` of -1 means the true count.
inline Bytes kywd(const std::vector<std::string>& keywords, int claimed_count = -1) {
  Fields body;
  body.u16(kEnglish).u8(claimed_count < 0 ? keywords.size() : static_cast<size_t>(claimed_count));
  for (const std::string& keyword : keywords) body.u8(keyword.size()).text(keyword);
  return full_box("kywd", 0, 0, body.bytes);
}

struct Location {
  std::string name;
  uint8_t role = 0;
  uint32_t longitude = 0;
  uint32_t latitude = 0;
  uint32_t altitude = 0;
  std::string body;
  std::string notes;
};
inline Bytes loci(const Location& location) {
  Fields body;
  body.u16(kEnglish).text(location.name).u8(location.role);
  body.u32(location.longitude).u32(location.latitude).u32(location.altitude);
  return full_box("loci", 0, 0, body.text(location.body).text(location.notes).bytes);
}

inline Bytes albm(std::string_view title, uint8_t track_number) {
  return asset("albm", std::string(title) + static_cast<char>(track_number));
}

inline Bytes yrrc(uint16_t year) {
  return full_box("yrrc", 0, 0, Fields().u16(year).bytes);
}

// --- Item lists ---

// A box "data": type, locale, value.
inline Bytes data_atom(const Bytes& value, uint32_t data_type = 1) {
  return box("data", Fields().u32(data_type).u32(0).append(value).bytes);
}

inline Bytes data_atom(std::string_view value, uint32_t data_type = 1) {
  return data_atom(Fields().text(value).bytes, data_type);
}

// An item with one such value; its type may begin with the byte \251.
inline Bytes item(std::string_view type, std::string_view value) {
  return box(type, data_atom(value));
}

inline Bytes number_item(std::string_view type, uint16_t number, uint16_t total) {
  return box(type, data_atom(numbers(type == "trkn" ? "2222" : "222", {0, number, total, 0}), 0));
}

inline Bytes freeform_item(std::string_view mean, std::string_view name, std::string_view value) {
  return box("----", {full_box("mean", 0, 0, Fields().text(mean).bytes),
                      full_box("name", 0, 0, Fields().text(name).bytes), data_atom(value)});
}

// meta with its handler and other children.
inline Bytes item_meta(const Bytes& children) {
  return full_box("meta", 0, 0, concat({hdlr("mdir"), children}));
}

inline Bytes item_list_meta(const std::vector<Bytes>& items) {
  return item_meta(box("ilst", items));
}

inline Bytes id32(uint16_t language, const Bytes& id3v2) {
  return full_box("ID32", 0, 0, Fields().u16(language).append(id3v2).bytes);
}

// All twelve asset boxes, six of them with the pad bit of the language set, and all kinds of items.
inline Bytes full_user_data() {
  Fields all;
  for (const char* type : {"titl", "dscp", "cprt", "perf", "auth", "gnre"})
    all.append(asset(type, utf8(type), kEnglish | 0x8000));
  all.append(rtng("MPAA", "PG13", utf8("rated"))).append(clsf(0x12345678, 9, utf8("class")));
  all.append(kywd({"one", "two"})).append(loci({utf8("home"), 1, 2, 3, 4, utf8("earth"), utf8("notes")}));
  all.append(albm(utf8("album"), 7)).append(yrrc(1999));
  return all
      .append(item_list_meta(
          {item("\251nam", "name"), item("cpil", "\x01"), item("\251alb", "album"), item("\251ART", "artist"),
           item("cprt", "right"), item("\251wrt", "writer"), item("desc", "about"), item("aART", "band"),
           item("gnre", std::string("\0\x11", 2)), number_item("trkn", 3, 12), number_item("disk", 1, 2),
           item("covr", "\x89PNG"), freeform_item("com.example", "other", "x"),
           freeform_item("com.example", "gnid", "id"), item("\251day", "2001"), item("xxxx", "unknown")}))
      .bytes;
}

// --- Hint tracks ---

inline Bytes hnti(std::string_view sdp) {
  return box("hnti", box("sdp ", Fields().text(sdp).bytes));
}

// All fifteen statistics; the values are 1 to 14, in the order of their codes.
inline Bytes full_hinf() {
  constexpr std::string_view kTypes = "trpytotlnumpnpcktpyltpaymaxrdmeddimmdreptmintmaxpmaxdmax";
  constexpr std::string_view kWidths = "84848448884444";  // maxr: the first of its two numbers
  Fields all;
  for (size_t i = 0; i < kWidths.size(); ++i) {
    const std::string_view type = kTypes.substr(4 * i, 4);
    const Bytes number = numbers(kWidths.substr(i, 1), {i + 1});
    all.append(box(type, {number, type == "maxr" ? numbers("4", {700}) : Bytes()}));
  }
  return box("hinf", all.append(box("payt", Fields().u32(96).u8(8).text("H263/90k").bytes)).bytes);
}

}  // namespace zdr::test
