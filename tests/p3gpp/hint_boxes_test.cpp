// SDP and statistics in the user data of a track.
#include "p3gpp/hint_boxes.h"

#include <gtest/gtest.h>

#include "tagged_movie.h"
#include "tests/support/movie_builder.h"

namespace zdr::test {
namespace {

Bytes with_track_data(const Bytes& udta_children) {
  TrackDescription track = amr_track(3);
  track.appended["trak"] = box("udta", udta_children);
  return build_movie(track).bytes;
}

struct Hint {
  explicit Hint(const Bytes& file, uint32_t track_id = 1)
      : movie(file), status(P3GPP_GetHintInfo(movie.file, track_id, &info)) {}
  P3gppHintInfo info{};
  OpenedMovie movie;
  int32_t status;
};

TEST(HintBoxes, AllStatisticsAndTheSessionDescription) {
  const std::string sdp(120, 's');
  const Hint hint(with_track_data(concat({full_hinf(), hnti(sdp), box("name", Bytes(4))})));
  ASSERT_EQ(hint.status, P3GPP_OK);
  EXPECT_EQ(text_of(hint.info.sdp), sdp);
  EXPECT_EQ(hint.info.present, (1u << P3GPP_HINT_COUNT) - 1);
  for (uint32_t i = 0; i < P3GPP_HINT_PAYT; ++i) EXPECT_EQ(hint.info.value[i], i + 1) << i;
  EXPECT_EQ(hint.info.max_rate_bytes, 700u);
  EXPECT_EQ(text_of(hint.info.payload_type), std::string("\0\0\0\x60\x08H263/90k", 13));
}

TEST(HintBoxes, NumbersHaveTheirWidthAndLaterOnesCount) {
  const uint64_t wide = 0x0102030405060708;
  const Bytes maxr_1 = box("maxr", Fields().u32(1).u32(2).bytes);
  const Bytes maxr_2 = box("maxr", Fields().u32(1000).u32(70000).bytes);
  const Hint hint(with_track_data(box("hinf", {maxr_1, statistic("dmed", wide, 8), box("abcd", Bytes(3)),
                                               box("pmax", Fields().u64(wide).bytes), maxr_2})));
  EXPECT_EQ(hint.info.value[P3GPP_HINT_DMED], wide);
  EXPECT_EQ(hint.info.value[P3GPP_HINT_PMAX], wide >> 32) << "the rest of a longer box is skipped";
  EXPECT_EQ(hint.info.value[P3GPP_HINT_MAXR], 1000u);
  EXPECT_EQ(hint.info.max_rate_bytes, 70000u);
  EXPECT_EQ(hint.info.present, 1u << P3GPP_HINT_DMED | 1u << P3GPP_HINT_PMAX | 1u << P3GPP_HINT_MAXR);
}

TEST(HintBoxes, DamageFailsTheTrack) {
  struct Case {
    const char* name;
    Bytes children;
    int32_t status;
  };
  std::vector<Case> cases = {
      {"empty", {}, P3GPP_OK},
      {"terminator of 4 bytes", concat({hnti("s"), Bytes(4)}), P3GPP_OK},
      {"tail of 7 bytes", Bytes(7), P3GPP_OK},
      {"size 7", header(7, "free"), P3GPP_ERR_BOX_SIZE},
      {"child past the end", header(9, "free"), P3GPP_ERR_BOX_SIZE},
      {"tail inside hnti", box("hnti", Bytes(4)), P3GPP_ERR_BOX_SIZE},
      {"sdp past its box", box("hnti", header(90, "sdp ")), P3GPP_ERR_BOX_SIZE},
      {"empty sdp and payt", concat({hnti(""), box("hinf", box("payt"))}), P3GPP_OK},
      {"size 7 inside hinf", box("hinf", header(7, "totl")), P3GPP_ERR_BOX_SIZE},
  };
  for (const char* type : {"totl", "npck", "tpay", "tmin", "tmax", "pmax", "dmax"}) {
    cases.push_back({type, box("hinf", box(type, Bytes(3))), P3GPP_ERR_BOX_SIZE});
  }
  for (const char* type : {"trpy", "nump", "tpyl", "dmed", "dimm", "drep", "maxr"}) {
    cases.push_back({type, box("hinf", box(type, Bytes(7))), P3GPP_ERR_BOX_SIZE});
  }
  for (const Case& each : cases) {
    const Hint hint(with_track_data(each.children));
    EXPECT_EQ(hint.movie.status, each.status) << each.name;
  }
  for (const char* type : {"hnti", "hinf"}) {
    const Bytes inner = box(type, box(*type == 'h' && type[1] == 'n' ? "sdp " : "totl", Bytes(4)));
    const Bytes file = box("moov", box("trak", box("udta", inner)));
    for (size_t cut = 1; cut <= 12; ++cut) {
      EXPECT_EQ(OpenedMovie(Bytes(file.begin(), file.end() - static_cast<int64_t>(cut))).status,
                P3GPP_ERR_READ);
    }
  }
}

// A track that fails behind a sound one takes the rest of the movie box with it, not the open.
TEST(HintBoxes, DamageInALaterTrackLeavesTheEarlierOnes) {
  TrackDescription bad = amr_track(3);
  bad.appended["trak"] = box("udta", box("hinf", box("totl", Bytes(3))));
  const OpenedMovie movie(build_movie({.tracks = {amr_track(2), bad, amr_track(1)},
                                       .moov_children = box("udta", asset("titl", "t"))})
                              .bytes);
  ASSERT_EQ(movie.status, P3GPP_OK);
  EXPECT_EQ(movie.track_count(), 1u);
  EXPECT_EQ(tag_text(movie, P3GPP_TAG_TITLE), "-");
  EXPECT_STREQ(movie.error.path, "moov/trak[2]/udta/hinf/totl");
}

TEST(HintBoxes, LaterOnesReplaceEarlierOnes) {
  const Hint hint(
      with_track_data(concat({full_hinf(), hnti("old"), box("hinf", statistic("totl", 5, 4)), hnti("new")})));
  EXPECT_EQ(text_of(hint.info.sdp), "new");
  EXPECT_EQ(hint.info.present, 1u << P3GPP_HINT_TOTL);
}

TEST(HintBoxes, TracksWithoutThemSaySo) {
  P3gppHintInfo info{};
  EXPECT_EQ(Hint(build_movie(amr_track(1)).bytes).status, P3GPP_ERR_NO_TAG);
  EXPECT_EQ(Hint(with_track_data(concat({box("hnti"), box("hinf")}))).status, P3GPP_ERR_NO_TAG);
  const Hint other(with_track_data(hnti("s")), 2);
  EXPECT_EQ(other.status, P3GPP_ERR_NO_TRACK);
  EXPECT_EQ(P3GPP_GetHintInfo(nullptr, 1, &info), P3GPP_ERR_BAD_ARGUMENT);
  EXPECT_EQ(P3GPP_GetHintInfo(other.movie.file, 1, nullptr), P3GPP_ERR_BAD_ARGUMENT);
}

}  // namespace
}  // namespace zdr::test
