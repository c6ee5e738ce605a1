// Looking at the boxes of a file: after an open, and while one fails.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <set>

#include "tagged_movie.h"
#include "tests/support/movie_builder.h"

namespace zdr::test {
namespace {

using testing::Contains;
using testing::ElementsAre;

// What a visitor was shown, as texts.
struct Shown {
  struct Box {
    std::string path;
    P3gppBox header;
    std::map<std::string, std::string> fields;  // "name" or "name[entry]"
  };
  std::vector<Box> boxes;

  P3gppBoxVisitor visitor() { return {this, add_box, add_field}; }
  const Box* find(const std::string& path) const {
    for (const Box& each : boxes) {
      if (each.path == path) return &each;
    }
    return nullptr;
  }
  std::string field(const std::string& path, const std::string& name) const {
    const Box* box = find(path);
    return box == nullptr || !box->fields.contains(name) ? "-" : box->fields.at(name);
  }
  // The paths, and what became of boxes that were not read with success.
  std::vector<std::string> fates() const {
    std::vector<std::string> all;
    for (const Box& each : boxes) {
      const char* const fate[] = {each.header.status == P3GPP_OK ? "" : " failed", " skipped", " refused"};
      all.push_back(each.path + fate[each.header.disposition]);
    }
    return all;
  }

