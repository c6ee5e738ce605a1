// User data: the asset boxes of the movie, which damage there is tolerated, and the location of an ID3v2 tag;
// SDP and statistics of a track.
#include <gtest/gtest.h>

#include <cstring>

#include "mediakit/boxes/movie_builder.h"
#include "tests/p3gpp/metadata/tagged_movie.h"

namespace zdr::test {
namespace {

TEST(AssetBoxes, KeptIncompleteBoxesHaveTheirCompleteFields) {
  const std::string place = utf8("here") + "\x02LONGLAT ALTI" + utf8("moon") + "note";
  const auto wide = [](std::string_view text) { return utf16(text).substr(0, 2 + 2 * text.size()); };
  const auto truncated_location = [&](size_t size) { return asset("loci", place.substr(0, size)); };
  const std::vector<std::tuple<const char*, Bytes, std::string>> cases = {
      {"album without a track number", asset("albm", utf8("Title")), "albm=Title|0"},
      {"album without a title", albm("", 9), "albm=|9"},
      {"more keywords claimed than there are", kywd({"one", "two"}, 200), "kywd=200|one|two"},
      {"keyword past the box", asset("kywd", "\x02\x03one\x04two"), "kywd=2|one"},
      {"no keywords", asset("kywd", "\x02"), "kywd=2"},
      {"an empty keyword", kywd({"one", "", "two"}), "kywd=3|one||two"},
      {"location cut in its name", truncated_location(2), "loci=he|0|0|0|0||"},
      {"location cut in its longitude", truncated_location(9), "loci=here|2|0|0|0||"},
      {"location cut in its altitude", truncated_location(17), "loci=here|2|1280265799|1279349792|0||"},
      {"location cut in its body", truncated_location(20),
       "loci=here|2|1280265799|1279349792|1095521353|mo|"},
      {"place in UTF-16", loci({utf16("home"), 1, 2, 3, 4, utf16("earth"), utf16("notes")}),
       "loci=" + wide("home") + "|1|2|3|4|" + wide("earth") + "|" + wide("notes")},
      {"notes without a terminator", truncated_location(99),
       "loci=here|2|1280265799|1279349792|1095521353|moon|note"},
      {"wide name without its whole NUL takes the rest", asset("loci", "\xFE\xFF" + std::string(15, '\x01')),
       "loci=\xFE\xFF" + std::string(15, '\x01') + "|0|0|0|0||"},
      {"later ones replace, unknown ones and items outside of a list are skipped",
       concat({asset("titl", "old"), box("abcd", Bytes(5)), box("\251nam", Bytes(9)), asset("titl", "new"),
               asset("auth", "me")}),
       "titl=new, auth=me"},
      {"later lists replace item by item",
       concat({item_list_meta({item("desc", "old"), item("aART", "band")}), asset("titl", "t"),
               item_meta(concat({box("free", Bytes(3)), box("ilst", item("desc", "new")), box("ilst")}))}),
       "titl=t, desc=new, aART=band"},
  };
  for (const auto& [name, children, tags] : cases)
    EXPECT_EQ(all_tags(OpenedMovie(with_user_data(children))), tags) << name;

  // A second udta replaces all of the first.
  const Bytes first = box("udta", concat({asset("titl", "t"), item_list_meta({item("desc", "d")})}));
  const Bytes both = box("moov", {first, box("udta", asset("auth", "me"))});
  EXPECT_EQ(all_tags(OpenedMovie(both)), "auth=me");
}

// User data often ends with a terminator of four zero bytes or with a truncated box. Neither ends the movie
// box.
TEST(UserData, KeptTailThatHoldsNoWholeBoxIsSkipped) {
  const auto open = [](const Bytes& tail) {
    const Bytes udta = box("udta", concat({asset("titl", "here"), tail}));
    const OpenedMovie movie(box("moov", {udta, mvhd({.time_scale = 4711})}));
    P3gppMovieInfo info{};
    P3GPP_GetMovieInfo(movie.file, &info);
    const bool is_whole = movie.error.status == P3GPP_OK && info.time_scale == 4711;  // all is read
    return is_whole ? all_tags(movie) : std::to_string(movie.status);
  };
  for (size_t tail = 0; tail < 8; ++tail) EXPECT_EQ(open(Bytes(tail)), "titl=here") << tail;
  EXPECT_EQ(open(header(9, "free")), "titl=here");
  EXPECT_EQ(open(concat({header(0xFFFFFFFF, "titl"), Bytes(20)})), "titl=here");
  EXPECT_EQ(open(Bytes(8)), "-7017") << "size 0";
  EXPECT_EQ(open(header(7, "free")), "-7017");
  const Bytes later_error = box("moov", {box("udta", Bytes(4)), header(4, "trak")});
  EXPECT_EQ(OpenedMovie(later_error).status, P3GPP_ERR_BOX_SIZE);
}

TEST(UserData, KeptQuickTimeFormOfMetaFailsTheOpen) {
  const Bytes quicktime = box("meta", concat({hdlr("mdta"), box("ilst")}));
  EXPECT_EQ(OpenedMovie(box("moov", {mvhd(), quicktime})).status, P3GPP_ERR_BOX_SIZE);
  EXPECT_EQ(OpenedMovie(with_user_data(quicktime)).status, P3GPP_ERR_GENERIC);
}

TEST(Id3Box, KeptLanguageIsRawAndTheTagIsLocatedButNotRead) {
  const auto with_meta = [](const Bytes& children) {
    return box("moov", {mvhd(), full_box("meta", 0, 0, concat({hdlr("ID32"), children}))});
  };
  const Bytes tag = {'I', 'D', '3', 4, 0, 0, 0, 0, 0, 0};
  const Bytes file = with_meta(concat({id32(1, Bytes(3)), box("xml "), id32(0xD5C4, tag)}));
  P3gppId3Location location{};
  ASSERT_EQ(P3GPP_GetId3Location(OpenedMovie(file).file, &location), P3GPP_OK);
  EXPECT_EQ(location.language[0], 0xD5) << "raw, from the later of two";
  EXPECT_EQ(location.size, tag.size());
  EXPECT_TRUE(
      std::equal(tag.begin(), tag.end(), file.begin() + static_cast<std::ptrdiff_t>(location.offset)));

  EXPECT_EQ(P3GPP_GetId3Location(OpenedMovie(with_meta({})).file, &location), P3GPP_ERR_NO_TAG);
  EXPECT_EQ(location.size, 0u);
  for (const Bytes& bad : {box("ID32", Bytes(5)), header(7, "free"), header(90, "free"), Bytes(4)}) {
    EXPECT_EQ(OpenedMovie(concat({with_meta(bad), Bytes(64)})).status, P3GPP_ERR_BOX_SIZE);
  }
  EXPECT_EQ(OpenedMovie(box("moov", box("meta", Bytes(3)))).status, P3GPP_ERR_BOX_SIZE);
}

TEST(Tags, HaveTheirPlaceInTheFileAndFailureClearsTheWholeRecord) {
  const Bytes file = with_user_data(asset("titl", "text", kEnglish | 0x8000));
  const OpenedMovie movie(file);
  P3gppTag tag;
  ASSERT_EQ(P3GPP_GetTag(movie.file, P3GPP_TAG_TITLE, &tag), P3GPP_OK);
  EXPECT_EQ(tag.language, kEnglish) << "without its pad bit";
  EXPECT_EQ(tag.size, load_be32(file, static_cast<size_t>(tag.offset)));
  std::memset(&tag, 0xAA, sizeof tag);
  EXPECT_EQ(P3GPP_GetTag(movie.file, P3GPP_TAG_AUTHOR, &tag), P3GPP_ERR_NO_TAG);
  EXPECT_EQ(tag.u.location.notes.bytes, nullptr);
}

// --- Of a track ---

TrackDescription with_track_data(const Bytes& udta_children) {
  TrackDescription track = amr_track(3);
  track.appended["trak"] = box("udta", udta_children);
  return track;
}

struct Hint {
  explicit Hint(const Bytes& udta_children, uint32_t track_id = 1)
      : movie(build_movie(with_track_data(udta_children)).bytes),
        status(P3GPP_GetHintInfo(movie.file, track_id, &info)) {}
  P3gppHintInfo info{};
  OpenedMovie movie;
  int32_t status;
};

TEST(HintBoxes, LongerNumbersAreTruncatedAndLaterBoxesReplaceEarlierOnes) {
  const uint64_t wide = 0x0102030405060708;
  const Bytes later =
      box("hinf", {box("maxr", Bytes(8)), box("abcd", Bytes(3)), box("pmax", numbers("8", {wide})),
                   box("maxr", numbers("44", {1000, 70000}))});
  const Hint hint(concat({full_hinf(), hnti("old"), later, hnti("new")}));
  EXPECT_EQ(hint.info.value[P3GPP_HINT_PMAX], wide >> 32);
  EXPECT_EQ(hint.info.max_rate_bytes, 70000u);
  EXPECT_EQ(hint.info.present, 1u << P3GPP_HINT_PMAX | 1u << P3GPP_HINT_MAXR);
  EXPECT_EQ(text_of(hint.info.sdp), "new");
}

TEST(HintBoxes, KeptDamageFailsTheTrack) {
  const std::vector<std::tuple<const char*, Bytes, int32_t>> cases = {
      {"terminator of 4 bytes", concat({hnti("s"), Bytes(4)}), P3GPP_OK},
      {"tail of 7 bytes", Bytes(7), P3GPP_OK},
      {"child past the end", header(9, "free"), P3GPP_ERR_BOX_SIZE},
      {"tail inside hnti", box("hnti", Bytes(4)), P3GPP_ERR_BOX_SIZE},
      {"sdp past its box", box("hnti", header(90, "sdp ")), P3GPP_ERR_BOX_SIZE},
      {"empty sdp and payt", concat({hnti(""), box("hinf", box("payt"))}), P3GPP_OK},
      {"size 7 inside hinf", box("hinf", header(7, "totl")), P3GPP_ERR_BOX_SIZE},
  };
  for (const auto& [name, children, status] : cases) EXPECT_EQ(Hint(children).movie.status, status) << name;
  EXPECT_EQ(Hint(concat({box("hnti"), box("hinf")})).status, P3GPP_ERR_NO_TAG);
  EXPECT_EQ(Hint(hnti("s"), 2).status, P3GPP_ERR_NO_TRACK);

  // A damaged track after a sound one ends the movie box without failing the open.
  const TrackDescription bad = with_track_data(box("hinf", box("totl", Bytes(3))));
  const OpenedMovie later(build_movie({.tracks = {amr_track(2), bad, amr_track(1)},
                                       .moov_children = box("udta", asset("titl", "t"))})
                              .bytes);
  EXPECT_EQ(later.status, P3GPP_OK);
  EXPECT_TRUE(all_tags(later).empty());
  EXPECT_STREQ(later.error.path, "moov/trak[2]/udta/hinf/totl");
}

}  // namespace
}  // namespace zdr::test
