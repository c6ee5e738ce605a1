// The names of the codecs, for the two ways in which the module identifies them.
#pragma once

#include <dshow.h>

#include <string_view>

namespace zdr::host {

// "AVC", "AAC" ...; empty for a subtype that is not in the table.
std::string_view codec_of_subtype(const GUID& subtype);
// Of a code in a clip's description (kClip...Video, kClip...Audio). Empty for 0 and unknown codes.
std::string_view codec_of_clip(DWORD code);
// Of a sample description, by its type: "AVC" for "avc1". Empty for types whose codec is in their
// configuration and for unknown ones.
std::string_view codec_of_entry(std::string_view type);

}  // namespace zdr::host
