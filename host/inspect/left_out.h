// What of a file the filter leaves out on purpose, said in notes: who compares with another player must not
// have to guess.
#pragma once

#include <string>
#include <vector>

#include "host/messages.h"

namespace zdr::host {

// Further tracks, tracks of other kinds, movie fragments, edits that are not applied, a damaged tail. Empty
// for files that are no ISO media files and for those that the parser does not open.
std::vector<std::string> left_out_notes(const std::string& file);

void tell_left_out(const std::string& file, Messages& messages);

}  // namespace zdr::host
