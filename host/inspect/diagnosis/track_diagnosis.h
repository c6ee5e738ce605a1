// Why the filter does not play a track of a kind that it could play.
#pragma once

#include <string>
#include <vector>

#include "host/inspect/iso/parsed_movie.h"
#include "host/messages.h"

namespace zdr::host {

// "video track 2 (hvc1)"
Place place_of(const TrackRecord& track);
bool is_video(const TrackRecord& track);
bool is_audio(const TrackRecord& track);

// The exit code is kNotSupported for a codec or protection that is not supported, kDone for a track that has
// no samples, and kLoss for one that is damaged.
Diagnosis why_not_played(const ParsedMovie& movie, const TrackRecord& track);

// For a track after the one that the filter plays, or would play.
Diagnosis further_track(const TrackRecord& track);

// Why the filter, which plays the track, stops before its end; empty if it does not.
std::vector<const char*> causes_of_early_end(const ParsedMovie& movie, const TrackRecord& track);

// Faults that make the samples of a playable track wrong; empty if none is found.
std::vector<const char*> faults_of(const ParsedMovie& movie, const TrackRecord& track);

}  // namespace zdr::host
