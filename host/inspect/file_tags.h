// The tags of an ISO media or AAC file, as `zdr info` shows them.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

#include "host/exit_code.h"
#include "host/messages.h"
#include "host/option_table.h"

namespace zdr::host {

// An array with one object a tag: "tag", "type", "language" where it has one, and what the tag holds.
// Empty for files that the parser does not open.
nlohmann::ordered_json tags_json(const std::string& file);

// The same as lines: "title (titl, eng): ...". Nothing in them moves a terminal's cursor.
std::vector<std::string> tag_lines(const nlohmann::ordered_json& tags);

// Writes the image of the file to options.cover, if that is asked for.
ExitCode save_cover(const std::string& file, const Options& options, Messages& messages);

}  // namespace zdr::host
