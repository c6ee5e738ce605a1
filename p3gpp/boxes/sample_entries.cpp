// The sample entry table: per entry type its fields, and where its codec configuration is looked for.
#include "p3gpp/boxes/sample_entries.h"

#include <algorithm>
#include <array>

#include "p3gpp/boxes/codec_boxes.h"
#include "p3gpp/parse/box_fields.h"
#include "p3gpp/parse/box_rules.h"
#include "p3gpp/parse/child_loop.h"

namespace zdr::p3gpp {
namespace {

enum class Fields : uint8_t { kNone, kVideo, kAudio };

enum class Search : uint8_t {
  kNowhere,      // the entry has no configuration
  kAllChildren,  // every child is looked at; the last configuration counts
  kUntilFound,   // the first configuration among the children counts
  kFirstChild,   // only the first child may be one; without it the entry has no payload at all
};

struct SampleEntryRule {
  std::string_view type;
  Fields fields;
  Search search;
  uint32_t children_offset;  // from the entry's first byte
  std::array<std::string_view, 3> configuration_types;
  BoxParser parse_configuration;
  bool requires_configuration = false;
  // Kept on purpose for these speech entries: the stream stays behind the fields of the configuration, so
  // that the entry must end there. Anything after it is read as the next box header.
  Rest rest = Rest::kSkipped;
};

constexpr uint32_t kVideoEntrySize = 86;
constexpr uint32_t kAudioEntrySize = 36;
constexpr uint32_t kPlainEntrySize = 16;

constexpr std::array kSampleEntryRules{
    SampleEntryRule{"mp4v", Fields::kVideo, Search::kUntilFound, kVideoEntrySize, {"esds"}, parse_esds, true},
    SampleEntryRule{"mp4a", Fields::kAudio, Search::kUntilFound, kAudioEntrySize, {"esds"}, parse_esds, true},
    SampleEntryRule{"mp4s", Fields::kNone, Search::kUntilFound, kPlainEntrySize, {"esds"}, parse_esds, true},
    SampleEntryRule{"avc1", Fields::kVideo, Search::kAllChildren, kVideoEntrySize, {"avcC"}, parse_avcc},
    SampleEntryRule{"s263", Fields::kVideo, Search::kUntilFound, kVideoEntrySize, {"d263"}, parse_d263},
    SampleEntryRule{"H263", Fields::kVideo, Search::kUntilFound, kVideoEntrySize, {"d263"}, parse_d263},
    SampleEntryRule{"h263", Fields::kVideo, Search::kUntilFound, kVideoEntrySize, {"d263"}, parse_d263},
    SampleEntryRule{"samr", Fields::kAudio, Search::kFirstChild, kAudioEntrySize, {"damr"}, parse_amr},
    SampleEntryRule{"sawb", Fields::kAudio, Search::kFirstChild, kAudioEntrySize, {"damr"}, parse_amr},
    SampleEntryRule{"svmr", Fields::kAudio, Search::kFirstChild, kAudioEntrySize, {"dvmr"}, parse_amr},
    SampleEntryRule{"ac-3", Fields::kAudio, Search::kFirstChild, kAudioEntrySize, {"dac3"}, parse_dac3},
    SampleEntryRule{"ec-3", Fields::kAudio, Search::kFirstChild, kAudioEntrySize, {"dec3"}, parse_dec3},
    SampleEntryRule{".mp3", Fields::kAudio, Search::kNowhere, kAudioEntrySize, {}, nullptr},
    SampleEntryRule{"sawp",
                    Fields::kAudio,
                    Search::kFirstChild,
                    kAudioEntrySize,
                    {"dawp"},
                    parse_amr_wb_plus,
                    false,
                    Rest::kReadAsNextBox},
    SampleEntryRule{"sevc",
                    Fields::kAudio,
                    Search::kFirstChild,
                    kAudioEntrySize,
                    {"devc", "decb", "decw"},
                    parse_speech_3gpp2,
                    false,
                    Rest::kReadAsNextBox},
    SampleEntryRule{"secb",
                    Fields::kAudio,
                    Search::kFirstChild,
                    kAudioEntrySize,
                    {"devc", "decb", "decw"},
                    parse_speech_3gpp2,
                    false,
                    Rest::kReadAsNextBox},
    SampleEntryRule{"secw",
                    Fields::kAudio,
                    Search::kFirstChild,
                    kAudioEntrySize,
                    {"devc", "decb", "decw"},
                    parse_speech_3gpp2,
                    false,
                    Rest::kReadAsNextBox},
    SampleEntryRule{"sqcp",
                    Fields::kAudio,
                    Search::kFirstChild,
                    kAudioEntrySize,
                    {"dqcp"},
                    parse_speech_3gpp2,
                    false,
                    Rest::kReadAsNextBox},
    SampleEntryRule{"ssmv",
                    Fields::kAudio,
                    Search::kFirstChild,
                    kAudioEntrySize,
                    {"dsmv"},
                    parse_speech_3gpp2,
                    false,
                    Rest::kReadAsNextBox},
};

const SampleEntryRule& rule_of(const BoxNode& entry) {
  return *std::find_if(kSampleEntryRules.begin(), kSampleEntryRules.end(),
                       [&](const SampleEntryRule& rule) { return entry.is(rule.type); });
}

bool is_configuration(const SampleEntryRule& rule, const PathStep& child) {
  const std::string_view type(child.type.data(), 4);
  return std::find(rule.configuration_types.begin(), rule.configuration_types.end(), type) !=
         rule.configuration_types.end();
}

// Leaves the reader at the first child.
void read_fields(const SampleEntryRule& rule, BoxReader& reader, SampleEntryPayload& payload) {
  const uint32_t body_offset = rule.children_offset - kBoxHeaderSize;
  if (rule.fields == Fields::kNone) return reader.skip(body_offset);
  const auto body = reader.read_array<28>();
  payload.data_reference_index = load_be16(body.data() + 6);
  if (rule.fields == Fields::kVideo) {
    payload.width = load_be16(body.data() + 24);
    payload.height = load_be16(body.data() + 26);
  } else {
    payload.channel_count = load_be16(body.data() + 16);
    payload.sample_size = load_be16(body.data() + 18);
    payload.sample_rate = load_be16(body.data() + 24);
  }
  reader.skip(body_offset - body.size());
}

// Walks the children of mp4v, mp4a, mp4s, avc1 and the H.263 entries.
Status search_children(const SampleEntryRule& rule, BoxReader& reader, const BoxNode& node, BoxSlot& found) {
  while (reader.remaining() != 0 && (found == nullptr || rule.search == Search::kAllChildren)) {
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

// Looks at the first child alone, and leaves the reader at the entry's end unless that is a configuration.
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

Status parse_sample_entry(BoxReader& reader, BoxNode& node) {
  const SampleEntryRule& rule = rule_of(node);
  if (rule.requires_configuration && node.size <= rule.children_offset) return reader.fail(P3GPP_ERR_GENERIC);
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
  if (configured || !first_only) node.payload = std::move(payload);
  return P3GPP_OK;
}

// Timed text is told by its type alone; hint entries are kept so that asking for their codec can say what
// they are.
Status parse_bare_entry(BoxReader&, BoxNode&) {
  return P3GPP_OK;
}

constexpr auto make_stsd_children() {
  std::array<ChildRule, kSampleEntryRules.size() + 2> rows;
  for (size_t i = 0; i < kSampleEntryRules.size(); ++i) {
    rows[i] = {kSampleEntryRules[i].type, parse_sample_entry, Keep::kList, nullptr,
               kSampleEntryRules[i].rest};
  }
  rows[kSampleEntryRules.size()] = {"text", parse_bare_entry, Keep::kList};
  rows[kSampleEntryRules.size() + 1] = {"rtp ", parse_bare_entry, Keep::kList};
  return rows;
}

constexpr auto kStsdChildren = make_stsd_children();

bool has_all_entries(const BoxPayload& payload) {
  const auto& stsd = static_cast<const StsdPayload&>(payload);
  return stsd.entries.size() == stsd.entry_count;
}

constexpr std::array kSampleEntryChildren{
    in_slot<&SampleEntryPayload::configuration>("", nullptr),
};

}  // namespace

constinit const ContainerRule kStsdRule{.type = "stsd",
                                        .children = kStsdChildren,
                                        .make_payload = make_payload<StsdPayload>,
                                        .list = PayloadMember<&StsdPayload::entries>::get,
                                        .complete = has_all_entries,
                                        .lists_unknown_children = true};

constinit const ContainerRule kSampleEntryRule{.type = "", .children = kSampleEntryChildren};

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

const ContainerRule* StsdPayload::container() const {
  return &kStsdRule;
}
const ContainerRule* SampleEntryPayload::container() const {
  return &kSampleEntryRule;
}

Status parse_stsd(BoxReader& reader, BoxNode& node) {
  reader.read_full_box_header(node);
  const uint32_t entry_count = reader.u32();
  if (reader.status() != P3GPP_OK) return reader.status();
  node.payload = kStsdRule.make_payload();
  payload_of<StsdPayload>(&node)->entry_count = entry_count;
  const Status status = parse_children(kStsdRule, reader, node);
  if (status != P3GPP_OK) node.payload.reset();
  return status;
}

}  // namespace zdr::p3gpp
