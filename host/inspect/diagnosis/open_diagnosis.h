// Explains why a file did not load. The filter returns one of two codes; running the parser again yields the
// box and the reason.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "host/inspect/iso/parsed_movie.h"
#include "host/messages.h"

namespace zdr::host {

inline constexpr const char* kNoMovieHeader = "the movie header (mvhd) is missing or damaged";

// The extensions that the filter reads, separated by blanks.
std::string known_extensions();

// Why the system does not open the file; nothing if it does. `status` is that of the failed open.
std::optional<Diagnosis> diagnose_access(const std::string& file, const std::string& status);

// Rejects what must not reach the filter: pipes, devices and sockets (they are not seekable, and opening a
// pipe waits for its writer), and names that UTF-16 cannot represent.
std::optional<Diagnosis> diagnose_before_open(const std::string& file);

// Why a movie that opened has nothing to play.
Diagnosis diagnose_unplayable(const ParsedMovie& movie);

// Why a movie that opened has no video track whose pictures can be located.
Diagnosis diagnose_missing_video(const ParsedMovie& movie);

// A name whose extension does not decide how the file is read.
std::optional<Diagnosis> diagnose_extension(const std::string& file, const std::string& status);

// A time that `option` requested is not before the end.
Diagnosis diagnose_past_end(const char* option, int64_t end_100ns);

// `movie` is a file that did not open.
Diagnosis diagnose_parse(const std::string& file, const ParsedMovie& movie);

// `load_result` is the HRESULT of IFileSourceFilter::Load.
Diagnosis diagnose_failed_open(const std::string& file, int32_t load_result);

}  // namespace zdr::host
