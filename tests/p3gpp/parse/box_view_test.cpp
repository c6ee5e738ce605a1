// The boxes that the parser shows while it opens a file.
#include <gtest/gtest.h>

#include "mediakit/boxes/metadata_builder.h"
#include "mediakit/boxes/movie_builder.h"
#include "tests/p3gpp/opened_movie.h"

namespace zdr::test {
namespace {

TEST(BoxTrace, ShowsTheBoxesReadBeforeAnOpenFailedAndThoseSkippedAndRefused) {
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
  const P3gppBoxVisitor visitor = shown.visitor();
  EXPECT_EQ(OpenedMovie(file, &visitor).status, P3GPP_ERR_GENERIC);
  EXPECT_EQ(
      shown.outcomes(),
      "ftyp mdat? moof mvhd tkhd mdhd hdlr vmhd? url [1] dref dinf abcd[1]? avcC avc1[2] stsd stts stsc "
      "stsz stco stdp? stbl minf mdia trak[1] free# udta hdlr? \\xA9too? desc? gnre ----? gnid covr# ilst! "
      "meta! udta! moov! ");
  EXPECT_EQ(shown.find("mdat")->header.size, 20u) << "its 64-bit size";
  EXPECT_EQ(shown.find("moov/udta/meta/ilst/covr")->header.size, 4u);
  EXPECT_EQ(shown.find("moov/udta/meta")->header.status, P3GPP_ERR_GENERIC);
  EXPECT_EQ(shown.find("moov/trak[1]/mdia/minf/dinf/dref/url [1]")->header.flags, 1u);
  EXPECT_EQ(shown.fields("moov/trak[1]/mdia/minf/stbl/stsz"), "default_size=0 sample_count=1");
}

}  // namespace
}  // namespace zdr::test
