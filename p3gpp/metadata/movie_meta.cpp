// Parses moov/meta (ISO/IEC 14496-12, 8.11.1) and the ID32 box in it, which holds an ID3v2 tag.
#include "p3gpp/metadata/movie_meta.h"

#include "p3gpp/parse/box_fields.h"
#include "p3gpp/parse/child_loop.h"

namespace zdr::p3gpp {
namespace {

Status parse_id32(BoxReader& reader, BoxNode& node) {
  reader.read_full_box_header(node);
  auto payload = std::make_unique<Id32Payload>();
  payload->language = reader.read_array<2>();
  payload->data_offset = reader.stream_position();
  payload->data_size = reader.remaining();
  return store_payload(reader, node, std::move(payload));
}

constexpr std::array kMovieMetaChildren{
    in_slot<&MovieMetaPayload::id32>("ID32", parse_id32),
};
constinit const ContainerRule kMovieMetaRule{
    .type = "meta", .children = kMovieMetaChildren, .make_payload = make_payload<MovieMetaPayload>};

}  // namespace

Status parse_movie_meta(BoxReader& reader, BoxNode& node) {
  // Kept: always a full box. The QuickTime form without version and flags is misread and fails.
  reader.read_full_box_header(node);
  if (reader.status() != P3GPP_OK) return reader.status();
  return parse_container<kMovieMetaRule>(reader, node);
}

void Id32Payload::describe(const BoxNode& /*node*/, BoxFields& fields) const {
  fields.bytes("language", language);
  fields.number("data_offset", data_offset);
  fields.number("data_size", data_size);
}

}  // namespace zdr::p3gpp
