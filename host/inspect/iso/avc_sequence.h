// The format of the pictures of an AVC stream, from its first sequence parameter set.
#pragma once

#include "host/inspect/iso/bit_reader.h"
#include "host/inspect/iso/track_description.h"
#include "host/text/bytes.h"

namespace zdr::host {

// `nal_unit` is a sequence parameter set with its header. Fills in what it states before it ends.
void describe_avc_sequence(Bytes nal_unit, PictureFormat& format);

// Reads the range and the colours, which have the same form in AVC and in MPEG-4 visual.
void read_signal_type(BitReader& bits, PictureFormat& format);

}  // namespace zdr::host
