// Parsers of the asset boxes (3GPP TS 26.244, clause 8), and the fields that they report: titl, dscp, cprt,
// perf, auth, gnre, rtng, clsf, kywd, loci, albm, yrrc.
#include "p3gpp/metadata/asset_boxes.h"

#include <algorithm>

#include "p3gpp/parse/box_fields.h"

namespace zdr::p3gpp {
namespace {

uint16_t read_language(BoxReader& reader) {
  constexpr uint16_t kPadBit = 0x8000;
  return static_cast<uint16_t>(reader.u16() & ~kPadBit);
}

std::array<char, 5> read_four_characters(BoxReader& reader) {
  std::array<char, 5> characters{};
  const auto bytes = reader.read_array<4>();
  std::copy(bytes.begin(), bytes.end(), characters.begin());
  return characters;
}

// Splits the bytes after the count into keywords: a length byte, then that many bytes. Stops at the first
// keyword that does not fit.
void split_keywords(KywdPayload& payload) {
  const auto* bytes = reinterpret_cast<const uint8_t*>(payload.bytes.data());
  const size_t size = payload.bytes.size();
  size_t at = 0;
  while (at < size && payload.keywords.size() < payload.keyword_count) {
    const uint8_t length = bytes[at++];
    if (length > size - at) return;
    payload.keywords.push_back({bytes + at, length});
    at += length;
  }
}

// Takes the fields of a location from its body in order. Fields past the end are 0 or empty.
class LocationBody {
 public:
  explicit LocationBody(std::string_view body) : body_(body) {}

  // Takes a text and drops its NUL, which has two bytes in UTF-16.
  std::string_view take_text() {
    const bool is_wide = body_.starts_with("\xFE\xFF") || body_.starts_with("\xFF\xFE");
    const size_t unit = is_wide ? 2 : 1;
    size_t length = 0;
    while (length + unit <= body_.size() && !is_nul(length, unit)) length += unit;
    const bool has_nul = length + unit <= body_.size();
    if (!has_nul) length = body_.size();
    const std::string_view text = body_.substr(0, length);
    body_.remove_prefix(length + (has_nul ? unit : 0));
    return text;
  }
  uint8_t take_u8() { return take_bytes<1>()[0]; }
  uint32_t take_u32() { return load_be32(take_bytes<4>().data()); }

 private:
  bool is_nul(size_t at, size_t unit) const { return body_[at] == 0 && body_[at + unit - 1] == 0; }

  template <size_t kCount>
  std::array<uint8_t, kCount> take_bytes() {
    std::array<uint8_t, kCount> bytes{};
    if (body_.size() < kCount) {
      body_.remove_prefix(body_.size());
      return bytes;
    }
    std::copy_n(body_.begin(), kCount, bytes.begin());
    body_.remove_prefix(kCount);
    return bytes;
  }

