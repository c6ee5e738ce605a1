// The packed form in which the registry keeps what a filter said about its pins.
#pragma once

#include <vector>

#include "registration.h"

namespace zdr::dshow {

// Little-endian words: a header of four (layout version 2, merit, number of pins, 0), then every pin, its
// types and its mediums, then the identifiers that these refer to by their offsets, each only once. The pins
// are rgPins2 of a version 2 record or rgPins of a version 1 record. Throws bad_alloc.
std::vector<BYTE> pack_filter_data(const REGFILTER2& record);

}  // namespace zdr::dshow
