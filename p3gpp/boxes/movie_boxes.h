// The containers of a movie (ISO/IEC 14496-12, 8.2 to 8.7): moov, trak, edts, mdia, minf, dinf, stbl
// (which ends at an stdp box).
#pragma once

#include <cstdint>

#include "p3gpp/boxes/lookup_state.h"
#include "p3gpp/parse/box_node.h"
#include "p3gpp/parse/box_reader.h"
#include "p3gpp/parse/file_stream.h"

namespace zdr::p3gpp {

struct HdlrPayload;
struct MdhdPayload;
struct StblPayload;
struct TkhdPayload;
struct TrakPayload;

struct MoovPayload final : BoxPayload {
  BoxSlot mvhd;
  BoxSlot iods;
  BoxSlot udta;
  BoxSlot meta;
  BoxList traks;
};

// The records on the path from a track to its sample tables. After walk_to_tables() has succeeded none is
// null.
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
  TrackPath open_path;      // of the open track, so that a query need not walk the tree; else empty
};

struct EdtsPayload final : BoxPayload {
  BoxSlot elst;
};

struct MdiaPayload final : BoxPayload {
  BoxSlot mdhd;
  BoxSlot hdlr;
  BoxSlot minf;
};

struct MinfPayload final : BoxPayload {
  BoxSlot hmhd;
  BoxSlot dinf;
  BoxSlot stbl;
};

struct DinfPayload final : BoxPayload {
  BoxSlot dref;
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
  BoxSlot stdp;  // always empty: a degradation priority table ends the sample table box
  BoxSlot co64;
  uint8_t chunk_number_base = 0;  // first chunk number of the track, 0 or 1; set by P3GPP_OpenTrack
  SequentialRead sequential;
};

Status parse_moov(BoxReader& reader, BoxNode& node);

}  // namespace zdr::p3gpp