 private:
  static void add_box(void* caller, const P3gppBox* box) {
    static_cast<Shown*>(caller)->boxes.push_back({box->path, *box, {}});
  }
  static void add_field(void* caller, const P3gppBoxField* field) {
    std::string name = field->name;
    if (field->entry != 0) name += "[" + std::to_string(field->entry) + "]";
    const bool is_number = field->bytes.bytes == nullptr;
    static_cast<Shown*>(caller)->boxes.back().fields[name] =
        is_number ? std::to_string(field->number) : text_of(field->bytes);
  }
};

TEST(BoxView, ShowsEveryKeptBoxWhereTheFileHasIt) {
  TrackDescription track = avc_track(4);
  track.edits = {{.segment_duration = 500, .media_time = -1}, {.segment_duration = 7, .media_time = 3}};
  track.sample_entries.insert(track.sample_entries.begin(), plain_entry("abcd"));
  track.appended["trak"] = box("udta", concat({full_hinf(), hnti("v=0")}));
  const Bytes meta = full_box("meta", 0, 0, id32(0x55C4, {'I', 'D', '3'}));
  const Bytes file = build_movie({.tracks = {track, amr_track(2)},
                                  .before_moov = box("moof"),
                                  .moov_children = concat({box("udta", full_user_data()), meta})})
                         .bytes;
  const OpenedMovie movie(file);
  Shown shown;
  const P3gppBoxVisitor visitor = shown.visitor();
  ASSERT_EQ(P3GPP_WalkBoxes(movie.file, &visitor), P3GPP_OK);
  EXPECT_GT(shown.boxes.size(), 75u);
  const std::vector<std::string> paths = shown.fates();
  EXPECT_EQ(std::set<std::string>(paths.begin(), paths.end()).size(), paths.size()) << "each once";
  for (const Shown::Box& each : shown.boxes) {
    if (each.path.find("gnid") != std::string::npos) continue;  // named by its content
    EXPECT_EQ(load_be32(file, each.header.offset), each.header.size) << each.path;
    EXPECT_EQ(std::string(file.begin() + static_cast<int64_t>(each.header.offset) + 4,
                          file.begin() + static_cast<int64_t>(each.header.offset) + 8),
              each.header.type)
        << each.path;
  }
  EXPECT_EQ(shown.field("moov/trak[1]/edts/elst", "segment_duration[1]"), "500");
  EXPECT_EQ(shown.field("moov/trak[1]/edts/elst", "media_time[1]"), std::to_string(UINT64_MAX)) << "-1";
  EXPECT_EQ(shown.field("moov/trak[1]/edts/elst", "media_time[2]"), "3");
  EXPECT_EQ(shown.field("moov/trak[1]/mdia/minf/stbl/stsd", "entry_count"), "2");
  EXPECT_NE(shown.find("moov/trak[1]/mdia/minf/stbl/stsd/avc1[2]/avcC"), nullptr)
      << "numbered as in the file";
  EXPECT_EQ(shown.field("moov/trak[2]/mdia/minf/stbl/stsz", "sample_count"), "2");
  EXPECT_EQ(shown.field("moov/trak[1]/udta/hnti/sdp ", "sdp"), "v=0");
  EXPECT_EQ(shown.field("moov/trak[1]/udta/hinf/maxr", "bytes"), "700");
  EXPECT_EQ(shown.field("moov/trak[1]/udta/hinf/payt", "payload_number"), "96");
  EXPECT_EQ(shown.field("moov/trak[1]/udta/hinf/payt", "rtpmap"), "H263/90k");
  EXPECT_EQ(shown.field("moov/udta/titl", "language"), std::to_string(packed_language("eng")));
  EXPECT_EQ(shown.field("moov/udta/kywd", "keyword[2]"), "two");
  EXPECT_EQ(shown.field("moov/udta/meta/ilst/\\xA9nam", "value"), "name");
  EXPECT_EQ(shown.field("moov/udta/meta/ilst/gnre", "value"), "Reggae");
  EXPECT_EQ(shown.field("moov/udta/gnre", "text"), utf8("gnre")) << "another box of that type";
  EXPECT_EQ(shown.field("moov/udta/meta/ilst/gnid", "value"), "id");
  EXPECT_EQ(shown.field("moov/meta/ID32", "data_size"), "3");
  EXPECT_EQ(shown.find("moov/trak[1]/mdia/minf/dinf/dref/url [1]")->header.flags, 1u);
}

TEST(BoxView, ShowsTimesOfBothWidthsWhole) {
  for (const uint32_t version : {0u, 1u}) {
    const uint64_t time = version == 0 ? 5 : 0x500000006;
    const OpenedMovie movie(
        box("moov", mvhd({.version = version, .creation_time = time, .duration = time + 1})));
    Shown shown;
    const P3gppBoxVisitor visitor = shown.visitor();
    ASSERT_EQ(P3GPP_WalkBoxes(movie.file, &visitor), P3GPP_OK);
    EXPECT_EQ(shown.field("moov/mvhd", "creation_time"), std::to_string(time));
    EXPECT_EQ(shown.field("moov/mvhd", "duration"), std::to_string(time + 1));
    EXPECT_EQ(shown.find("moov/mvhd")->header.version, version);
  }
}

// Opens `file` with a visitor.
int32_t open_traced(const Bytes& file, Shown& shown, P3gppOpenError& error) {
  MemorySource source(file);
  FMGR_Context* context = nullptr;
  const FMGR_Config config{0, 0};
  EXPECT_EQ(FMGR_Init(&context, &config), FMGR_OK);
  P3gppFile* opened = nullptr;
  const P3gppBoxVisitor visitor = shown.visitor();
  const int32_t status = P3GPP_OpenTraced(&opened, &source.descriptor, context, &error, &visitor);
  if (opened != nullptr) P3GPP_Close(opened);
  FMGR_Deinit(context);
  return status;
}

TEST(BoxTrace, ShowsWhatWasReadBeforeAnOpenFailed) {
  TrackDescription track = amr_track(3);
  track.appended["stbl"] = header(5, "junk");
  Shown shown;
  P3gppOpenError error{};
  ASSERT_EQ(open_traced(build_movie({.tracks = {track}, .moov_first = false}).bytes, shown, error),
            P3GPP_ERR_BOX_SIZE);
  EXPECT_STREQ(error.path, "moov/trak[1]/mdia/minf/stbl/junk");
  EXPECT_THAT(shown.fates(),
              ElementsAre("ftyp", "mdat skipped", "moov/mvhd", "moov/trak[1]/tkhd", "moov/trak[1]/mdia/mdhd",
                          "moov/trak[1]/mdia/hdlr", "moov/trak[1]/mdia/minf/smhd skipped",
                          "moov/trak[1]/mdia/minf/dinf/dref/url [1]", "moov/trak[1]/mdia/minf/dinf/dref",
                          "moov/trak[1]/mdia/minf/dinf", "moov/trak[1]/mdia/minf/stbl/stsd/samr[1]/damr",
                          "moov/trak[1]/mdia/minf/stbl/stsd/samr[1]", "moov/trak[1]/mdia/minf/stbl/stsd",
                          "moov/trak[1]/mdia/minf/stbl/stts", "moov/trak[1]/mdia/minf/stbl/stsc",
                          "moov/trak[1]/mdia/minf/stbl/stsz", "moov/trak[1]/mdia/minf/stbl/stco",
                          "moov/trak[1]/mdia/minf/stbl/junk refused", "moov/trak[1]/mdia/minf/stbl failed",
                          "moov/trak[1]/mdia/minf failed", "moov/trak[1]/mdia failed", "moov/trak[1] failed",
                          "moov failed"));
  EXPECT_EQ(shown.find("moov/trak[1]/mdia/minf/stbl/junk")->header.size, 5u);
  EXPECT_EQ(shown.field("moov/trak[1]/mdia/minf/stbl/stsz", "sample_count"), "3");
}

TEST(BoxTrace, ShowsWhatIsPassedOverToo) {
  TrackDescription video = avc_track(1);
  video.sample_entries.insert(video.sample_entries.begin(), plain_entry("abcd"));
  video.appended["stbl"] = box("stdp");
  const Bytes items = item_list_meta({item("\251too", "x"), box("desc", box("name")), item("gnre", "\x01"),
                                      freeform_item("a", "other", "v"), freeform_item("a", "gnid", "v"),
                                      item("cpil", std::string(1, '\0'))});
  const Bytes file = build_movie({.tracks = {video},
                                  .before_moov = concat({large_box("mdat", Bytes(4)), box("moof", Bytes(4))}),
                                  .moov_children = box("udta", concat({items, header(99, "free")}))})
                         .bytes;
  Shown shown;
  P3gppOpenError error{};
  ASSERT_EQ(open_traced(file, shown, error), P3GPP_OK);
  const std::vector<std::string> fates = shown.fates();
  for (const char* expected :
       {"mdat skipped", "moof", "moov/trak[1]/mdia/minf/stbl/stsd/abcd[1] skipped",
        "moov/trak[1]/mdia/minf/stbl/stsd/avc1[2]", "moov/trak[1]/mdia/minf/stbl/stdp skipped",
        "moov/udta/meta/hdlr skipped", "moov/udta/meta/ilst/\\xA9too skipped",
        "moov/udta/meta/ilst/desc skipped", "moov/udta/meta/ilst/gnre", "moov/udta/meta/ilst/---- skipped",
        "moov/udta/meta/ilst/gnid", "moov/udta/meta/ilst", "moov/udta/free refused", "moov/udta", "moov"}) {
    EXPECT_THAT(fates, Contains(expected));
  }
  EXPECT_EQ(shown.find("mdat")->header.size, 20u) << "its 64-bit size";
  EXPECT_EQ(shown.field("moov/udta/meta/ilst/cpil", "value"), std::string(1, '\0')) << "no text";
}

TEST(BoxTrace, ShowsTagsOnTheirWay) {
  Shown shown;
  P3gppOpenError error{};
  ASSERT_EQ(open_traced(with_items({item("desc", "kept"), header(4, "covr")}), shown, error),
            P3GPP_ERR_GENERIC);
  EXPECT_EQ(shown.field("moov/udta/meta/ilst/desc", "value"), "kept");
  EXPECT_EQ(shown.find("moov/udta/meta/ilst")->header.status, P3GPP_ERR_BOX_SIZE);
  EXPECT_EQ(shown.find("moov/udta/meta")->header.status, P3GPP_ERR_GENERIC);
}

TEST(BoxView, ArgumentsAreChecked) {
  const OpenedMovie movie(box("moov"));
  Shown shown;
  P3gppBoxVisitor visitor = shown.visitor();
  EXPECT_EQ(P3GPP_WalkBoxes(nullptr, &visitor), P3GPP_ERR_BAD_ARGUMENT);
  EXPECT_EQ(P3GPP_WalkBoxes(movie.file, nullptr), P3GPP_ERR_BAD_ARGUMENT);
  visitor.field = nullptr;
  EXPECT_EQ(P3GPP_WalkBoxes(movie.file, &visitor), P3GPP_OK);
  EXPECT_THAT(shown.fates(), ElementsAre("moov"));
  visitor.box = nullptr;
  EXPECT_EQ(P3GPP_WalkBoxes(movie.file, &visitor), P3GPP_ERR_BAD_ARGUMENT);
}

}  // namespace
}  // namespace zdr::test
