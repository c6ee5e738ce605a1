// The records that the public file and track handles point to.
#pragma once

#include "fmgr/fmgr.h"
#include "p3gpp/p3gpp.h"
#include "p3gpp/parse/box_node.h"

struct P3gppFile {
  zdr::p3gpp::BoxSlot ftyp;
  zdr::p3gpp::BoxSlot moov;
  zdr::p3gpp::BoxSlot moof;
  const FMGR_Descriptor* descriptor = nullptr;  // owned by the caller; P3GPP_OpenTrack opens the file with it
  FMGR_Context* context = nullptr;              // owned by the caller
};

namespace zdr::p3gpp {

// A track handle is a pointer to the track's node; only these two functions convert between the two.
inline P3gppTrack* to_handle(BoxNode* trak) {
  return reinterpret_cast<P3gppTrack*>(trak);
}
inline BoxNode* to_node(P3gppTrack* track) {
  return reinterpret_cast<BoxNode*>(track);
}

}  // namespace zdr::p3gpp
