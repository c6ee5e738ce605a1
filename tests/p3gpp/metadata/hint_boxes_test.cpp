// SDP and statistics in the user data of a track.
#include <gtest/gtest.h>

#include "mediakit/boxes/movie_builder.h"
#include "tests/p3gpp/metadata/tagged_movie.h"

namespace zdr::test {
namespace {

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

TEST(HintBoxes, HaveAllStatisticsAndTheSessionDescription) {
  const std::string sdp(120, 's');
  const Hint hint(concat({full_hinf(), hnti(sdp), box("name", Bytes(4))}));
  ASSERT_EQ(hint.status, P3GPP_OK);
  EXPECT_EQ(text_of(hint.info.sdp), sdp);
  EXPECT_EQ(hint.info.present, (1u << P3GPP_HINT_COUNT) - 1);
  for (uint32_t i = 0; i < P3GPP_HINT_PAYT; ++i) EXPECT_EQ(hint.info.value[i], i + 1) << i;
  EXPECT_EQ(hint.info.max_rate_bytes, 700u);
  EXPECT_EQ(text_of(hint.info.payload_type), std::string("\0\0\0\x60\x08H263/90k", 13));
}

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
