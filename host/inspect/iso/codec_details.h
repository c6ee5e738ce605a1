// Decodes configuration boxes whose fields depend on each other: avcC (ISO/IEC 14496-15, 5.3.4), esds
// (ISO/IEC 14496-14, 5.6), colr (ISO/IEC 14496-12, 12.1.5), dac3 (ETSI TS 102 366, annex F), damr (3GPP TS
// 26.244, 6.7).
#pragma once

#include "host/inspect/iso/field_sink.h"
#include "host/text/bytes.h"

namespace zdr::host {

// `front` is the body, after version and flags, or its first 4 KiB. The last two pass only values that are
// derived from fields that the parser reports.
void describe_avcc(Bytes front, FieldSink& sink);
void describe_esds(Bytes front, FieldSink& sink);
void describe_colr(Bytes front, FieldSink& sink);
void describe_dac3(Bytes front, FieldSink& sink);
void describe_damr(Bytes front, FieldSink& sink);

}  // namespace zdr::host
