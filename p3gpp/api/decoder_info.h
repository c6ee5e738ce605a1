// One sample entry as the public description of its codec.
#ifndef ZDR_P3GPP_DECODER_INFO_H
#define ZDR_P3GPP_DECODER_INFO_H

#include <memory>
#include <string_view>

#include "p3gpp/boxes/box_tree.h"
#include "p3gpp/boxes/sample_entries.h"
#include "p3gpp/parse/status.h"

namespace zdr::p3gpp {

struct DecoderInfoReleaser {
  void operator()(P3gppDecoderInfo* info) const noexcept { info->release(info); }
};
using OwnedDecoderInfo = std::unique_ptr<P3gppDecoderInfo, DecoderInfoReleaser>;

// An empty record with its release function.
OwnedDecoderInfo make_decoder_info();

// What a description is made from.
struct DecoderInfoSource {
  const BoxNode& entry;
  const HdlrPayload& hdlr;
  const TkhdPayload& tkhd;
};

// Fills `info`. On failure the caller drops it unless *keep_record is set: a partly filled record that the
// caller of the library gets together with the error.
Status describe_decoder(const DecoderInfoSource& source, P3gppDecoderInfo& info, bool& keep_record);

}  // namespace zdr::p3gpp

#endif
