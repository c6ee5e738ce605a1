// Lays out the samples of a movie, and writes the tables that describe them.
#include "mediakit/boxes/movie_builder.h"

#include <algorithm>

namespace zdr::test {
namespace {

uint32_t repeated(const std::vector<uint32_t>& values, size_t index, uint32_t when_empty) {
  return values.empty() ? when_empty : values[std::min(index, values.size() - 1)];
}

// Returns the number of samples of each chunk.
std::vector<uint32_t> chunk_lengths(const TrackDescription& track) {
  std::vector<uint32_t> lengths;
  for (size_t placed = 0; placed < track.sizes.size();) {
    const size_t requested = repeated(track.samples_per_chunk, lengths.size(), 1u);
    lengths.push_back(static_cast<uint32_t>(std::min(requested, track.sizes.size() - placed)));
    placed += lengths.back();
  }
  return lengths;
}

Runs duration_runs(const TrackDescription& track) {
  Runs runs;
  for (size_t i = 0; i < track.sizes.size(); ++i) {
    const uint32_t duration = repeated(track.durations, i, 100);
    if (runs.empty() || runs.back().second != duration) runs.emplace_back(0u, duration);
    ++runs.back().first;
  }
  return runs;
}

std::vector<ChunkRun> chunk_runs(const TrackDescription& track) {
  std::vector<ChunkRun> runs;
  const std::vector<uint32_t> lengths = chunk_lengths(track);
  for (size_t i = 0; i < lengths.size(); ++i) {
    const bool same = !runs.empty() && runs.back().samples_per_chunk == lengths[i];
    if (!same) runs.push_back({static_cast<uint32_t>(i + 1), lengths[i]});
  }
  return runs;
}

uint64_t media_duration(const TrackDescription& track) {
  uint64_t total = 0;
  for (const auto& [count, delta] : duration_runs(track)) total += uint64_t{count} * delta;
  return total;
}

Bytes pick(const TrackDescription& track, const std::string& type, const Bytes& ordinary) {
  const auto found = track.replaced.find(type);
  return found == track.replaced.end() ? ordinary : found->second;
}

Bytes container(const TrackDescription& track, const std::string& type, std::vector<Bytes> children) {
  const auto more = track.appended.find(type);
  if (more != track.appended.end()) children.push_back(more->second);
  return pick(track, type, box(type, children));
}

Bytes build_stbl(const TrackDescription& track, const std::vector<uint64_t>& chunk_offsets) {
  const bool has_stss = !track.sync_samples.empty();
  return container(
      track, "stbl",
      {pick(track, "stsd", stsd(track.sample_entries)), pick(track, "stts", stts(duration_runs(track))),
       pick(track, "ctts", {}), pick(track, "stss", has_stss ? stss(track.sync_samples) : Bytes()),
       pick(track, "stsc", stsc(chunk_runs(track))), pick(track, "stsz", stsz(track.sizes)),
       pick(track, "stco", stco(chunk_offsets))});
}

Bytes build_moov(const MovieDescription& movie, const std::vector<std::vector<uint64_t>>& chunk_offsets) {
  uint64_t duration = 0;
  Fields traks;
  for (size_t i = 0; i < movie.tracks.size(); ++i) {
    const TrackDescription& track = movie.tracks[i];
    traks.append(build_trak(track, static_cast<uint32_t>(i + 1), chunk_offsets[i]));
    duration =
        std::max(duration, media_duration(track) * movie.movie_time_scale / std::max(track.time_scale, 1u));
  }
  return box("moov", {mvhd({.time_scale = movie.movie_time_scale, .duration = duration}), traks.bytes,
                      movie.moov_children});
}

// Writes the chunks of all tracks in turn into mdat's body, which begins at `start`.
Bytes lay_out(const MovieDescription& movie, uint64_t start,
              std::vector<std::vector<uint64_t>>& chunk_offsets, BuiltMovie& built) {
  const size_t track_count = movie.tracks.size();
  std::vector<std::vector<uint32_t>> lengths;
  for (const TrackDescription& track : movie.tracks) lengths.push_back(chunk_lengths(track));
  chunk_offsets.assign(track_count, {});
  built.sample_offsets.assign(track_count, {});
  Fields body;
  for (size_t chunk = 0, written = 1; written > 0; ++chunk) {
    written = 0;
    for (size_t i = 0; i < track_count; ++i) {
      if (chunk >= lengths[i].size()) continue;
      ++written;
      chunk_offsets[i].push_back(start + body.bytes.size());
      for (uint32_t k = 0; k < lengths[i][chunk]; ++k) {
        const auto sample = static_cast<uint32_t>(built.sample_offsets[i].size());
        built.sample_offsets[i].push_back(start + body.bytes.size());
        body.append(sample_content(static_cast<uint32_t>(i + 1), sample + 1, movie.tracks[i].sizes[sample]));
      }
    }
  }
  return body.bytes;
}

}  // namespace

Bytes sample_content(uint32_t track, uint32_t sample, uint32_t size) {
  Bytes content(size);
  for (uint32_t i = 0; i < size; ++i) content[i] = static_cast<uint8_t>(track * 89 + sample * 31 + i * 7);
  return content;
}

Bytes build_trak(const TrackDescription& track, uint32_t track_id,
                 const std::vector<uint64_t>& chunk_offsets) {
  const HeaderFields header{.version = track.header_version,
                            .track_id = track_id,
                            .time_scale = track.time_scale,
                            .duration = media_duration(track),
                            .volume = 0,
                            .width = track.width,
                            .height = track.height};
  const Bytes edts = track.edits.empty() ? Bytes() : box("edts", elst(track.edits));
  const bool is_video = track.handler == "vide";
  const Bytes media_header = is_video ? full_box("vmhd", 0, 1, Bytes(8)) : full_box("smhd", 0, 0, Bytes(4));
  const Bytes minf =
      container(track, "minf", {media_header, pick(track, "dinf", dinf()), build_stbl(track, chunk_offsets)});
  const Bytes mdia = container(
      track, "mdia",
      {pick(track, "mdhd", mdhd(header)), pick(track, "hdlr", hdlr(track.handler, "handler")), minf});
  return container(track, "trak", {pick(track, "tkhd", tkhd(header)), pick(track, "edts", edts), mdia});
}

BuiltMovie build_movie(const MovieDescription& movie) {
  BuiltMovie built;
  const Bytes front = concat({ftyp(), movie.before_moov});
  std::vector<std::vector<uint64_t>> chunk_offsets;
  Bytes media = lay_out(movie, front.size() + 8, chunk_offsets, built);
  Bytes moov = build_moov(movie, chunk_offsets);
  if (movie.moov_first) {  // the offsets change the values in moov, never its size
    media = lay_out(movie, front.size() + moov.size() + 8, chunk_offsets, built);
    moov = build_moov(movie, chunk_offsets);
    built.bytes = concat({front, moov, box("mdat", media)});
  } else {
    built.bytes = concat({front, box("mdat", media), moov});
  }
  return built;
}

BuiltMovie build_movie(const TrackDescription& track) {
  return build_movie(MovieDescription{.tracks = {track}});
}

TrackDescription video_track(const Bytes& entry, uint32_t sample_count, uint32_t sample_size) {
  return {.handler = "vide",
          .sample_entries = {entry},
          .sizes = std::vector<uint32_t>(sample_count, sample_size),
          .width = 176,
          .height = 144};
}

TrackDescription audio_track(const Bytes& entry, uint32_t sample_count, uint32_t sample_size) {
  return {.handler = "soun",
          .sample_entries = {entry},
          .time_scale = 8000,
          .sizes = std::vector<uint32_t>(sample_count, sample_size),
          .durations = {160}};
}

TrackDescription avc_track(uint32_t sample_count, uint32_t sample_size) {
  const Bytes configuration = avcc({.sps = {{0x67, 0x42, 0xC0, 0x1E}}, .pps = {{0x68, 0xCE}}});
  return video_track(video_entry("avc1", 176, 144, configuration), sample_count, sample_size);
}

TrackDescription amr_track(uint32_t sample_count, uint32_t sample_size) {
  const Bytes configuration = damr(0x5A414E44, 1, 0x81FF, 0, 1);
  return audio_track(audio_entry("samr", 2, 8000, configuration), sample_count, sample_size);
}

TrackDescription aac_track(uint32_t sample_count, uint32_t sample_size) {
  const Bytes configuration = esds({.decoder_specific_info = {0x12, 0x10}});
  TrackDescription track =
      audio_track(audio_entry("mp4a", 2, 44100, configuration), sample_count, sample_size);
  track.time_scale = 44100;
  track.durations = {1024};
  return track;
}

}  // namespace zdr::test
