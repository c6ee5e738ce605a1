// The table of sample entries. A row defines the fields of an entry type and which of its children is the
// codec configuration.
#include "p3gpp/boxes/sample_entries.h"

#include <algorithm>
#include <array>

#include "p3gpp/boxes/codec_boxes.h"
#include "p3gpp/parse/box_fields.h"
#include "p3gpp/parse/child_loop.h"

namespace zdr::p3gpp {
namespace {

enum class Fields : uint8_t { kNone, kVideo, kAudio };

enum class Search : uint8_t {
  kNowhere,      // the entry has no configuration
  kAllChildren,  // the last configuration among the children is used
  kUntilFound,   // the first configuration among the children is used
  kFirstChild,   // only the first child may be one; if it is not, the entry has no payload
};

// Offset of the first child from the entry's first byte.
constexpr uint32_t kVideoEntrySize = 86;
constexpr uint32_t kAudioEntrySize = 36;
constexpr uint32_t kPlainEntrySize = 16;

using ConfigurationTypes = std::array<std::string_view, 3>;

struct SampleEntryRule {
  std::string_view type;
  Fields fields;
  Search search;
  ConfigurationTypes configuration_types;
  BoxParser parse_configuration;
  bool requires_configuration = false;
  Rest rest = Rest::kSkipped;

