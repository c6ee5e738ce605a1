// The kept boxes of a file as a tree: one BoxNode per box, each owning a payload record.
//
// A container's payload holds one slot per recognised child; a leaf's payload holds its fields. The tree is
// built once by P3GPP_Open and stays as it is, but for the streams of an opened track and the cursors and
// positions inside the sample tables (sample_tables.h). Which child is kept where is declared in box_rules.h;
// for_each_kept_child() there walks any node by the same declaration.
#ifndef ZDR_P3GPP_BOX_TREE_H
#define ZDR_P3GPP_BOX_TREE_H

#include <array>
#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

#include "p3gpp/p3gpp.h"
#include "p3gpp/parse/stream_handle.h"

namespace zdr::p3gpp {

struct ContainerRule;
struct BoxNode;
struct HdlrPayload;
struct MdhdPayload;
struct StblPayload;
struct TkhdPayload;
struct TrakPayload;
class BoxFields;

// Base of every record below a node.
class BoxPayload {
 public:
  BoxPayload() = default;
  BoxPayload(const BoxPayload&) = delete;
  BoxPayload& operator=(const BoxPayload&) = delete;
  virtual ~BoxPayload() = default;

  // The declaration of the children that this payload has slots for; null for a leaf.
  virtual const ContainerRule* container() const { return nullptr; }
  // Tells the fields of the record, for people and programs that look into a file (box_fields.h).
  virtual void describe(const BoxNode& /*node*/, BoxFields& /*fields*/) const {}
};

struct BoxNode {
  uint32_t size = 0;               // the 32-bit size field as read; 1 for a box that uses the 64-bit form
  std::array<char, 5> type{};      // four characters and a NUL
  uint8_t version = 0;             // of a full box, else 0
  std::array<uint8_t, 3> flags{};  // of a full box, raw, else 0
  uint64_t offset = 0;             // absolute file offset of the size field
  std::unique_ptr<BoxPayload> payload;
  const BoxNode* parent = nullptr;  // null for the nodes of the top level

