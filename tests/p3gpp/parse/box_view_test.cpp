// The boxes that the parser shows: those of an open file, and each box during an open.
#include <gtest/gtest.h>

#include <set>

#include "mediakit/boxes/movie_builder.h"
#include "tests/p3gpp/metadata/tagged_movie.h"
#include "tests/p3gpp/shown_boxes.h"

namespace zdr::test {
namespace {

TEST(BoxView, ShowsEveryStoredBoxOnceAtItsOffset) {
  TrackDescription track = avc_track(4);
  track.sample_entries.insert(track.sample_entries.begin(), plain_entry("abcd"));
  track.appended["trak"] = box("udta", concat({full_hinf(), hnti("v=0")}));
  const Bytes meta = full_box("meta", 0, 0, id32(0x55C4, {'I', 'D', '3'}));
  const Bytes file = build_movie({.tracks = {track, amr_track(2)},
                                  .before_moov = box("moof"),
                                  .moov_children = concat({box("udta", full_user_data()), meta})})
                         .bytes;
  const ShownBoxes shown = boxes_of(OpenedMovie(file));
  EXPECT_GT(shown.boxes.size(), 75u);
  std::set<std::string> paths;
  for (const ShownBoxes::Box& each : shown.boxes) {
    EXPECT_TRUE(paths.insert(each.path).second) << each.path;
    EXPECT_EQ(load_be32(file, each.header.offset), each.header.size) << each.path;
    const bool is_named_by_content = each.path.ends_with("gnid");
    EXPECT_EQ(as_text(file).substr(each.header.offset + 4, 4),
              is_named_by_content ? "----" : each.header.type);
  }
  const std::string stbl = "moov/trak[1]/mdia/minf/stbl";
  const std::vector<std::pair<std::string, std::string>> expected = {
      {stbl + "/stsd", "entry_count=2"},
      {stbl + "/stsd/avc1[2]",
       "data_reference_index=1 width=176 height=144"},  // numbered by its position in the file
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
       "language=55c4 data_offset=" + std::to_string(as_text(file).find("\x55\xC4ID3") + 2) + " data_size=3"},
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
  EXPECT_EQ(shown.outcomes(),
            "ftyp mdat? mvhd tkhd mdhd hdlr smhd? url [1] dref dinf damr samr[1] stsd stts stsc stsz stco "
            "junk# stbl! minf! mdia! trak[1]! moov! ");
  const std::string stbl = "moov/trak[1]/mdia/minf/stbl";
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
  EXPECT_EQ(shown.outcomes(),
            "ftyp mdat? moof mvhd tkhd mdhd hdlr vmhd? url [1] dref dinf abcd[1]? avcC avc1[2] stsd stts "
            "stsc stsz stco stdp? stbl minf mdia trak[1] free# udta hdlr? \\xA9too? desc? gnre ----? gnid "
            "covr# ilst! meta! udta! moov! ");
  EXPECT_EQ(shown.find("mdat")->header.size, 20u) << "its 64-bit size";
  EXPECT_EQ(shown.find("moov/udta/meta")->header.status, P3GPP_ERR_GENERIC);
}

}  // namespace
}  // namespace zdr::test
