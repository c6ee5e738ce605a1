// The fields of the small boxes, by version, and the box sizes that the parsers refuse.
#include <gtest/gtest.h>

#include "mediakit/boxes/metadata_builder.h"
#include "mediakit/boxes/movie_builder.h"
#include "tests/p3gpp/opened_movie.h"

namespace zdr::test {
namespace {

// The fields of the only leaf box of a file, after "v1 " if that is its version, or the status if the file
// does not open. `containers` is a row of types: "moovtrak".
std::string fields_of(const std::string& containers, Bytes leaf) {
  for (size_t end = containers.size(); end > 0; end -= 4) leaf = box(containers.substr(end - 4, 4), leaf);
  const OpenedMovie movie(leaf);
  if (movie.status != P3GPP_OK) return std::to_string(movie.status);
  const ShownBoxes::Box shown = boxes_of(movie).boxes.back();
  return (shown.header.version == 1 ? "v1 " : "") + shown.fields;
}

const std::string kTrak = "moovtrak";
const std::string kMdia = kTrak + "mdia";
const std::string kMinf = kMdia + "minf";
const std::string kHinf = kTrak + "udtahinf";

TEST(LeafBoxes, KeptFieldsByVersion) {
  const uint64_t wide = 0x0000000511112222;  // 21761172002
  const HeaderFields v0{0, 1, 2, 42, 8000, 3, 0x8000, 0x300, 0x15C7, 7, 8, 176, 144};
  const HeaderFields v1{1, wide, wide + 1, 42, 8000, wide + 2, 0x8000, 0x300, 0x15C7, 7, 8, 176, 144};
  const std::string v1_times = "v1 creation_time=21761172002 modification_time=21761172003 ";
  const std::vector<Edit> edits = {{.segment_duration = 1000, .media_time = -1},
                                   {.segment_duration = 9000, .media_time = 5}};
  // Name, containers, box, fields.
  const std::vector<std::tuple<const char*, std::string, Bytes, std::string>> cases = {
      {"mvhd of version 1", "moov", mvhd(v1),
       v1_times + "time_scale=8000 duration=21761172004 rate=32768 volume=196608"},
      {"mdhd of version 1", kMdia, mdhd(v1), v1_times + "time_scale=8000 duration=21761172004 language=5575"},
      {"tkhd", kTrak, tkhd(v0),
       "creation_time=1 modification_time=2 track_id=42 duration=3 layer=7 alternate_group=8 volume=196608 "
       "width=176 height=144"},
      // The last fields are read 8 bytes too early, from reserved words and the end of the matrix.
      {"tkhd of version 1", kTrak, tkhd(v1),
       v1_times + "track_id=42 duration=21761172004 layer=0 alternate_group=0 volume=0 width=0 height=16384"},
      {"hdlr", kMdia, hdlr("vide", "any name"), "handler_type=vide"},
      {"hmhd", kMinf, hmhd(1500, 700, 64000, 48000),
       "max_pdu_size=1500 average_pdu_size=700 max_bit_rate=64000 average_bit_rate=48000"},
      {"hmhd of 32 bytes", kMinf, full_box("hmhd", 0, 0, Bytes(20)), "-7017"},
      {"hmhd of 24 bytes", kMinf, full_box("hmhd", 0, 0, Bytes(12)), "-7017"},
      {"elst", kTrak + "edts", elst(edits, 0),
       "entry_count=2 [1] segment_duration=1000 media_time=-1 media_rate=65536 [2] segment_duration=9000 "
       "media_time=5 media_rate=65536"},
      // Entries are read as 12 bytes in version 1 too.
      {"elst of version 1", kTrak + "edts", elst(edits, 1),
       "v1 entry_count=2 [1] segment_duration=0 media_time=1000 media_rate=4294967295 [2] "
       "segment_duration=4294967295 media_time=65536 media_rate=0"},
      {"tref", kTrak, box("tref", Bytes{1, 2, 3}), "references=010203"},
      {"empty tref", kTrak, box("tref"), "references="},
      {"iods", "moov", full_box("iods", 1, 0, {9, 8}), "v1 object_descriptor=0908"},
      {"avcC", kMinf + "stbl",
       stsd({video_entry("avc1", 16, 16, box("avcC", Bytes{1, 100, 2, 30, 0xFF, 9}))}),
       "profile=100 profile_compatibility=2 level=30 nal_length_size=4 parameter_sets=09"},
      {"loci", "moovudta", loci({utf8("home"), 1, 2, 3, 4, utf8("moon"), utf8("old")}),
       "language=5575 name=home role=1 longitude=2 latitude=3 altitude=4 astronomical_body=moon "
       "additional_notes=old"},
      {"a text of the item list", "moovudta", item_list_meta({item("desc", "text")}), "value=text"},
      {"dvmr", kMinf + "stbl", stsd({audio_entry("svmr", 1, 8000, damr(1, 2, 3, 254, 9, "dvmr"))}),
       "vendor=1 decoder_version=2 mode_set=3 media_sampling_frequency=254 frames_per_sample=9"},
      {"iods without bytes is not stored", "moov", full_box("iods", 0, 0), ""},
      {"dref, the last of three of five", kMinf + "dinf",
       dref({url(true), url(false, {'a'}), box("abcd"), urn(false, {'u', 0, 'l', 0}), urn(true, {'x'})}, 3),
       "self_contained=0 name=7500 location=6c00"},
      {"url  elsewhere", kMinf + "dinf", dref({url(false, {'a', 'b'})}), "self_contained=0 location=6162"},
      {"url  of 11 bytes", kMinf + "dinf", dref({box("url ", Bytes(3))}), "-7017"},
      {"dref of 12 bytes", kMinf + "dinf", box("dref", Bytes(4)), "-7017"},
      {"urn  without a location", kMinf + "dinf", dref({urn(true, {'x'})}),
       "self_contained=1 name=78 location="},
  };
  for (const auto& [name, containers, leaf, fields] : cases)
    EXPECT_EQ(fields_of(containers, leaf), fields) << name;
}

TEST(LeafBoxes, KeptFirstWordOfATimeIsTheHighHalfOf64Bits) {
  // The records of the movie and its track, whose headers have these times.
  const auto records = [](uint32_t version, uint64_t time) {
    TrackDescription track = amr_track(10);
    track.handler = "meta";
    track.replaced["tkhd"] = tkhd({version, time, time + 1, 1, 0, time + 2});
    track.replaced["mdhd"] = mdhd({.version = version, .time_scale = 8000, .duration = time + 3});
    const Bytes movie_header = mvhd({version, time + 4, time + 5, 0, 600, time + 6});
    const OpenedMovie movie(build_movie({.tracks = {track}, .moov_children = movie_header}).bytes);
    P3gppMovieInfo m{};
    P3gppTrackInfo* t = nullptr;
    EXPECT_EQ(P3GPP_GetMovieInfo(movie.file, &m), P3GPP_OK);
    EXPECT_EQ(P3GPP_GetTrackInfo(movie.file, 1, &t), P3GPP_OK);
    const std::vector<uint32_t> found = {t->creation_time,  t->modification_time, t->track_duration,
                                         t->media_duration, m.creation_time,      m.modification_time,
                                         m.duration,        t->time_scale,        m.time_scale,
                                         t->sample_count,   t->track_type};
    t->release(t);
    return found;
  };
  EXPECT_EQ(records(0, 70),
            (std::vector<uint32_t>{70, 71, 72, 73, 74, 75, 76, 8000, 600, 10, P3GPP_TRACK_METADATA}));
  EXPECT_EQ(records(1, 0x500000046),
            (std::vector<uint32_t>{5, 5, 5, 5, 5, 5, 5, 8000, 600, 10, P3GPP_TRACK_METADATA}));
}

TEST(LeafBoxes, RefuseSizesTooSmallForTheirFields) {
  // Boxes that parse, by container, with the smallest sizes that parse.
  using Sizes = std::vector<std::pair<Bytes, uint32_t>>;
  std::map<std::string, Sizes> cases = {
      {"moov", {{mvhd(), 34}, {mvhd({.version = 1}), 46}, {full_box("iods", 0, 0, {1}), 12}}},
      {kTrak, {{tkhd(), 90}, {tkhd({.version = 1}), 94}}},
      {kMdia, {{mdhd(), 30}, {mdhd({.version = 1}), 42}, {hdlr("vide"), 20}}},
      {kTrak + "edts", {{elst({{}, {}}), 40}}},
      {kTrak + "udtahnti", {{box("sdp ", Bytes(4)), 8}}},
      {kHinf, {{box("maxr", Bytes(8)), 16}}},
      {"moovudta",
       {{asset("titl", "text"), 14},
        {rtng("ABCD", "EFGH", "text"), 22},
        {clsf(1, 2, "text"), 20},
        {kywd({"one"}), 15},
        {asset("loci", "name"), 15},
        {albm("title", 1), 15},
        {yrrc(1999), 14}}},
  };
  for (const char* type : {"totl", "npck", "tpay", "tmin", "tmax", "pmax", "dmax"})
    cases[kHinf].emplace_back(box(type, Bytes(4)), 12);
  for (const char* type : {"trpy", "nump", "tpyl", "dmed", "dimm", "drep"})
    cases[kHinf].emplace_back(box(type, Bytes(8)), 16);
  for (const auto& [containers, boxes] : cases) {
    for (const auto& [whole, needed] : boxes) {
      const std::string type = as_text(whole).substr(4, 4);
      for (uint32_t size = 8; size <= whole.size(); ++size) {
        const Bytes cut = with_size(Bytes(whole.begin(), whole.begin() + size), size);
        const std::string found = fields_of(containers, cut);
        const bool is_refused = found == "-7017" || (type == "elst" && found == "-7012");
        EXPECT_EQ(is_refused, size < needed) << type << ' ' << size << ": " << found;
      }
    }
  }
  for (const uint32_t count : {3u, 189u, 0x15555556u, 0xFFFFFFFFu}) {
    Bytes overlong = elst({{}, {}});
    store_be32(overlong, 12, count);
    EXPECT_EQ(fields_of(kTrak + "edts", overlong), "-7012") << count;
  }
}

}  // namespace
}  // namespace zdr::test
