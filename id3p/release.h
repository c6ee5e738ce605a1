// The text fields of a record, and the release of its picture.
#pragma once

#include <span>

#include "id3p/id3p.h"

namespace zdr::id3p {

using TextField = char16_t* ID3P_Text::*;

// Returns the members that hold texts.
std::span<const TextField> text_fields();

void release_picture(ID3P_Text& text);

}  // namespace zdr::id3p
