// The user data of a movie, moov/udta: its asset boxes, and the items of its meta box.
#pragma once

#include "p3gpp/parse/box_reader.h"

namespace zdr::p3gpp {

Status parse_movie_udta(BoxReader& reader, BoxNode& node);

}  // namespace zdr::p3gpp
