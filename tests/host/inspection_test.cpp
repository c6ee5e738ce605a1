// The built program on ISO files with every box, with damage, and with parts that cannot be played.
#include "mediakit/boxes/metadata_builder.h"
#include "mediakit/boxes/movie_builder.h"
#include "mediakit/files/id3_builder.h"
#include "tests/host/transcript.h"

namespace zdr::test {
namespace {

// A folder of media that a test adds.
class Media : public testing::Test {
 protected:
  void add(const std::string& name, const MovieDescription& movie) {
    BuiltMovie built = build_movie(movie);
    for (size_t i = 0; i < movie.tracks.size(); ++i)
      make_whole(movie.tracks[i], built.sample_offsets[i], built);
    const Bytes& bytes = built.bytes;
    write_file(folder_ / name, {reinterpret_cast<const char*>(bytes.data()), bytes.size()});
  }
  void add(const std::string& name, const TrackDescription& track) {
    add(name, MovieDescription{.tracks = {track}});
  }
  // A playable audio track, and user data.
  void add(const std::string& name, const Bytes& user_data, const Bytes& moov_children = {}) {
    TrackDescription track = amr_track(200);
    track.appended["trak"] = box("udta", concat({full_hinf(), hnti("v=0\r\n")}));
    add(name, MovieDescription{.tracks = {track},
                               .moov_children = concat({box("udta", user_data), moov_children})});
  }

  // Makes samples of the usual sizes valid for their codec: speech is filled with 0x3C, which begins a frame
  // of 12.2 kbit/s wherever a frame may begin; a picture of 20 bytes begins with its NAL unit length.
  static void make_whole(const TrackDescription& track, const std::vector<uint64_t>& offsets,
                         BuiltMovie& built) {
    for (size_t i = 0; i < offsets.size(); ++i) {
      uint8_t* const sample = built.bytes.data() + offsets[i];
      const bool is_speech = track.sample_entries[0][4] == 's';
      if (is_speech) std::fill_n(sample, track.sizes[i], 0x3C);
      if (track.handler == "vide" && track.sizes[i] == 20) std::copy_n("\0\0\0\x10", 4, sample);
    }
  }

