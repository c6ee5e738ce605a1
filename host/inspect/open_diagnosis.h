// Explains why a file did not load. The filter returns one of two codes; the parser, run again, knows the box
// and the reason.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "host/inspect/diagnosis.h"
#include "host/inspect/parsed_movie.h"

namespace zdr::host {

// For what must not reach the filter: pipes, devices and sockets (they are not seekable, and opening a pipe
// waits for its writer), and names that UTF-16 cannot carry.
std::optional<Diagnosis> diagnose_before_open(const std::string& file);

// `movie` did not open.
Diagnosis diagnose_parse(const std::string& file, const ParsedMovie& movie);

// `load_result` is the HRESULT of IFileSourceFilter::Load.
Diagnosis diagnose_failed_open(const std::string& file, int32_t load_result);

}  // namespace zdr::host