  constexpr uint32_t children_offset() const {
    if (fields == Fields::kNone) return kPlainEntrySize;
    return fields == Fields::kVideo ? kVideoEntrySize : kAudioEntrySize;
  }
};

constexpr SampleEntryRule systems_entry(std::string_view type, Fields fields) {
  return {type, fields, Search::kUntilFound, {"esds"}, parse_esds, true};
}
constexpr SampleEntryRule h263_entry(std::string_view type) {
  return {type, Fields::kVideo, Search::kUntilFound, {"d263"}, parse_d263};
}
constexpr SampleEntryRule audio_entry(std::string_view type, std::string_view configuration,
                                      BoxParser parse) {
  return {type, Fields::kAudio, Search::kFirstChild, {configuration}, parse};
}
// Kept: the stream stays just past the fields of the configuration, so the entry must end there. Any further
// bytes of the entry are read as the next box header.
constexpr SampleEntryRule unskipped_entry(std::string_view type, const ConfigurationTypes& configuration,
                                          BoxParser parse) {
  return {type, Fields::kAudio, Search::kFirstChild, configuration, parse, false, Rest::kReadAsNextBox};
}
constexpr ConfigurationTypes kEvrcTypes = {"devc", "decb", "decw"};

constexpr std::array kSampleEntryRules{
    systems_entry("mp4v", Fields::kVideo),
    systems_entry("mp4a", Fields::kAudio),
    systems_entry("mp4s", Fields::kNone),
    SampleEntryRule{"avc1", Fields::kVideo, Search::kAllChildren, {"avcC"}, parse_avcc},
    h263_entry("s263"),
    h263_entry("H263"),
    h263_entry("h263"),
    audio_entry("samr", "damr", parse_amr),
    audio_entry("sawb", "damr", parse_amr),
    audio_entry("svmr", "dvmr", parse_amr),
    audio_entry("ac-3", "dac3", parse_dac3),
    audio_entry("ec-3", "dec3", parse_dec3),
    SampleEntryRule{".mp3", Fields::kAudio, Search::kNowhere, {}, nullptr},
    unskipped_entry("sawp", {"dawp"}, parse_amr_wb_plus),
    unskipped_entry("sevc", kEvrcTypes, parse_speech_3gpp2),
    unskipped_entry("secb", kEvrcTypes, parse_speech_3gpp2),
    unskipped_entry("secw", kEvrcTypes, parse_speech_3gpp2),
    unskipped_entry("sqcp", {"dqcp"}, parse_speech_3gpp2),
    unskipped_entry("ssmv", {"dsmv"}, parse_speech_3gpp2),
};

const SampleEntryRule& rule_of(const BoxNode& entry) {
  return *std::find_if(kSampleEntryRules.begin(), kSampleEntryRules.end(),
                       [&](const SampleEntryRule& rule) { return entry.is(rule.type); });
}

bool is_configuration(const SampleEntryRule& rule, const PathStep& child) {
  return std::any_of(rule.configuration_types.begin(), rule.configuration_types.end(),
                     [&](std::string_view type) { return child.is(type); });
}

// Leaves the reader at the first child.
void read_fields(const SampleEntryRule& rule, BoxReader& reader, SampleEntryPayload& payload) {
  const uint32_t body_offset = rule.children_offset() - kBoxHeaderSize;
  if (rule.fields == Fields::kNone) return reader.skip(body_offset);
  const auto body = reader.read_array<28>();
  payload.data_reference_index = load_be16(body.data() + 6);
  if (rule.fields == Fields::kVideo) {
    payload.width = load_be16(body.data() + 24);
    payload.height = load_be16(body.data() + 26);
  } else {
    payload.channel_count = load_be16(body.data() + 16);
    payload.sample_size = load_be16(body.data() + 18);
    // Kept: only the integer half of the 16.16 field, so 96 kHz reads 30464.
    payload.sample_rate = load_be16(body.data() + 24);
  }
  reader.skip(body_offset - body.size());
}

// Parses the configuration among the children of mp4v, mp4a, mp4s, avc1 and the H.263 entries.
Status search_children(const SampleEntryRule& rule, BoxReader& reader, const BoxNode& node, BoxSlot& found) {
  while (reader.remaining() != 0 && (!found || rule.search == Search::kAllChildren)) {
    PathStep child;
    Status status = read_child_header(reader, node, child);
    if (status != P3GPP_OK) return status;
    status = is_configuration(rule, child)
                 ? parse_child(reader, node, child, rule.parse_configuration, Rest::kSkipped, found)
                 : skip_child(reader, child);
    if (status != P3GPP_OK) return status;
  }
  return P3GPP_OK;
}

// Kept: examines only the first child, so a configuration after another box is missing. Unless the first
// child is a configuration, leaves the reader at the end of the entry.
Status search_first_child(const SampleEntryRule& rule, BoxReader& reader, const BoxNode& node,
                          BoxSlot& found) {
  if (reader.remaining() >= kBoxHeaderSize) {
    PathStep child;
    if (const Status status = read_child_header(reader, node, child); status != P3GPP_OK) return status;
    if (is_configuration(rule, child)) {
      return parse_child(reader, node, child, rule.parse_configuration, rule.rest, found);
    }
    if (const Status status = skip_child(reader, child); status != P3GPP_OK) return status;
  }
  reader.skip_to_end();
  return reader.status();
}

constexpr std::array kSampleEntryChildren{
    in_slot<&SampleEntryPayload::configuration>("", nullptr),
};
constinit const ContainerRule kSampleEntryRule{.type = "", .children = kSampleEntryChildren};

Status parse_sample_entry(BoxReader& reader, BoxNode& node) {
  const SampleEntryRule& rule = rule_of(node);
  if (rule.requires_configuration && node.size <= rule.children_offset())
    return reader.fail(P3GPP_ERR_GENERIC);
  auto payload = std::make_unique<SampleEntryPayload>();
  read_fields(rule, reader, *payload);
  if (reader.status() != P3GPP_OK) return reader.status();
  const bool first_only = rule.search == Search::kFirstChild;
  Status status = P3GPP_OK;
  if (first_only) status = search_first_child(rule, reader, node, payload->configuration);
  if (!first_only && rule.search != Search::kNowhere) {
    status = search_children(rule, reader, node, payload->configuration);
  }
  if (status != P3GPP_OK) return status;
  const bool configured = payload->configuration != nullptr;
  if (!configured && rule.requires_configuration) return reader.fail(P3GPP_ERR_GENERIC);
  if (configured || !first_only) {
    node.payload = std::move(payload);
    node.container = &kSampleEntryRule;
  }
  return P3GPP_OK;
}

// Timed text needs no fields: the entry type describes it. Hint entries are stored so that
// P3GPP_GetDecoderInfo can report what they are.
Status parse_bare_entry(BoxReader&, BoxNode&) {
  return P3GPP_OK;
}

constexpr auto make_stsd_children() {
  std::array<ChildRule, kSampleEntryRules.size() + 2> rows;
  for (size_t i = 0; i < kSampleEntryRules.size(); ++i) {
    rows[i] = {kSampleEntryRules[i].type, parse_sample_entry, ChildAction::kList, nullptr,
               kSampleEntryRules[i].rest};
  }
  rows[kSampleEntryRules.size()] = {"text", parse_bare_entry, ChildAction::kList};
  rows[kSampleEntryRules.size() + 1] = {"rtp ", parse_bare_entry, ChildAction::kList};
  return rows;
}

constexpr auto kStsdChildren = make_stsd_children();

bool has_all_entries(const BoxPayload& payload) {
  const auto& stsd = static_cast<const StsdPayload&>(payload);
  return stsd.entries.size() == stsd.entry_count;
}

constinit const ContainerRule kStsdRule{.type = "stsd",
                                        .children = kStsdChildren,
                                        .make_payload = make_payload<StsdPayload>,
                                        .list = PayloadMember<&StsdPayload::entries>::get,
                                        .complete = has_all_entries,
                                        .lists_unknown_children = true};

}  // namespace

void StsdPayload::describe(const BoxNode& /*node*/, BoxFields& fields) const {
  fields.number("entry_count", entry_count);
}

void SampleEntryPayload::describe(const BoxNode& node, BoxFields& fields) const {
  const Fields kind = rule_of(node).fields;
  if (kind == Fields::kNone) return;
  fields.number("data_reference_index", data_reference_index);
  if (kind == Fields::kVideo) {
    fields.number("width", width);
    fields.number("height", height);
  } else {
    fields.number("channel_count", channel_count);
    fields.number("sample_size", sample_size);
    fields.number("sample_rate", sample_rate);
  }
}

Status parse_stsd(BoxReader& reader, BoxNode& node) {
  reader.read_full_box_header(node);
  const uint32_t entry_count = reader.u32();
  if (reader.status() != P3GPP_OK) return reader.status();
  node.payload = kStsdRule.make_payload();
  payload_of<StsdPayload>(&node)->entry_count = entry_count;
  return parse_children(kStsdRule, reader, node);
}

}  // namespace zdr::p3gpp
