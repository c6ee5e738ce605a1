// The fields of the small boxes, by version, and the box sizes that the parsers refuse.
#include <gtest/gtest.h>

#include "mediakit/boxes/metadata_builder.h"
#include "mediakit/boxes/movie_builder.h"
#include "tests/p3gpp/shown_boxes.h"

namespace zdr::test {
namespace {

using Containers = std::vector<const char*>;

Bytes inside(const Containers& containers, Bytes leaf) {
  for (auto type = containers.rbegin(); type != containers.rend(); ++type) leaf = box(*type, leaf);
  return leaf;
}

// The fields of the only leaf box of a file, or the status if the file does not open.
std::string fields_of(const Containers& containers, const Bytes& leaf) {
  const OpenedMovie movie(inside(containers, leaf));
  return movie.status == P3GPP_OK ? boxes_of(movie).boxes.back().fields : std::to_string(movie.status);
}

const Containers kTrak = {"moov", "trak"};
const Containers kMdia = {"moov", "trak", "mdia"};
const Containers kMinf = {"moov", "trak", "mdia", "minf"};
const Containers kUdta = {"moov", "udta"};
const Containers kHinf = {"moov", "trak", "udta", "hinf"};
const Containers kEdts = {"moov", "trak", "edts"};
const Containers kDref = {"moov", "trak", "mdia", "minf", "dinf"};

TEST(LeafBoxes, KeptFieldsByVersion) {
  const uint64_t wide = 0x0000000511112222;  // 21761172002
  const std::vector<Edit> edits = {{.segment_duration = 1000, .media_time = -1},
                                   {.segment_duration = 9000, .media_time = 5}};
  const Containers moov = {"moov"};
  const std::string wide_times = "creation_time=21761172002 modification_time=21761172003 ";
  const std::vector<std::tuple<const char*, Containers, Bytes, std::string>> cases = {
      {"mvhd", moov, mvhd({0, 1, 2, 600, 3, 0x8000, 0x80}),
       "creation_time=1 modification_time=2 time_scale=600 duration=3 rate=32768 volume=32768"},
      {"mvhd of version 1", moov, mvhd({1, wide, wide + 1, 600, wide + 2, 0x8000, 0x80}),
       wide_times + "time_scale=600 duration=21761172004 rate=32768 volume=32768"},
      {"mdhd", kMdia, mdhd({0, 1, 2, 8000, 3, 0x15C7}),
       "creation_time=1 modification_time=2 time_scale=8000 duration=3 language=5575"},
      {"mdhd of version 1", kMdia, mdhd({1, wide, wide + 1, 8000, wide + 2, 0x15C7}),
       wide_times + "time_scale=8000 duration=21761172004 language=5575"},
      {"tkhd", kTrak, tkhd({0, 1, 2, 42, 3, 7, 8, 0x300, 176, 144}),
       "creation_time=1 modification_time=2 track_id=42 duration=3 layer=7 alternate_group=8 volume=196608 "
       "width=176 height=144"},
      // The last fields are read 8 bytes too early, from reserved words and the end of the matrix.
      {"tkhd of version 1", kTrak, tkhd({1, wide, wide + 1, 42, wide + 2, 7, 8, 0x300, 176, 144}),
       wide_times +
           "track_id=42 duration=21761172004 layer=0 alternate_group=0 volume=0 width=0 height=16384"},
      {"hdlr", kMdia, hdlr("vide", "any name"), "handler_type=vide"},
      {"hmhd", kMinf, hmhd(1500, 700, 64000, 48000),
       "max_pdu_size=1500 average_pdu_size=700 max_bitrate=64000 average_bitrate=48000"},
      {"hmhd of 32 bytes", kMinf, full_box("hmhd", 0, 0, Bytes(20)), "-7017"},
      {"hmhd of 24 bytes", kMinf, full_box("hmhd", 0, 0, Bytes(12)), "-7017"},
      {"elst", kEdts, elst(edits, 0),
       "entry_count=2 [1] segment_duration=1000 media_time=-1 media_rate=65536 [2] segment_duration=9000 "
       "media_time=5 media_rate=65536"},
      // Entries are read as 12 bytes in version 1 too.
      {"elst of version 1", kEdts, elst(edits, 1),
       "entry_count=2 [1] segment_duration=0 media_time=1000 media_rate=4294967295 [2] "
       "segment_duration=4294967295 media_time=65536 media_rate=0"},
      {"tref", kTrak, box("tref", Bytes{1, 2, 3}), "references=010203"},
      {"empty tref", kTrak, box("tref"), "references="},
      {"iods", moov, full_box("iods", 0, 0, {9, 8}), "object_descriptor=0908"},
      {"iods without bytes is not stored", moov, full_box("iods", 0, 0), ""},
      {"dref, the last of three of five", kDref,
       dref({url(true), url(false, {'a'}), box("abcd"), urn(false, {'u', 0, 'l', 0}), urn(true, {'x'})}, 3),
       "self_contained=0 name=7500 location=6c00"},
      {"url  elsewhere", kDref, dref({url(false, {'a', 'b'})}), "self_contained=0 location=6162"},
      {"url  of 11 bytes", kDref, dref({box("url ", Bytes(3))}), "-7017"},
      {"dref of 12 bytes", kDref, box("dref", Bytes(4)), "-7017"},
      {"urn  without a location", kDref, dref({urn(true, {'x'})}), "self_contained=1 name=78 location="},
  };
  for (const auto& [name, containers, leaf, fields] : cases)
    EXPECT_EQ(fields_of(containers, leaf), fields) << name;
}

TEST(LeafBoxes, KeptFirstWordOfATimeIsTheHighHalfOf64Bits) {
  const auto durations = [](uint32_t version, uint64_t time) {
    TrackDescription track = amr_track(1);
    track.replaced["tkhd"] =
        tkhd({.version = version, .creation_time = time, .track_id = 1, .duration = time + 1});
    track.replaced["mdhd"] = mdhd({.version = version, .duration = time + 2});
    const Bytes movie_header = mvhd({.version = version, .creation_time = time, .duration = time + 3});
    const OpenedMovie movie(build_movie({.tracks = {track}, .moov_children = movie_header}).bytes);
    P3gppMovieInfo info{};
    P3gppTrackInfo* track_info = nullptr;
    EXPECT_EQ(P3GPP_GetMovieInfo(movie.file, &info), P3GPP_OK);
    EXPECT_EQ(P3GPP_GetTrackInfo(movie.file, 1, &track_info), P3GPP_OK);
    const std::vector<uint32_t> found = {track_info->creation_time, track_info->track_duration,
                                         track_info->media_duration, info.creation_time, info.duration};
    track_info->release(track_info);
    return found;
  };
  EXPECT_EQ(durations(0, 70), (std::vector<uint32_t>{70, 71, 72, 70, 73}));
  EXPECT_EQ(durations(1, 0x500000046), (std::vector<uint32_t>(5, 5)));
}

TEST(LeafBoxes, RefuseSizesTooSmallForTheirFields) {
  struct Case {
    const char* name;
    Containers containers;
    Bytes whole;      // parses
    uint32_t needed;  // smallest size that parses
  };
  const Containers moov = {"moov"};
  std::vector<Case> cases = {
      {"mvhd", moov, mvhd(), 34},
      {"mvhd v1", moov, mvhd({.version = 1}), 46},
      {"tkhd", kTrak, tkhd(), 90},
      {"tkhd v1", kTrak, tkhd({.version = 1}), 94},
      {"mdhd", kMdia, mdhd(), 30},
      {"mdhd v1", kMdia, mdhd({.version = 1}), 42},
      {"hdlr", kMdia, hdlr("vide"), 20},
      {"iods", moov, full_box("iods", 0, 0, {1}), 12},
      {"elst", kEdts, elst({{}, {}}), 40},
      {"titl", kUdta, asset("titl", "text"), 14},
      {"rtng", kUdta, rtng("ABCD", "EFGH", "text"), 22},
      {"clsf", kUdta, clsf(1, 2, "text"), 20},
      {"kywd", kUdta, kywd({"one"}), 15},
      {"loci", kUdta, asset("loci", "name"), 15},
      {"albm", kUdta, albm("title", 1), 15},
      {"yrrc", kUdta, yrrc(1999), 14},
      {"sdp ", {"moov", "trak", "udta", "hnti"}, box("sdp ", Bytes(4)), 8},
      {"maxr", kHinf, box("maxr", Bytes(8)), 16},
  };
  for (const char* type : {"totl", "npck", "tpay", "tmin", "tmax", "pmax", "dmax"}) {
    cases.push_back({type, kHinf, box(type, Bytes(4)), 12});
  }
  for (const char* type : {"trpy", "nump", "tpyl", "dmed", "dimm", "drep"}) {
    cases.push_back({type, kHinf, box(type, Bytes(8)), 16});
  }
  const std::string refused = std::to_string(P3GPP_ERR_BOX_SIZE);
  const std::string cut_off = std::to_string(P3GPP_ERR_READ);
  for (const Case& each : cases) {
    for (auto size = static_cast<uint32_t>(8); size <= each.whole.size(); ++size) {
      const Bytes cut = with_size(Bytes(each.whole.begin(), each.whole.begin() + size), size);
      const std::string found = fields_of(each.containers, cut);
      const bool is_refused = found == refused || (each.whole[4] == 'e' && found == cut_off);
      EXPECT_EQ(is_refused, size < each.needed) << each.name << ' ' << size << ": " << found;
    }
  }
}

TEST(LeafBoxes, EditCountsBeyondTheBoxFail) {
  for (const uint32_t count : {3u, 189u, 0x15555556u, 0xFFFFFFFFu}) {
    Bytes overlong = elst({{}, {}});
    store_be32(overlong, 12, count);
    EXPECT_EQ(fields_of(kEdts, overlong), std::to_string(P3GPP_ERR_READ)) << count;
  }
}

}  // namespace
}  // namespace zdr::test
