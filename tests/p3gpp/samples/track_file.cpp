#include "track_file.h"

#include <random>

#include "lookup_answers.h"
#include "mediakit/boxes/movie_builder.h"

namespace zdr::test {
namespace {

Bytes trak_of(const TrackTables& tables) {
  const TrackHeader header{
      .creation_time = 11, .modification_time = 12, .track_id = tables.id, .duration = 5000};
  std::vector<uint64_t> wide_offsets = tables.chunk_offsets;
  for (uint64_t& offset : wide_offsets) offset += tables.also_co64 ? 1 : 0;
  const bool constant = tables.default_size != 0;
  const Bytes wide = tables.co64 || tables.also_co64 ? co64(wide_offsets) : Bytes();
  TrackDescription track{.handler = tables.handler, .edits = tables.edits};
  track.replaced = {
      {"tkhd", tkhd(header)},
      {"mdhd", mdhd({.time_scale = tables.time_scale, .duration = tables.media_duration})},
      {"stts", stts(tables.stts, tables.claimed_stts_count)},
      {"ctts", tables.has_ctts ? ctts(tables.ctts) : Bytes()},
      {"stss", tables.has_stss ? stss(tables.stss) : Bytes()},
      {"stsc", stsc(tables.stsc)},
      {"stsz", constant ? constant_stsz(tables.default_size, tables.default_count) : stsz(tables.sizes)},
      {"stco", concat({tables.co64 ? Bytes() : stco(tables.chunk_offsets), wide})}};
  for (const std::string& type : tables.omit) track.replaced[type] = {};
  return build_trak(track, tables.id, {});
}

}  // namespace

TrackTables plain_tables(uint32_t samples, uint32_t size) {
  TrackTables tables;
  tables.stts = {{samples, 1}};
  tables.sizes.assign(samples, size);
  tables.stsc = {{1, samples}};
  return tables;
}

Bytes make_file(const std::vector<TrackTables>& tracks, size_t file_size) {
  std::vector<Bytes> children = {mvhd()};
  for (const TrackTables& tables : tracks) children.push_back(trak_of(tables));
  Bytes file = concat({ftyp(), box("moov", children)});
  if (file.size() + 8 >= file_size) {
    file.resize(file.size() - tracks.back().cut_off);
    return file;
  }
  Bytes media(file_size - file.size() - 8);
  std::minstd_rand random(1);
  for (uint8_t& byte : media) byte = static_cast<uint8_t>(random());
  return concat({file, box("mdat", media)});
}

OpenTrack::OpenTrack(const TrackTables& tables, size_t file_size, uint32_t cache_budget)
    : movie_(make_file({tables}, file_size)), status_(movie_.status) {
  if (status_ == P3GPP_OK) status_ = P3GPP_OpenTrack(movie_.file, &track_, tables.id, cache_budget);
}

OpenTrack::~OpenTrack() {
  if (track_ != nullptr) P3GPP_CloseTrack(track_);
}

int64_t OpenTrack::offset_of(uint32_t number) {
  P3gppSample sample{};
  sample.number = number;
  const int32_t status = locate(sample);
  return status == P3GPP_OK ? static_cast<int64_t>(sample.file_offset) : status;
}

std::string replayed(const TrackTables& tables, const std::string& script) {
  OpenTrack track(tables);
  return track.status() == P3GPP_OK ? LookupAnswers(track).replay(script) : std::to_string(track.status());
}

}  // namespace zdr::test
