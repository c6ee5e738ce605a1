// The packed form in which the registry stores the description of a filter's pins.
#pragma once

#include <vector>

#include "registration.h"

namespace zdr::dshow {

// Little-endian words: a header of four (layout version 2, merit, number of pins, 0), then every pin followed
// by its types, then the GUIDs that these refer to by their offsets, each stored once. Throws bad_alloc.
std::vector<BYTE> pack_filter_data(const REGFILTER2& record);

}  // namespace zdr::dshow
