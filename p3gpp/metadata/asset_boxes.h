// The asset boxes (3GPP TS 26.244, clause 8): descriptive texts in the user data of the movie, each with a
// language: titl, dscp, cprt, perf, auth, gnre, rtng, clsf, kywd, loci, albm, yrrc.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "p3gpp/metadata/tag_slots.h"
#include "p3gpp/parse/box_reader.h"

namespace zdr::p3gpp {

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
  std::string bytes;                 // the bytes after the count
  std::vector<P3gppBytes> keywords;  // the complete ones; point into `bytes`; at most keyword_count
  void fill(P3gppTag& tag) const override;
  void describe(const BoxNode& node, BoxFields& fields) const override;
};

struct LociPayload final : TagPayload {
  std::string bytes;      // the bytes after the language
  std::string_view name;  // points into `bytes`, like the other two texts; its terminator follows it
  uint8_t role = 0;
  uint32_t longitude = 0;  // this and the next two: 16.16 as stored, degrees and metres
  uint32_t latitude = 0;
  uint32_t altitude = 0;
  std::string_view astronomical_body;
  std::string_view notes;
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

// titl, dscp, cprt, perf, auth and gnre.
Status parse_asset_text(BoxReader& reader, BoxNode& node);
Status parse_rtng(BoxReader& reader, BoxNode& node);
Status parse_clsf(BoxReader& reader, BoxNode& node);
// A keyword that runs past the box ends the list.
Status parse_kywd(BoxReader& reader, BoxNode& node);
// Numbers past the end of the box are 0, texts empty.
Status parse_loci(BoxReader& reader, BoxNode& node);
Status parse_albm(BoxReader& reader, BoxNode& node);
Status parse_yrrc(BoxReader& reader, BoxNode& node);

}  // namespace zdr::p3gpp
