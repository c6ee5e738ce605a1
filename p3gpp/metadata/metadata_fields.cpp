// What the tags tell: to the public record of a tag, and to whoever looks at their boxes.
#include "p3gpp/metadata/metadata_boxes.h"
#include "p3gpp/parse/box_fields.h"
#include "p3gpp/parse/handed_out_bytes.h"

namespace zdr::p3gpp {
namespace {

void copy_characters(const std::array<char, 5>& from, char (&to)[5]) {
  std::string_view(from.data(), 4).copy(to, 4);
}

}  // namespace

void AssetTextPayload::fill(P3gppTag& tag) const {
  tag.text = bytes_of(text);
}
void AssetTextPayload::describe(const BoxNode& /*node*/, BoxFields& fields) const {
  fields.language(language);
  fields.text("text", text);
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

void AlbmPayload::fill(P3gppTag& tag) const {
  tag.text = bytes_of(title);
  tag.u.album_track = track_number;
}
void AlbmPayload::describe(const BoxNode& /*node*/, BoxFields& fields) const {
  fields.language(language);
  fields.text("album_title", title);
  fields.number("track_number", track_number);
}

void YrrcPayload::fill(P3gppTag& tag) const {
  tag.u.year = year;
}
void YrrcPayload::describe(const BoxNode& /*node*/, BoxFields& fields) const {
  fields.number("year", year);
}

void ItemValuePayload::fill(P3gppTag& tag) const {
  tag.text = bytes_of(value);
}
void ItemValuePayload::describe(const BoxNode& /*node*/, BoxFields& fields) const {
  if (is_text) {
    fields.text("value", value);
  } else {
    fields.bytes("value", value);
  }
}

void ItemNumberPayload::fill(P3gppTag& tag) const {
  tag.u.position.number = number;
  tag.u.position.total = total;
}
void ItemNumberPayload::describe(const BoxNode& /*node*/, BoxFields& fields) const {
  fields.number("number", number);
  fields.number("total", total);
}

void Id32Payload::describe(const BoxNode& /*node*/, BoxFields& fields) const {
  fields.bytes("language", language);
  fields.number("data_offset", data_offset);
  fields.number("data_size", data_size);
}

}  // namespace zdr::p3gpp
