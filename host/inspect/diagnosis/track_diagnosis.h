// Why the filter does not play a track of a kind that it could play.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/inspect/iso/parsed_movie.h"
#include "host/messages.h"

namespace zdr::host {

inline constexpr const char* kNoTimeScale = "damaged: its time scale is 0, so its samples have no times";

// "video track 2 (hvc1)"
Place place_of(const TrackRecord& track);
Place place_of(const HiddenTrack& hidden);
bool is_video(const TrackRecord& track);
bool is_audio(const TrackRecord& track);

// The exit code is kNotSupported for a codec or protection that is not supported, kDone for a track that has
// no samples, and kLoss for one that is damaged.
Diagnosis why_not_played(const ParsedMovie& movie, const TrackRecord& track);

// For a track after the one that the filter plays, or would play.
Diagnosis further_track(const TrackRecord& track);

// Reported if the table of times has more access units than these, which have sizes.
std::optional<Diagnosis> find_missing_sizes(const ParsedMovie& movie, const TrackRecord& track,
                                            uint32_t samples);

// Why the filter, which plays the track, stops before the end that its tables state; empty if it does not.
std::vector<Diagnosis> causes_of_early_end(const ParsedMovie& movie, const TrackRecord& track);

// The fault of a played track whose last access unit, or one of whose chunks, is not in the file or cannot be
// located; nothing if a table that counts more entries than it has is the cause.
std::optional<Diagnosis> find_lost_end(const ParsedMovie& movie, const TrackRecord& track,
                                       uint64_t file_size);

// Faults that make the samples of a playable track wrong; empty if none is found.
std::vector<std::string> faults_of(const ParsedMovie& movie, const TrackRecord& track);

}  // namespace zdr::host
