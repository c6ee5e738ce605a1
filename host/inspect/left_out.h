// The parts of a movie that the filter leaves out: on purpose, which explains differences from other players,
// or because they are damaged, which is a loss.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "host/inspect/parsed_movie.h"
#include "host/messages.h"

namespace zdr::host {

// The kinds of media for which the filter has a pin that can be connected.
struct PlayableKinds {
  bool audio = false;
  bool video = false;

  bool any() const { return audio || video; }
};

// Returns the entries, none for a movie that did not open. Without `kinds`, which only a filter knows, omits
// the tracks that the filter fails to play. The exit code of an entry is kLoss for a loss, else kDone.
std::vector<Diagnosis> find_left_out(const ParsedMovie& movie, std::optional<PlayableKinds> kinds);

// The edits of the tracks that are played which the filter does not apply, in one line; empty if there are
// none.
std::string unapplied_edits(const ParsedMovie& movie, PlayableKinds kinds);

// Reports the entries as errors and notes, with `with_edits` also the edits, unless nothing can be played.
// `movie` may be null.
ExitCode report_left_out(const std::string& file, const ParsedMovie* movie,
                         std::optional<PlayableKinds> kinds, bool with_edits, Messages& messages);

}  // namespace zdr::host
