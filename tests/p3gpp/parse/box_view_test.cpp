// The boxes that the parser shows: those of an open file, and each box during an open.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>

#include "mediakit/boxes/movie_builder.h"
#include "tests/p3gpp/metadata/tagged_movie.h"
#include "tests/p3gpp/shown_boxes.h"

namespace zdr::test {
namespace {

using testing::Contains;
using testing::ElementsAre;

TEST(BoxView, ShowsEveryStoredBoxOnceAtItsOffset) {
  TrackDescription track = avc_track(4);
  track.edits = {{.segment_duration = 500, .media_time = -1}};
  track.sample_entries.insert(track.sample_entries.begin(), plain_entry("abcd"));
  track.appended["trak"] = box("udta", concat({full_hinf(), hnti("v=0")}));
  const Bytes meta = full_box("meta", 0, 0, id32(0x55C4, {'I', 'D', '3'}));
  const Bytes file = build_movie({.tracks = {track, amr_track(2)},
                                  .before_moov = box("moof"),
                                  .moov_children = concat({box("udta", full_user_data()), meta})})
                         .bytes;
  const OpenedMovie movie(file);
  const ShownBoxes shown = boxes_of(movie);
  EXPECT_GT(shown.boxes.size(), 75u);
  std::set<std::string> paths;
  for (const ShownBoxes::Box& each : shown.boxes) {
    EXPECT_TRUE(paths.insert(each.path).second) << each.path;
    const auto at = file.begin() + static_cast<int64_t>(each.header.offset);
    EXPECT_EQ(load_be32(file, each.header.offset), each.header.size) << each.path;
    const bool is_named_by_content = each.path.ends_with("gnid");
    EXPECT_TRUE(is_named_by_content || std::string(at + 4, at + 8) == each.header.type) << each.path;
  }
  const std::string stbl = "moov/trak[1]/mdia/minf/stbl";
  const std::vector<std::pair<std::string, std::string>> expected = {
      {"moov/trak[1]/edts/elst", "entry_count=1 [1] segment_duration=500 media_time=-1 media_rate=65536"},
      {stbl + "/stsd", "entry_count=2"},
      {stbl + "/stsd/avc1[2]",
       "data_reference_index=1 width=176 height=144"},  // numbered by its position in the file
      {stbl + "/stsz", "default_size=0 sample_count=4"},
      {"moov/trak[1]/udta/hnti/sdp ", "sdp=v=0"},
      {"moov/trak[1]/udta/hinf/maxr", "period_ms=7 bytes=700"},
      {"moov/trak[1]/udta/hinf/payt", "payload_number=96 rtpmap=H263/90k"},
      {"moov/udta/titl", "language=5575 text=" + utf8("titl")},
      {"moov/udta/kywd", "language=5575 keyword_count=2 [1] keyword=one [2] keyword=two"},
      {"moov/udta/meta/ilst/\\xA9nam", "value=name"},
      {"moov/udta/meta/ilst/cpil", "value=01"},
      {"moov/udta/meta/ilst/gnre", "value=Reggae"},
      {"moov/udta/gnre", "language=5575 text=" + utf8("gnre")},  // another box of that type
      {"moov/udta/meta/ilst/gnid", "value=id"},
      {"moov/meta/ID32",
       "language=55c4 data_offset=" + std::to_string(file.size() - 3 - 4 * 20 - 2 * 32 - 8) + " data_size=3"},
  };
  for (const auto& [path, fields] : expected) EXPECT_EQ(shown.fields(path), fields) << path;
  EXPECT_EQ(shown.find("moov/trak[1]/mdia/minf/dinf/dref/url [1]")->header.flags, 1u);
}

TEST(BoxTrace, ShowsTheBoxesReadBeforeAnOpenFailed) {
  TrackDescription track = amr_track(3);
  track.appended["stbl"] = header(5, "junk");
  ShownBoxes shown;
  const P3gppBoxVisitor visitor = shown.visitor();
  const OpenedMovie movie(build_movie({.tracks = {track}, .moov_first = false}).bytes, &visitor);
  EXPECT_EQ(movie.status, P3GPP_ERR_BOX_SIZE);
  EXPECT_STREQ(movie.error.path, "moov/trak[1]/mdia/minf/stbl/junk");
  const std::string minf = "moov/trak[1]/mdia/minf";
  const std::string stbl = minf + "/stbl";
  EXPECT_THAT(
      shown.outcomes(),
      ElementsAre("ftyp", "mdat skipped", "moov/mvhd", "moov/trak[1]/tkhd", "moov/trak[1]/mdia/mdhd",
                  "moov/trak[1]/mdia/hdlr", minf + "/smhd skipped", minf + "/dinf/dref/url [1]",
                  minf + "/dinf/dref", minf + "/dinf", stbl + "/stsd/samr[1]/damr", stbl + "/stsd/samr[1]",
                  stbl + "/stsd", stbl + "/stts", stbl + "/stsc", stbl + "/stsz", stbl + "/stco",
                  stbl + "/junk refused", stbl + " failed", minf + " failed", "moov/trak[1]/mdia failed",
                  "moov/trak[1] failed", "moov failed"));
  EXPECT_EQ(shown.find(stbl + "/junk")->header.size, 5u);
  EXPECT_EQ(shown.fields(stbl + "/stsz"), "default_size=0 sample_count=3");
}

TEST(BoxTrace, ShowsSkippedAndRefusedBoxes) {
  TrackDescription video = avc_track(1);
  video.sample_entries.insert(video.sample_entries.begin(), plain_entry("abcd"));
  video.appended["stbl"] = box("stdp");
  const Bytes items =
      item_list_meta({item("\251too", "x"), box("desc", box("name")), item("gnre", "\x01"),
                      freeform_item("a", "other", "v"), freeform_item("a", "gnid", "v"), header(4, "covr")});
  const Bytes file =
      build_movie({.tracks = {video},
                   .before_moov = concat({large_box("mdat", Bytes(4)), box("moof", Bytes(4))}),
                   .moov_children = concat({box("udta", header(99, "free")), box("udta", items)})})
          .bytes;
  ShownBoxes shown;
  P3gppBoxVisitor visitor = shown.visitor();
  visitor.field = nullptr;  // may be null
  EXPECT_EQ(OpenedMovie(file, &visitor).status, P3GPP_ERR_GENERIC);
  const std::string stbl = "moov/trak[1]/mdia/minf/stbl";
  const std::string ilst = "moov/udta/meta/ilst";
  for (const std::string& expected :
       {std::string("mdat skipped"), std::string("moof"), stbl + "/stsd/abcd[1] skipped",
        stbl + "/stsd/avc1[2]", stbl + "/stdp skipped", stbl, std::string("moov/udta/meta/hdlr skipped"),
        ilst + "/\\xA9too skipped", ilst + "/desc skipped", ilst + "/gnre", ilst + "/---- skipped",
        ilst + "/gnid", ilst + "/covr refused", ilst + " failed", std::string("moov/udta/free refused"),
        std::string("moov/udta"), std::string("moov/udta failed")}) {
    EXPECT_THAT(shown.outcomes(), Contains(expected));
  }
  EXPECT_EQ(shown.find("mdat")->header.size, 20u) << "its 64-bit size";
  EXPECT_EQ(shown.find("moov/udta/meta")->header.status, P3GPP_ERR_GENERIC);
}

}  // namespace
}  // namespace zdr::test
