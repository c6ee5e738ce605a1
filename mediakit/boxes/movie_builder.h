// Builds whole ISO files from a description of their tracks.
//
// A track is described by its sample entry and by its samples; the builder lays out the chunks of all tracks
// in turn and writes the tables for them. For unusual cases, any box can be replaced or dropped, and any
// container extended.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "mediakit/boxes/box_builder.h"

namespace zdr::test {

struct TrackDescription {
  std::string handler = "vide";
  std::vector<Bytes> sample_entries = {};
  uint32_t time_scale = 1000;

  // One entry per sample; the builder joins equal neighbours into runs.
  std::vector<uint32_t> sizes = {};
  std::vector<uint32_t> durations = {};  // the last one repeats; empty: 100 each
  std::vector<uint32_t> sync_samples = {};

  std::vector<uint32_t> samples_per_chunk = {};  // one per chunk; the last one repeats; empty: 1

  std::vector<Edit> edits = {};
  uint32_t header_version = 0;  // of tkhd and mdhd
  uint16_t width = 0;           // tkhd
  uint16_t height = 0;

  // By box type: the bytes to write in place of the box (none: left out). Known: tkhd edts mdia mdhd hdlr
  // minf dinf stbl stsd stts ctts stss stsz stsc stco.
  std::map<std::string, Bytes> replaced = {};
  // By container type (trak mdia minf stbl): bytes appended to its children.
  std::map<std::string, Bytes> appended = {};
};

struct MovieDescription {
  std::vector<TrackDescription> tracks = {};  // IDs 1, 2, ... in this order
  bool moov_first = true;
  uint32_t movie_time_scale = 1000;
  Bytes before_moov = {};    // top-level boxes after ftyp
  Bytes moov_children = {};  // after the tracks
};

struct BuiltMovie {
  Bytes bytes;
  // File offset of each sample, by track and sample, both from 0.
  std::vector<std::vector<uint64_t>> sample_offsets;
};

BuiltMovie build_movie(const MovieDescription& movie);
// Builds a file with one track.
BuiltMovie build_movie(const TrackDescription& track);

// Returns the bytes of a sample; each depends on track, sample (both from 1) and position.
Bytes sample_content(uint32_t track, uint32_t sample, uint32_t size);

// Returns the boxes of one track, with the chunks at `chunk_offsets`.
Bytes build_trak(const TrackDescription& track, uint32_t track_id,
                 const std::vector<uint64_t>& chunk_offsets);

// Frames of 100 ms, and units of 20 ms, with that sample entry.
TrackDescription video_track(const Bytes& entry, uint32_t sample_count = 10, uint32_t sample_size = 20);
TrackDescription audio_track(const Bytes& entry, uint32_t sample_count = 10, uint32_t sample_size = 32);
// Ready-made tracks with plausible configurations; each test changes the fields that it is about.
TrackDescription avc_track(uint32_t sample_count, uint32_t sample_size = 20);
TrackDescription amr_track(uint32_t sample_count, uint32_t sample_size = 32);
TrackDescription aac_track(uint32_t sample_count, uint32_t sample_size = 24);

}  // namespace zdr::test
