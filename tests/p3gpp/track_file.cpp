#include "track_file.h"

#include <random>

namespace zdr::test {
namespace {

class TrackWriter {
 public:
  explicit TrackWriter(const TrackTables& tables) : tables_(tables) {}

  Bytes trak() const {
    const Bytes edts = tables_.edits.empty() ? Bytes() : box("edts", elst(tables_.edits));
    const TrackHeader header{
        .creation_time = 11, .modification_time = 12, .track_id = tables_.id, .duration = 5000};
    return box("trak", {keep("tkhd", tkhd(header)), edts, keep("mdia", mdia())});
  }

 private:
  Bytes keep(const std::string& type, const Bytes& bytes) const {
    return tables_.omit.contains(type) ? Bytes() : bytes;
  }

  Bytes mdia() const {
    const MediaHeader header{.time_scale = tables_.time_scale, .duration = tables_.media_duration};
    return box("mdia", {keep("mdhd", mdhd(header)), keep("hdlr", hdlr(tables_.handler)),
                        keep("minf", box("minf", {keep("stbl", stbl())}))});
  }

  Bytes sizes() const {
    return tables_.default_size == 0 ? stsz(tables_.sizes)
                                     : constant_stsz(tables_.default_size, tables_.default_count);
  }

  Bytes wide_offsets() const {
    std::vector<uint64_t> offsets = tables_.chunk_offsets;
    for (uint64_t& offset : offsets) offset += tables_.also_co64 ? 1 : 0;
    return tables_.co64 || tables_.also_co64 ? co64(offsets) : Bytes();
  }

  Bytes stbl() const {
    return box("stbl", {keep("stsd", stsd({})), keep("stts", stts(tables_.stts, tables_.claimed_stts_count)),
                        tables_.has_ctts ? ctts(tables_.ctts) : Bytes(),
                        tables_.has_stss ? stss(tables_.stss) : Bytes(), keep("stsc", stsc(tables_.stsc)),
                        keep("stsz", sizes()),
                        tables_.co64 ? Bytes() : keep("stco", stco(tables_.chunk_offsets)), wide_offsets()});
  }

  const TrackTables& tables_;
};

}  // namespace

Bytes make_file(const std::vector<TrackTables>& tracks, size_t file_size) {
  std::vector<Bytes> children = {
      mvhd({.creation_time = 21, .modification_time = 22, .time_scale = 600, .duration = 6000})};
  for (const TrackTables& tables : tracks) children.push_back(TrackWriter(tables).trak());
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

}  // namespace zdr::test
