// Releasing what the records hold.
#pragma once

#include <span>

#include "id3p/id3p.h"

namespace zdr::id3p {

using TextField = char16_t* ID3P_Text::*;

// All texts of a record.
std::span<const TextField> text_fields();

void release_picture(ID3P_Text& text);

}  // namespace zdr::id3p
