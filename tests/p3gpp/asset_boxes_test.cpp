// The asset boxes of the movie's user data, and how tolerant the user data is.
#include <gtest/gtest.h>

#include <cstring>

#include "tagged_movie.h"

namespace zdr::test {
namespace {

const uint16_t kEnglish = packed_language("eng");

TEST(AssetBoxes, KeepTheirTextsAsTheFileHasThem) {
  for (const bool wide : {false, true}) {
    const auto written = [&](std::string_view text) { return wide ? utf16(text) : utf8(text); };
    Fields all;
    for (const char* type : {"titl", "dscp", "cprt", "perf", "auth", "gnre"}) {
      all.append(asset(type, written(type), kEnglish | 0x8000));
    }
    all.append(rtng("MPAA", "PG13", written("rated"))).append(clsf(0x12345678, 9, written("class")));
    all.append(kywd({written("key"), "", written("word")}));
    all.append(loci({written("home"), 1, 0xFFFF8000, 0x00018000, 5, written("earth"), written("notes")}));
    all.append(albm(written("Album 7"), 7)).append(yrrc(1999));
    const OpenedMovie movie(with_user_data(all.bytes));
    ASSERT_EQ(movie.status, P3GPP_OK);

    const char* const types[] = {"titl", "dscp", "cprt", "perf", "auth", "gnre"};
    for (uint32_t code = P3GPP_TAG_TITLE; code <= P3GPP_TAG_GENRE; ++code) {
      const Tag tag(movie, code);
      EXPECT_EQ(tag.text(), written(types[code - 1]));
      EXPECT_STREQ(tag.fields.type, types[code - 1]);
      EXPECT_EQ(tag.fields.language, kEnglish) << "without its pad bit";
      EXPECT_EQ(tag.fields.size, 14 + written("titl").size());
    }
    const Tag rating(movie, P3GPP_TAG_RATING);
    EXPECT_STREQ(rating.fields.u.rating.entity, "MPAA");
    EXPECT_STREQ(rating.fields.u.rating.criteria, "PG13");
    EXPECT_EQ(rating.text(), written("rated"));
    const Tag classification(movie, P3GPP_TAG_CLASSIFICATION);
    EXPECT_EQ(classification.fields.u.classification.entity, 0x12345678u);
    EXPECT_EQ(classification.fields.u.classification.table_index, 9);
    EXPECT_EQ(classification.text(), written("class"));

    const Tag keywords(movie, P3GPP_TAG_KEYWORDS);
    ASSERT_EQ(keywords.fields.u.keywords.count, 3u);
    EXPECT_EQ(text_of(keywords.fields.u.keywords.list[0]), written("key"));
    EXPECT_EQ(text_of(keywords.fields.u.keywords.list[1]), "");
    EXPECT_EQ(text_of(keywords.fields.u.keywords.list[2]), written("word"));

    const Tag place(movie, P3GPP_TAG_LOCATION);
    const size_t nul = wide ? 2 : 1;
    const auto without_nul = [&](std::string_view text) {
      return written(text).substr(0, written(text).size() - nul);
    };
    EXPECT_EQ(place.text(), without_nul("home"));
    EXPECT_EQ(place.fields.u.location.role, 1);
    EXPECT_EQ(place.fields.u.location.longitude, 0xFFFF8000u);
    EXPECT_EQ(place.fields.u.location.latitude, 0x00018000u);
    EXPECT_EQ(place.fields.u.location.altitude, 5u);
    EXPECT_EQ(text_of(place.fields.u.location.astronomical_body), without_nul("earth"));
    EXPECT_EQ(text_of(place.fields.u.location.notes), without_nul("notes"));

    const Tag album(movie, P3GPP_TAG_ALBUM);
    EXPECT_EQ(album.text(), written("Album 7"));
    EXPECT_EQ(album.fields.u.album_track, 7);
    EXPECT_EQ(Tag(movie, P3GPP_TAG_YEAR).fields.u.year, 1999);
    EXPECT_EQ(Tag(movie, P3GPP_TAG_ITEM_NAME).status, P3GPP_ERR_NO_TAG);
  }
}

TEST(AssetBoxes, RequiredLastByteOfAnAlbumIsItsTrackNumber) {
  const OpenedMovie movie(with_user_data(asset("albm", utf8("Title"))));
  EXPECT_EQ(tag_text(movie, P3GPP_TAG_ALBUM), "Title") << "the title's own NUL is taken";
  EXPECT_EQ(Tag(movie, P3GPP_TAG_ALBUM).fields.u.album_track, 0);
  const OpenedMovie bare(with_user_data(albm("", 9)));
  EXPECT_EQ(tag_text(bare, P3GPP_TAG_ALBUM), "");
  EXPECT_EQ(Tag(bare, P3GPP_TAG_ALBUM).fields.u.album_track, 9);
}

TEST(AssetBoxes, SizesDecideWhatFitsAndWhatFailsTheOpen) {
  struct Case {
    const char* type;
    uint32_t needed;
  };
  for (const Case& each : {Case{"titl", 14}, Case{"rtng", 22}, Case{"clsf", 20}, Case{"kywd", 15},
                           Case{"loci", 15}, Case{"albm", 15}, Case{"yrrc", 14}}) {
    for (uint32_t size = 8; size < each.needed + 3; ++size) {
      const OpenedMovie movie(concat({with_user_data(box(each.type, Bytes(size - 8))), Bytes(64)}));
      EXPECT_EQ(movie.status, size < each.needed ? P3GPP_ERR_BOX_SIZE : P3GPP_OK) << each.type << ' ' << size;
    }
    // The file ends inside the box.
    const Bytes whole = with_user_data(box(each.type, Bytes(100)));
    EXPECT_EQ(OpenedMovie(Bytes(whole.begin(), whole.end() - 99)).status, P3GPP_ERR_READ) << each.type;
  }
}

TEST(AssetBoxes, KeywordsThatRunPastTheirBoxAreLeftOut) {
  const auto keywords = [](const Bytes& file) {
    const OpenedMovie movie(file);
    const Tag tag(movie, P3GPP_TAG_KEYWORDS);
    std::string all;
    for (uint32_t i = 0; i < tag.fields.u.keywords.count; ++i) {
      all += text_of(tag.fields.u.keywords.list[i]) + ",";
    }
    return all;
  };
  EXPECT_EQ(keywords(with_user_data(kywd({"one", "two"}, 200))), "one,two,");
  EXPECT_EQ(keywords(with_user_data(kywd({"one", "two"}, 1))), "one,");
  EXPECT_EQ(keywords(with_user_data(asset("kywd", "\x02\x03one\x04two"))), "one,");
  EXPECT_EQ(keywords(with_user_data(asset("kywd", "\x02"))), "");
}

TEST(AssetBoxes, LocationsKeepWhatIsWhole) {
  const std::string whole =
      utf8("here") + std::string("\x02\0\0\0\x09\0\0\0\x08\0\0\0\x07", 13) + utf8("moon") + "note";
  for (size_t size = 1; size <= whole.size(); ++size) {
    const OpenedMovie movie(with_user_data(asset("loci", whole.substr(0, size))));
    ASSERT_EQ(movie.status, P3GPP_OK) << size;
    const Tag tag(movie, P3GPP_TAG_LOCATION);
    EXPECT_EQ(tag.text(), whole.substr(0, std::min<size_t>(size, 4)));
    EXPECT_EQ(tag.fields.u.location.role, size >= 6 ? 2 : 0);
    EXPECT_EQ(tag.fields.u.location.longitude, size >= 10 ? 9u : 0u) << size;
    EXPECT_EQ(tag.fields.u.location.altitude, size >= 18 ? 7u : 0u) << size;
    EXPECT_EQ(text_of(tag.fields.u.location.notes), size > 23 ? whole.substr(23, size - 23) : "") << size;
  }
}

// A name in UTF-16 ends with a NUL of two bytes; one byte leaves the fields behind it to the name.
TEST(AssetBoxes, WideNameOfALocationTakesAllWithoutItsWholeNul) {
  const OpenedMovie movie(with_user_data(asset("loci", utf16("A").substr(0, 5) + std::string(12, '\x01'))));
  const Tag tag(movie, P3GPP_TAG_LOCATION);
  EXPECT_EQ(tag.text().size(), 17u);
  EXPECT_EQ(tag.fields.u.location.role, 0);
}

TEST(AssetBoxes, LaterOnesReplaceEarlierOnesAndUnknownOnesAreSkipped) {
  const Bytes file =
      with_user_data(concat({asset("titl", "old"), box("abcd", Bytes(5)), box("\251nam", Bytes(9)),
                             asset("titl", "new"), asset("auth", "me")}));
  const OpenedMovie movie(file);
  EXPECT_EQ(tag_text(movie, P3GPP_TAG_TITLE), "new");
  EXPECT_EQ(tag_text(movie, P3GPP_TAG_AUTHOR), "me");
  EXPECT_EQ(tag_text(movie, P3GPP_TAG_ITEM_NAME), "-") << "an item outside of the list is none";

  const Bytes first = box("udta", concat({asset("titl", "t"), item_list_meta({item("desc", "d")})}));
  const OpenedMovie twice(box("moov", {first, box("udta", asset("auth", "me"))}));
  EXPECT_EQ(tag_text(twice, P3GPP_TAG_AUTHOR), "me");
  EXPECT_EQ(tag_text(twice, P3GPP_TAG_TITLE), "-") << "a second udta replaces all of the first";
  EXPECT_EQ(tag_text(twice, P3GPP_TAG_ITEM_DESCRIPTION), "-");
}

// User data often ends in a terminator of four zero bytes, or in a box that was cut off. Neither ends the
// movie.
TEST(UserData, EndsQuietlyWhereNoBoxFits) {
  const Bytes title = asset("titl", "here");
  const auto open = [&](const Bytes& tail, const Bytes& behind = {}) {
    const Bytes udta = box("udta", concat({title, tail}));
    const OpenedMovie movie(box("moov", {udta, mvhd({.time_scale = 4711}), behind}));
    if (movie.status != P3GPP_OK) return movie.status;
    EXPECT_EQ(tag_text(movie, P3GPP_TAG_TITLE), "here");
    EXPECT_EQ(movie.error.status, P3GPP_OK) << "nothing to report";
    P3gppMovieInfo info{};
    EXPECT_EQ(P3GPP_GetMovieInfo(movie.file, &info), P3GPP_OK);
    EXPECT_EQ(info.time_scale, 4711u) << "the stream stands behind the user data";
    return movie.status;
  };
  for (size_t tail = 0; tail < 8; ++tail) EXPECT_EQ(open(Bytes(tail)), P3GPP_OK) << tail;
  EXPECT_EQ(open(header(9, "free")), P3GPP_OK);
  EXPECT_EQ(open(concat({header(0xFFFFFFFF, "titl"), Bytes(20)})), P3GPP_OK);
  EXPECT_EQ(open(Bytes(8)), P3GPP_ERR_BOX_SIZE) << "a size of 0 is none";
  EXPECT_EQ(open(header(7, "free")), P3GPP_ERR_BOX_SIZE);
  EXPECT_EQ(open(box("dscp", Bytes(3))), P3GPP_ERR_BOX_SIZE);
  EXPECT_EQ(open(Bytes(4), header(4, "trak")), P3GPP_ERR_BOX_SIZE) << "an error behind it still counts";
}

TEST(Id3Box, IsLocatedAndNotRead) {
  const auto with_meta = [](const Bytes& children) {
    return box("moov", {mvhd(), full_box("meta", 0, 0, concat({hdlr("ID32"), children}))});
  };
  const Bytes tag = {'I', 'D', '3', 4, 0, 0, 0, 0, 0, 0};
  const Bytes file = with_meta(concat({box("xml "), id32(0xD5C4, tag)}));
  const OpenedMovie movie(file);
  ASSERT_EQ(movie.status, P3GPP_OK);
  P3gppId3Location location{};
  ASSERT_EQ(P3GPP_GetId3Location(movie.file, &location), P3GPP_OK);
  EXPECT_EQ(location.language[0], 0xD5) << "raw";
  EXPECT_EQ(location.size, tag.size());
  EXPECT_TRUE(std::equal(tag.begin(), tag.end(), file.begin() + static_cast<int64_t>(location.offset)));

  EXPECT_EQ(P3GPP_GetId3Location(OpenedMovie(with_meta({})).file, &location), P3GPP_ERR_NO_TAG);
  EXPECT_EQ(location.size, 0u);
  const OpenedMovie twice(with_meta(concat({id32(1, tag), id32(2, Bytes(3))})));
  EXPECT_EQ(P3GPP_GetId3Location(twice.file, &location), P3GPP_OK);
  EXPECT_EQ(location.size, 3u);
  for (const Bytes& bad : {box("ID32", Bytes(5)), header(7, "free"), header(90, "free"), Bytes(4)}) {
    EXPECT_EQ(OpenedMovie(concat({with_meta(bad), Bytes(64)})).status, P3GPP_ERR_BOX_SIZE);
  }
  EXPECT_EQ(OpenedMovie(box("moov", box("meta", Bytes(3)))).status, P3GPP_ERR_BOX_SIZE);
}

// Required: without version and flags the first child is misread, here and under the user data.
TEST(UserData, RequiredQuickTimeFormOfMetaFailsTheOpen) {
  const Bytes quicktime = box("meta", concat({hdlr("mdta"), box("ilst")}));
  EXPECT_EQ(OpenedMovie(box("moov", {mvhd(), quicktime})).status, P3GPP_ERR_BOX_SIZE);
  EXPECT_EQ(OpenedMovie(with_user_data(quicktime)).status, P3GPP_ERR_GENERIC);
}

TEST(Tags, ArgumentsAreChecked) {
  const OpenedMovie movie(with_user_data(asset("titl", "t")));
  P3gppTag tag;
  std::memset(&tag, 0xAA, sizeof tag);
  EXPECT_EQ(P3GPP_GetTag(movie.file, P3GPP_TAG_AUTHOR, &tag), P3GPP_ERR_NO_TAG);
  EXPECT_EQ(tag.u.location.notes.bytes, nullptr) << "cleared to its end";
  EXPECT_EQ(tag.u.location.notes.length, 0u);
  EXPECT_EQ(P3GPP_GetTag(nullptr, 1, &tag), P3GPP_ERR_BAD_ARGUMENT);
  EXPECT_EQ(P3GPP_GetTag(movie.file, 1, nullptr), P3GPP_ERR_BAD_ARGUMENT);
  EXPECT_EQ(P3GPP_GetTag(movie.file, 0, &tag), P3GPP_ERR_BAD_ARGUMENT);
  EXPECT_EQ(P3GPP_GetTag(movie.file, P3GPP_TAG_COUNT + 1, &tag), P3GPP_ERR_BAD_ARGUMENT);
  EXPECT_EQ(P3GPP_GetId3Location(movie.file, nullptr), P3GPP_ERR_BAD_ARGUMENT);
  EXPECT_EQ(P3GPP_GetTag(OpenedMovie(box("moov")).file, 1, &tag), P3GPP_ERR_NO_TAG);
}

}  // namespace
}  // namespace zdr::test