  TempFolder folder_;
};

using ZdrInspection = Media;
using ZdrLosses = Media;

TrackDescription of_kind(const char* handler) {
  TrackDescription track = amr_track(1);
  track.handler = handler;
  return track;
}

TrackDescription with_edits(TrackDescription track, std::vector<Edit> edits) {
  track.time_scale = 8000;
  track.durations = {160};
  track.edits = std::move(edits);
  return track;
}

TrackDescription with_entry(TrackDescription track, const Bytes& entry) {
  track.sample_entries = {entry};
  return track;
}

TrackDescription with_configuration(const Bytes& configuration, uint16_t channels = 2) {
  TrackDescription track = aac_track(20);
  track.sizes[0] = 0;
  return with_entry(track,
                    audio_entry("mp4a", channels, 44100, esds({.decoder_specific_info = configuration})));
}

TrackDescription with_header(TrackDescription track, const Bytes& header) {
  track.replaced["tkhd"] = header;
  return track;
}

// What each file leaves out, in the order of the transcript.
std::vector<MovieDescription> movies_with_notes() {
  const TrackDescription sound = amr_track(10);
  TrackDescription wide_edits = sound;
  wide_edits.replaced["edts"] = box("edts", elst({{.segment_duration = 1000, .media_time = 0}}, 1));
  std::vector<MovieDescription> movies = {
      {.tracks = {sound}},
      {.tracks = {sound, of_kind("text"), of_kind("text"), of_kind("ab\x1B/")}},
      {.tracks = {sound, of_kind("soun")}},
      {.tracks = {sound, of_kind("hint"), of_kind("sbtl"), of_kind("subt"), of_kind("tmcd")}},
      {.tracks = {avc_track(1), amr_track(0)}},
      {.tracks = {wide_edits}},
      {.tracks = {sound}, .moov_children = box("mvex")},
      {.tracks = {sound}, .before_moov = box("moof")},
      {.tracks = {with_edits(avc_track(10), {{.segment_duration = 190, .media_time = 80}})}}};
  // 199: the rest is a rounding error.
  const std::vector<Edit> kEdits[] = {{{200, 0}}, {{190, 80}},          {{150, 0}},          {{150, 80}},
                                      {{199, 0}}, {{50, -1}, {200, 0}}, {{100, 0}, {100, 0}}};
  for (const std::vector<Edit>& edits : kEdits) movies.push_back({.tracks = {with_edits(sound, edits)}});
  // IDs: both 1; video has 0 and audio has no header.
  movies.push_back({.tracks = {avc_track(1), with_header(sound, tkhd({.track_id = 1}))}});
  movies.push_back(
      {.tracks = {with_header(sound, Bytes{}), with_header(avc_track(1), tkhd({.track_id = 0}))}});
  for (const std::vector<Edit>& edits : {std::vector<Edit>{{50, -1}}, {{50, -1}, {190, 80}}})
    movies.push_back({.tracks = {with_edits(sound, edits)}});
  return movies;
}

// Headers of version 1 and a picture turned by 90 degrees, in boxes that the parser misreads or does not
// know.
TrackDescription wide_track() {
  const Bytes hvcc =
      numbers("1146121111211", {1, 0x21, 0x60000000, 0, 93, 0xF000, 0xFC, 0xFD, 0xFA, 0xF8, 0, 15, 0});
  const Bytes colr = concat({bytes_of("nclx"), numbers("2221", {1, 13, 6, 0x80})});
  Bytes header = tkhd(
      {.version = 1, .creation_time = 3792009600, .track_id = 2, .layer = 7, .width = 320, .height = 180});
  const Bytes turned = numbers("44444", {0, 0x10000, 0, 0xFFFF0000, 0});
  std::copy(turned.begin(), turned.end(), header.end() - 44);
  TrackDescription track =
      with_entry(avc_track(1), video_entry("hvc1", 320, 180, concat({box("hvcC", hvcc), box("colr", colr)})));
  track.replaced = {{"tkhd", header}, {"edts", box("edts", elst({{1ULL << 33, -1}, {40, 0}}, 1))}};
  return track;
}

TEST_F(ZdrInspection, ShowsTagsBoxesAndWhatIsLeftOut) {
  // The tag is larger than what precedes its box, so it is read at its own place or not at all.
  const Bytes title = concat({v23_frame("TIT2", bytes_of(std::string("\0id title", 9))), Bytes(4000, 0)});
  add("all.3gp", concat({full_user_data(), asset("dscp", utf16("wide"))}),
      full_box("meta", 0, 0, id32(0x55C4, id3v2(3, 0, title))));
  add("cursor.3gp", asset("titl", "\x1B[2Jgone\x7F\xC2\x85"));
  add("cover.mp4", item_list_meta({item("covr", "\xFF\xD8\xFF" + std::string(5000, 'j'))}));
  add("plain.mp4", Bytes{});
  add("damaged.mp4", concat({asset("titl", "kept"), header(5, "dscp")}));
  add("long-text.mp4", asset("titl", std::string(1000000, '\xE9')));
  TrackDescription dropped = amr_track(2);
  dropped.appended["stbl"] = box("stdp");
  const Bytes replaced =
      box("udta", concat({asset("titl", "old"), asset("titl", utf16("new")), asset("albm", utf16("no track")),
                          item_list_meta({item("gnre", "\x01"), item("cpil", "\x01")})}));
  add("dropped.mp4", {.tracks = {dropped}, .moov_children = replaced});
  Bytes free_boxes;
  for (int i = 0; i < 100005; ++i) free_boxes.insert(free_boxes.end(), {0, 0, 0, 8, 'f', 'r', 'e', 'e'});
  add("many-boxes.mp4", MovieDescription{.before_moov = free_boxes});
  add("many-edits.mp4", with_edits(amr_track(1), std::vector<Edit>(100003)));
  add("edit.mp4", {.tracks = {with_edits(amr_track(2), {{1, 80}})}, .movie_time_scale = 600});
  add("half.mp4", {.tracks = {amr_track(20), with_entry(avc_track(3), video_entry("hev1", 176, 144))}});
  int number = 10;
  for (const MovieDescription& movie : movies_with_notes()) {
    add("note" + std::to_string(number++) + ".mp4", movie);
  }
  add("wide.mp4", {.tracks = {amr_track(2), wide_track()}});
  add("headless.mp4", {.tracks = {avc_track(1), with_header(amr_track(1), Bytes{})}});
  // Explicit SBR and PS; then backward compatible signalling, at twice the core rate and at the core rate.
  // The first unit is empty: a unit may show PS too.
  // Tables that are larger than the caches of the filter.
  TrackDescription long_video = avc_track(3000);
  for (uint32_t sync = 1; sync <= 3000; sync += 50) long_video.sync_samples.push_back(sync);
  add("long.mp4", {.tracks = {long_video, amr_track(15000)}});
  add("quicktime.mp4", {.tracks = {amr_track(20)}, .moov_children = box("meta", box("hdlr", Bytes(24)))});
  add("aac-sbr.mp4", with_configuration({0x2B, 0x8A, 0x08, 0x00}));
  add("aac-ps.mp4", with_configuration({0xEB, 0x8A, 0x08, 0x00}));
  add("aac-twice.mp4", with_configuration({0x13, 0x88, 0x56, 0xE5, 0xA0}));
  add("aac-same.mp4", with_configuration({0x13, 0x88, 0x56, 0xE5, 0xB8}));
  expect_transcript("inspection", folder_);
}

// 2000 chunks of one sample of 96 bytes, alternating between two offsets whose samples overlap: consecutive
// chunks at the same offset would be read as one.
TrackDescription overlapping_track() {
  TrackDescription track = amr_track(1, 97);
  const uint64_t place =
      build_movie(MovieDescription{.tracks = {track}, .moov_first = false}).sample_offsets[0][0];
  std::vector<uint64_t> places(2000, place);
  for (size_t i = 0; i < places.size(); i += 2) ++places[i];
  track.replaced = {{"mdhd", mdhd({.time_scale = track.time_scale, .duration = 2000 * 160})},
                    {"stts", stts({{2000, 160}})},
                    {"stsz", stsz(std::vector<uint32_t>(2000, 96))},
                    {"stsc", stsc({{1, 1}})},
                    {"stco", stco(places)}};
  return track;
}

TEST_F(ZdrLosses, AreReported) {
  add("overlap.mp4", {.tracks = {overlapping_track()}, .moov_first = false});
  // Twenty frames of 160 units, after an empty edit longer than ten of them.
  add("shifted.mp4", with_edits(amr_track(20), {{1700, -1}, {2000, 0}}));
  // The end of its only chunk would be 16 in 64 bits. Its data is in the file itself, in spite of a location.
  TrackDescription beyond = amr_track(3);
  beyond.samples_per_chunk = {3};
  beyond.replaced = {{"stco", co64({0xFFFFFFFFFFFFFFF0})}, {"dinf", box("dinf", dref({url(true, {'a'})}))}};
  add("beyond.mp4", beyond);
  // The filter offers no media type for more than two channels.
  add("surround.mp4", {.tracks = {with_configuration({0x12, 0x30}, 6), avc_track(3, 21)}});
  TrackDescription contradictory = amr_track(3);
  contradictory.replaced = {{"dinf", box("dinf", dref({box("alis", Bytes(20, 0))}))},
                            {"stts", stts({{3, 0}})},
                            {"stsz", full_box("stsz", 0, 0, numbers("44444", {32, 3, 32, 32, 32}))}};
  add("contradictory.mp4", {.tracks = {contradictory}, .moov_children = box("hide", tkhd({.track_id = 9}))});
  expect_transcript("losses", folder_);
}

}  // namespace
}  // namespace zdr::test
