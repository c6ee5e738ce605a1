// Media types as text and as JSON.
#pragma once

#include <dshow.h>

#include <string>

#include "host/json/json_writer.h"
#include "host/text/bytes.h"

namespace zdr::host {

// "AVC", "AAC" ...; the GUID of a subtype without a name in the table.
std::string codec_name(const AM_MEDIA_TYPE& type);
// One line: codec, picture size or channels and rate, bit rate.
std::string media_type_line(const AM_MEDIA_TYPE& type);
// The bytes of the format block; empty if there is none.
Bytes format_block(const AM_MEDIA_TYPE& type);
// Writes an object with the size, the CRC and the fields of the format block; with `is_full` also its bytes.
void write_media_type(JsonWriter& json, const AM_MEDIA_TYPE& type, bool is_full);

}  // namespace zdr::host