  std::string_view body_;
};

void copy_characters(const std::array<char, 5>& from, char (&to)[5]) {
  std::string_view(from.data(), 4).copy(to, 4);
}

}  // namespace

Status parse_asset_text(BoxReader& reader, BoxNode& node) {
  reader.read_full_box_header(node);
  auto payload = std::make_unique<AssetTextPayload>();
  payload->language = read_language(reader);
  payload->text = reader.read_rest_as_text();
  return store_payload(reader, node, std::move(payload));
}

void AssetTextPayload::fill(P3gppTag& tag) const {
  tag.text = bytes_of(text);
}

void AssetTextPayload::describe(const BoxNode& /*node*/, BoxFields& fields) const {
  fields.language(language);
  fields.text("text", text);
}

Status parse_rtng(BoxReader& reader, BoxNode& node) {
  reader.read_full_box_header(node);
  auto payload = std::make_unique<RtngPayload>();
  payload->entity = read_four_characters(reader);
  payload->criteria = read_four_characters(reader);
  payload->language = read_language(reader);
  payload->info = reader.read_rest_as_text();
  return store_payload(reader, node, std::move(payload));
}

void RtngPayload::fill(P3gppTag& tag) const {
  tag.text = bytes_of(info);
  copy_characters(entity, tag.u.rating.entity);
  copy_characters(criteria, tag.u.rating.criteria);
}

void RtngPayload::describe(const BoxNode& /*node*/, BoxFields& fields) const {
  fields.type("rating_entity", entity);
  fields.type("rating_criteria", criteria);
  fields.language(language);
  fields.text("rating_info", info);
}

Status parse_clsf(BoxReader& reader, BoxNode& node) {
  reader.read_full_box_header(node);
  auto payload = std::make_unique<ClsfPayload>();
  payload->entity = reader.u32();
  payload->table_index = reader.u16();
  payload->language = read_language(reader);
  payload->info = reader.read_rest_as_text();
  return store_payload(reader, node, std::move(payload));
}

void ClsfPayload::fill(P3gppTag& tag) const {
  tag.text = bytes_of(info);
  tag.u.classification.entity = entity;
  tag.u.classification.table_index = table_index;
}

void ClsfPayload::describe(const BoxNode& /*node*/, BoxFields& fields) const {
  fields.number("classification_entity", entity);
  fields.number("classification_table", table_index);
  fields.language(language);
  fields.text("classification_info", info);
}

Status parse_kywd(BoxReader& reader, BoxNode& node) {
  reader.read_full_box_header(node);
  auto payload = std::make_unique<KywdPayload>();
  payload->language = read_language(reader);
  payload->keyword_count = reader.u8();
  payload->bytes = reader.read_rest_as_text();
  split_keywords(*payload);
  return store_payload(reader, node, std::move(payload));
}

void KywdPayload::fill(P3gppTag& tag) const {
  tag.u.keywords.claimed_count = keyword_count;
  tag.u.keywords.count = static_cast<uint32_t>(keywords.size());
  tag.u.keywords.list = keywords.data();
}

void KywdPayload::describe(const BoxNode& /*node*/, BoxFields& fields) const {
  fields.language(language);
  fields.number("keyword_count", keyword_count);
  for (const P3gppBytes& keyword : keywords) {
    fields.next_entry();
    fields.text("keyword", {reinterpret_cast<const char*>(keyword.bytes), keyword.length});
  }
}

Status parse_loci(BoxReader& reader, BoxNode& node) {
  reader.read_full_box_header(node);
  auto payload = std::make_unique<LociPayload>();
  payload->language = read_language(reader);
  if (reader.remaining() == 0) return reader.fail(P3GPP_ERR_BOX_SIZE);  // not even an empty name
  payload->bytes = reader.read_rest_as_text();
  LocationBody body(payload->bytes);
  payload->name = body.take_text();
  payload->role = body.take_u8();
  payload->longitude = body.take_u32();
  payload->latitude = body.take_u32();
  payload->altitude = body.take_u32();
  payload->astronomical_body = body.take_text();
  payload->notes = body.take_text();
  return store_payload(reader, node, std::move(payload));
}

void LociPayload::fill(P3gppTag& tag) const {
  tag.text = bytes_of(name);
  tag.u.location.role = role;
  tag.u.location.longitude = longitude;
  tag.u.location.latitude = latitude;
  tag.u.location.altitude = altitude;
  tag.u.location.astronomical_body = bytes_of(astronomical_body);
  tag.u.location.notes = bytes_of(notes);
}

void LociPayload::describe(const BoxNode& /*node*/, BoxFields& fields) const {
  fields.language(language);
  fields.text("name", name);
  fields.number("role", role);
  fields.fixed("longitude", longitude);
  fields.fixed("latitude", latitude);
  fields.fixed("altitude", altitude);
  fields.text("astronomical_body", astronomical_body);
  fields.text("additional_notes", notes);
}

Status parse_albm(BoxReader& reader, BoxNode& node) {
  reader.read_full_box_header(node);
  auto payload = std::make_unique<AlbmPayload>();
  payload->language = read_language(reader);
  if (reader.remaining() == 0) return reader.fail(P3GPP_ERR_BOX_SIZE);
  // Kept: the last byte is the track number, even if the box has none and the byte is the NUL of the title.
  payload->title = reader.read_text(reader.remaining() - 1);
  payload->track_number = reader.u8();
  return store_payload(reader, node, std::move(payload));
}

void AlbmPayload::fill(P3gppTag& tag) const {
  tag.text = bytes_of(title);
  tag.u.album_track = track_number;
}

void AlbmPayload::describe(const BoxNode& /*node*/, BoxFields& fields) const {
  fields.language(language);
  fields.text("album_title", title);
  fields.number("track_number", track_number);
}

Status parse_yrrc(BoxReader& reader, BoxNode& node) {
  reader.read_full_box_header(node);
  auto payload = std::make_unique<YrrcPayload>();
  payload->year = reader.u16();
  return store_payload(reader, node, std::move(payload));
}

void YrrcPayload::fill(P3gppTag& tag) const {
  tag.u.year = year;
}

void YrrcPayload::describe(const BoxNode& /*node*/, BoxFields& fields) const {
  fields.number("year", year);
}

}  // namespace zdr::p3gpp
