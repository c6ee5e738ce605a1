// The parts of a movie that the filter leaves out: on purpose, which explains differences from other players,
// or because they are damaged, which is a loss.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/inspect/iso/parsed_movie.h"
#include "host/messages.h"

namespace zdr::host {

// The kinds of media for which the filter has a pin that can be connected.
struct PlayableKinds {
  bool audio = false;
  bool video = false;

  bool any() const { return audio || video; }
  bool has(bool is_audio) const { return is_audio ? audio : video; }
};
inline constexpr PlayableKinds kBothKinds{true, true};

// Nothing is played after a description, so it also has the edits that are not applied, and what would be
// reported at the end of playing. So does a picture, but it locates all samples itself.
enum class LeftOutUse : uint8_t { kPlay, kPicture, kDescription };

// Finds what is left out of the `requested` kinds, if anything can be played. Without `kinds`, which only a
// filter can provide, tracks that the filter fails to play are not among it. `movie` may be null, or a movie
// that did not open.
std::vector<Diagnosis> find_left_out(const std::string& file, const ParsedMovie* movie,
                                     std::optional<PlayableKinds> kinds, LeftOutUse use,
                                     PlayableKinds requested = kBothKinds);

// Reports the same as errors and notes. Returns kLoss if anything is lost, else kDone.
ExitCode report_left_out(const std::string& file, const ParsedMovie* movie,
                         std::optional<PlayableKinds> kinds, LeftOutUse use, Messages& messages,
                         PlayableKinds requested = kBothKinds);

// Why the parser could not read on.
std::string damage_text(const ParsedMovie& movie);
Place place_of_damage(const ParsedMovie& movie);

// The damage after which the parser went on with what it had read; nothing if there is none. A loss if it
// costs a track of a requested kind, else a note.
std::optional<Diagnosis> find_damage(const ParsedMovie& movie, PlayableKinds requested = kBothKinds);

// Reports the edits that are not applied, of the played tracks of these kinds; with `trims`, only
// those that find_shown_media() cannot apply either.
void report_unapplied_edits(const std::string& file, const ParsedMovie* movie, PlayableKinds kinds,
                            bool trims, Messages& messages);

}  // namespace zdr::host