  std::string_view type_name() const { return {type.data(), 4}; }
  bool is(std::string_view four_characters) const { return type_name() == four_characters; }
};

using BoxSlot = std::unique_ptr<BoxNode>;
using BoxList = std::vector<BoxSlot>;

// The payload of `node` as the record of its box type; null for a null node and for a node without payload.
// A slot only ever holds boxes of its own type, so the type need not be asked at run time.
template <typename Payload>
Payload* payload_of(const BoxNode* node) {
  return node == nullptr ? nullptr : static_cast<Payload*>(node->payload.get());
}
template <typename Payload>
Payload* payload_of(const BoxSlot& slot) {
  return payload_of<Payload>(slot.get());
}

// A file time or duration as it is kept: for a 64-bit field `first` is the high half and `second` the low
// one, for a 32-bit field `first` is the value and `second` 0. Kept on purpose: readers take `first` in both
// cases.
struct FileTime {
  uint32_t first = 0;
  uint32_t second = 0;
};

// ---- Containers -----------------------------------------------------------------------------------------

struct MoovPayload final : BoxPayload {
  BoxSlot mvhd;
  BoxSlot iods;
  BoxSlot udta;
  BoxSlot meta;
  BoxList traks;
  const ContainerRule* container() const override;
};

// The records on the way from a track to its sample tables; none is null once walk_to_tables() succeeded.
struct TrackPath {
  TrakPayload* trak = nullptr;
  TkhdPayload* tkhd = nullptr;
  MdhdPayload* mdhd = nullptr;
  HdlrPayload* hdlr = nullptr;
  StblPayload* stbl = nullptr;
};

struct TrakPayload final : BoxPayload {
  BoxSlot tkhd;
  BoxSlot tref;
  BoxSlot edts;
  BoxSlot mdia;
  BoxSlot udta;
  // Open from P3GPP_OpenTrack to P3GPP_CloseTrack, else null.
  StreamHandle data_stream;
  StreamHandle table_stream;
  uint32_t edit_shift = 0;  // added to every decoding time; set by P3GPP_OpenTrack
  TrackPath open_path;      // of the open track, so that a query need not walk; else empty
  const ContainerRule* container() const override;
};

struct EdtsPayload final : BoxPayload {
  BoxSlot elst;
  const ContainerRule* container() const override;
};

struct MdiaPayload final : BoxPayload {
  BoxSlot mdhd;
  BoxSlot hdlr;
  BoxSlot minf;
  const ContainerRule* container() const override;
};

struct MinfPayload final : BoxPayload {
  BoxSlot hmhd;
  BoxSlot dinf;
  BoxSlot stbl;
  const ContainerRule* container() const override;
};

struct DinfPayload final : BoxPayload {
  BoxSlot dref;
  const ContainerRule* container() const override;
};

struct DrefPayload final : BoxPayload {
  uint32_t entry_count = 0;  // as stored; `entries` holds what was found, never more
  BoxList entries;           // "url " and "urn " nodes
  const ContainerRule* container() const override;
  void describe(const BoxNode& node, BoxFields& fields) const override;
};

// Where the next sample of a chunk begins, so that reading in order sums no sizes.
struct SequentialRead {
  uint32_t last_sample = 0;   // number of the sample located last
  uint64_t chunk_offset = 0;  // of the chunk it came from
  bool valid = false;
  uint64_t next_offset = 0;  // file offset just past that sample
};

struct StblPayload final : BoxPayload {
  BoxSlot stts;
  BoxSlot ctts;
  BoxSlot stss;
  BoxSlot stsd;
  BoxSlot stsz;
  BoxSlot stsc;
  BoxSlot stco;
  BoxSlot stsh;
  BoxSlot stdp;  // stays empty: a degradation priority table ends the sample table box
  BoxSlot co64;
  uint8_t chunk_number_base = 0;  // first chunk number of the track, 0 or 1; set by P3GPP_OpenTrack
  SequentialRead sequential;
  const ContainerRule* container() const override;
};

struct StsdPayload final : BoxPayload {
  uint32_t entry_count = 0;  // as stored; may exceed entries.size() when the box is too short for it
  BoxList entries;           // file order; null where the entry's type is unknown
  const ContainerRule* container() const override;
  void describe(const BoxNode& node, BoxFields& fields) const override;
};

// ---- Leaves ---------------------------------------------------------------------------------------------

struct FtypPayload final : BoxPayload {
  std::array<char, 4> major_brand{};
  std::array<uint8_t, 4> minor_version{};  // kept on purpose: raw file bytes
  std::vector<char> compatible_brands;     // without terminator; a multiple of 4 only in a sane file
  void describe(const BoxNode& node, BoxFields& fields) const override;
};

struct MvhdPayload final : BoxPayload {
  FileTime creation_time;
  FileTime modification_time;
  uint32_t time_scale = 0;
  FileTime duration;
  uint32_t rate = 0;    // 16.16
  uint16_t volume = 0;  // 8.8
  void describe(const BoxNode& node, BoxFields& fields) const override;
};

struct IodsPayload final : BoxPayload {
  std::vector<uint8_t> bytes;  // the body after version and flags
  void describe(const BoxNode& node, BoxFields& fields) const override;
};

struct TkhdPayload final : BoxPayload {
  FileTime creation_time;
  FileTime modification_time;
  uint32_t track_id = 0;
  FileTime duration;  // movie time scale
  uint16_t layer = 0;
  uint16_t alternate_group = 0;
  uint16_t volume = 0;
  uint16_t width = 0;  // integer half of the 16.16 field
  uint16_t height = 0;
  void describe(const BoxNode& node, BoxFields& fields) const override;
};

struct TrefPayload final : BoxPayload {
  std::vector<uint8_t> bytes;  // the whole body, not interpreted
  void describe(const BoxNode& node, BoxFields& fields) const override;
};

struct ElstEntry {
  uint32_t segment_duration = 0;  // movie time scale
  uint32_t media_time = 0;        // media time scale; kEmptyEdit marks an initial delay
  uint16_t media_rate_integer = 0;
  uint16_t media_rate_fraction = 0;
};
inline constexpr uint32_t kEmptyEdit = 0xFFFFFFFF;

struct ElstPayload final : BoxPayload {
  std::vector<ElstEntry> entries;
  void describe(const BoxNode& node, BoxFields& fields) const override;
};

struct MdhdPayload final : BoxPayload {
  FileTime creation_time;
  FileTime modification_time;
  uint32_t time_scale = 0;  // units per second
  FileTime duration;        // media time scale
  uint16_t language = 0;    // packed ISO 639-2/T as stored
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

struct UrlPayload final : BoxPayload {
  bool self_contained = false;
  std::vector<uint8_t> location;  // empty when self-contained
  void describe(const BoxNode& node, BoxFields& fields) const override;
};

struct UrnPayload final : BoxPayload {
  bool self_contained = false;
  std::vector<uint8_t> name;   // the body: the name, its NUL, and the location behind it if there is one
  size_t location_offset = 0;  // into `name`; name.size() when there is no location
  void describe(const BoxNode& node, BoxFields& fields) const override;
};

}  // namespace zdr::p3gpp

// The record behind the public file handle.
struct P3gppFile {
  zdr::p3gpp::BoxSlot ftyp;
  zdr::p3gpp::BoxSlot moov;
  zdr::p3gpp::BoxSlot moof;
  const FMGR_Descriptor* descriptor = nullptr;  // the caller's; kept for P3GPP_OpenTrack
  FMGR_Context* context = nullptr;              // the caller's
  void* reserved_reader = nullptr;
};

namespace zdr::p3gpp {

// A track handle is the track's node; these two are the only places that know it.
inline P3gppTrack* to_handle(BoxNode* trak) {
  return reinterpret_cast<P3gppTrack*>(trak);
}
inline BoxNode* to_node(P3gppTrack* track) {
  return reinterpret_cast<BoxNode*>(track);
}

}  // namespace zdr::p3gpp

#endif
