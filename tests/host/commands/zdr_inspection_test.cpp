// `zdr boxes`, and the tags and cover of `zdr info`, on files with everything in them and on damaged ones;
// and what all commands tell as JSON.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <sstream>

#include "mediakit/boxes/metadata_builder.h"
#include "mediakit/boxes/movie_builder.h"
#include "mediakit/files/id3_builder.h"
#include "mediakit/files/temp_folder.h"
#include "tests/host/commands/zdr_process.h"

namespace zdr::host {
namespace {

using test::Bytes;
using testing::AllOf;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using tests::read_file;
using tests::TempFolder;

const std::string kTwoPins = ZDR_SAMPLES_DIR "/h263-amr.3gp";
const std::string kMovieFirst = ZDR_SAMPLES_DIR "/moov-first.3gp";

void write_movie(const TempFolder& folder, const char* name, const Bytes& bytes) {
  tests::write_file(folder / name, {reinterpret_cast<const char*>(bytes.data()), bytes.size()});
}

// One playable sound track, and what else `moov` is to hold.
Bytes movie_with(const Bytes& moov_children) {
  test::TrackDescription track = test::amr_track(200);
  track.appended["trak"] = test::box("udta", test::concat({test::full_hinf(), test::hnti("v=0\r\n")}));
  return test::build_movie({.tracks = {track}, .moov_children = moov_children}).bytes;
}

nlohmann::json box_of(const nlohmann::json& report, const std::string& path) {
  for (const auto& box : report.at("boxes")) {
    if (box.at("path") == path) return box;
  }
  return nullptr;
}

nlohmann::json tag_of(const nlohmann::json& report, const std::string& type) {
  for (const auto& tag : report.at("tags")) {
    if (tag.at("type") == type) return tag;
  }
  return nullptr;
}

TEST(ZdrInfo, TellsAllTagsInWordsAndAsJson) {
  const TempFolder folder;
  const Bytes title = test::v23_frame("TIT2", test::bytes_of(std::string("\0id title", 9)));
  const Bytes id3 = test::full_box("meta", 0, 0, test::id32(0x55C4, test::id3v2(3, 0, title)));
  const Bytes wide = test::asset("dscp", test::utf16("wide"));
  const Bytes user_data = test::box("udta", test::concat({test::full_user_data(), wide}));
  write_movie(folder, "all.3gp", movie_with(test::concat({user_data, id3})));
  const ZdrResult words = run_zdr({"info", "all.3gp"}, folder.path());
  EXPECT_EQ(words.exit_code, 0);
  for (const char* line :
       {"title (titl, eng): titl\n", "description (dscp, eng): wide\n", "keywords (kywd, eng): one, two\n",
        "album (albm, eng): album, track 7\n", "year (yrrc): year 1999\n", "name (\u00A9nam): name\n",
        "compilation (cpil): yes\n", "genre (gnre): Reggae\n", "track (trkn): number 3, total 12\n",
        "cover (covr): image PNG, bytes 4\n", "gracenote id (gnid): id\n",
        "ID3v2 tag (ID32, und): ", "title (ID3v2.3): id title\n"}) {
    EXPECT_THAT(words.out, HasSubstr(line));
  }
  const auto report = nlohmann::json::parse(run_zdr({"info", "all.3gp", "--json"}, folder.path()).out);
  EXPECT_EQ(report.at("tags").size(), 28u);
  EXPECT_EQ(tag_of(report, "loci").at("latitude"), 3 / 65536.0);
  EXPECT_EQ(tag_of(report, "rtng").at("entity"), "MPAA");
  EXPECT_EQ(tag_of(report, "kywd").at("keywords").at(1).at("text"), "two");
}

TEST(ZdrInfo, TagsCannotMoveTheCursor) {
  const TempFolder folder;
  const Bytes title = test::asset("titl", "\x1B[2Jgone\x7F\xC2\x85");
  write_movie(folder, "odd.3gp", movie_with(test::box("udta", title)));
  EXPECT_THAT(run_zdr({"info", "odd.3gp"}, folder.path()).out,
              AllOf(HasSubstr("\\x1b[2Jgone"), Not(HasSubstr("\x1B"))));
  EXPECT_THAT(run_zdr({"boxes", "odd.3gp"}, folder.path()).out,
              AllOf(HasSubstr("\\x1b[2Jgone"), Not(HasSubstr("\x1B"))));
  for (const char* command : {"boxes", "info"}) {
    EXPECT_THAT(run_zdr({command, "odd.3gp", "--json"}, folder.path()).out,
                HasSubstr("\\u001b[2Jgone\\u007f\\u0085"));
  }
}

TEST(ZdrInfo, SavesTheCover) {
  const TempFolder folder;
  const std::string image = "\xFF\xD8\xFF" + std::string(5000, 'j');
  write_movie(folder, "cover.mp4",
              movie_with(test::box("udta", test::item_list_meta({test::item("covr", image)}))));
  write_movie(folder, "plain.mp4", movie_with({}));
  EXPECT_EQ(run_zdr({"info", "cover.mp4", "--cover", "c.jpg"}, folder.path()).exit_code, 0);
  EXPECT_EQ(read_file(folder / "c.jpg"), image);
  const ZdrResult again = run_zdr({"info", "cover.mp4", "--cover", "c.jpg"}, folder.path());
  EXPECT_EQ(again.exit_code, 5);
  EXPECT_THAT(again.err, HasSubstr("c.jpg: exists already"));
  EXPECT_EQ(run_zdr({"info", "cover.mp4", "--cover", "c.jpg", "--force"}, folder.path()).exit_code, 0);
  EXPECT_THAT(run_zdr({"info", "cover.mp4", "--cover", ".", "--force"}, folder.path()).err,
              HasSubstr(".: is a folder"));
  const ZdrResult none = run_zdr({"info", "plain.mp4", "--cover", "d.jpg"}, folder.path());
  EXPECT_EQ(none.exit_code, 4);
  EXPECT_THAT(none.err, HasSubstr("plain.mp4: has no cover image"));
  EXPECT_FALSE(std::filesystem::exists(folder / "d.jpg"));
  const ZdrResult json = run_zdr({"info", "plain.mp4", "--cover", "d.jpg", "--json"}, folder.path());
  EXPECT_EQ(json.exit_code, 4);
  EXPECT_EQ(nlohmann::json::parse(json.out).at("exit_code"), 4);
  EXPECT_EQ(nlohmann::json::parse(json.out).at("errors").at(0), "has no cover image");
  EXPECT_EQ(run_zdr({"info", "cover.mp4", "plain.mp4", "--cover", "e.jpg"}, folder.path()).exit_code, 2);
}

TEST(ZdrBoxes, ShowsTheTreeInTheOrderOfTheFile) {
  const TempFolder folder;
  const Bytes file = movie_with(test::box("udta", test::full_user_data()));
  write_movie(folder, "all.3gp", file);
  const ZdrResult words = run_zdr({"boxes", "all.3gp"}, folder.path());
  EXPECT_EQ(words.exit_code, 0);
  EXPECT_THAT(words.out, HasSubstr("\n  moov  @"));
  EXPECT_THAT(words.out, HasSubstr("\n          stbl  @"));
  EXPECT_THAT(words.out, HasSubstr("        ilst  @"));
  EXPECT_THAT(words.out, HasSubstr("size 16  (skipped)\n")) << "smhd";
  EXPECT_LT(words.out.find("trak[1]"), words.out.find("titl"));

  const auto report = nlohmann::json::parse(run_zdr({"boxes", "all.3gp", "--json"}, folder.path()).out);
  EXPECT_EQ(report.at("schema"), 1);
  uint64_t before = 0;
  for (const auto& box : report.at("boxes")) {
    const auto offset = box.at("offset").get<uint64_t>();
    EXPECT_GE(offset, before);
    before = offset;
    EXPECT_EQ(test::load_be32(file, offset), box.at("size")) << box.at("path");
  }
  const auto stsz = box_of(report, "moov/trak[1]/mdia/minf/stbl/stsz");
  EXPECT_EQ(stsz.at("fields").at("sample_count"), 200);
  EXPECT_EQ(stsz.at("state"), "kept");
  EXPECT_EQ(box_of(report, "moov/trak[1]/mdia/minf/smhd").at("state"), "skipped");
  EXPECT_EQ(box_of(report, "moov/udta/meta").at("state"), "kept") << "since its items are";
  EXPECT_EQ(box_of(report, "moov/udta/meta/ilst/\\xA9nam").at("type"), "\u00A9nam");
  EXPECT_EQ(box_of(report, "moov/udta/kywd").at("entries").at(0).at("keyword"), "one");
  EXPECT_EQ(box_of(report, "moov/trak[1]/udta/hinf/maxr").at("fields").at("bytes"), 700);
  EXPECT_EQ(box_of(report, "moov/trak[1]/udta/hnti/sdp ").at("fields").at("sdp"), "v=0\r\n");
}

TEST(ZdrBoxes, ShowsWhatWasReadOfAFileThatDoesNotOpenAndWhy) {
  const TempFolder folder;
  write_movie(
      folder, "bad.mp4",
      movie_with(test::box("udta", test::concat({test::asset("titl", "kept"), test::header(5, "dscp")}))));
  const std::string reason = "zdr: bad.mp4: moov/udta/dscp at offset ";
  const ZdrResult words = run_zdr({"boxes", "bad.mp4"}, folder.path());
  EXPECT_EQ(words.exit_code, 1);
  EXPECT_THAT(words.out, AllOf(HasSubstr("text=\"kept\""), HasSubstr("FAILED [-7017]"), HasSubstr("stsz")));
  EXPECT_THAT(words.err, HasSubstr(reason));
  EXPECT_THAT(words.err, HasSubstr(", size 5: damaged: the box size is wrong [-7017]\n"));
  for (const char* command : {"info", "play"}) {
    EXPECT_EQ(run_zdr({command, "bad.mp4"}, folder.path()).err, words.err) << "one explanation everywhere";
  }
  const ZdrResult json = run_zdr({"boxes", "bad.mp4", "--json"}, folder.path());
  EXPECT_EQ(json.exit_code, 1);
  const auto report = nlohmann::json::parse(json.out);
  EXPECT_EQ(report.at("exit_code"), 1);
  EXPECT_THAT(report.at("errors").at(0), HasSubstr("moov/udta/dscp at offset "));
  EXPECT_EQ(report.at("failure").at("path"), "moov/udta/dscp");
  EXPECT_EQ(report.at("failure").at("size"), 5);
  EXPECT_EQ(report.at("failure").at("status"), -7017);
  EXPECT_EQ(box_of(report, "moov").at("status"), -7017);
  EXPECT_EQ(box_of(report, "moov/udta/titl").at("fields").at("text"), "kept");
}

TEST(ZdrBoxes, TellsWhatIsDroppedAndWhatATrackLost) {
  const TempFolder folder;
  test::TrackDescription dropped = test::amr_track(2);
  dropped.appended["stbl"] = test::box("stdp");
  const Bytes udta = test::box(
      "udta", test::concat({test::asset("titl", "old"), test::asset("titl", test::utf16("new")),
                            test::asset("albm", test::utf16("no track")),
                            test::item_list_meta({test::item("gnre", "\x01"), test::item("cpil", "\x01")})}));
  write_movie(folder, "odd.mp4", test::build_movie({.tracks = {dropped}, .moov_children = udta}).bytes);
  const ZdrResult words = run_zdr({"boxes", "odd.mp4"}, folder.path());
  EXPECT_EQ(words.exit_code, 0);
  for (const char* line :
       {"  (not kept)  language=\"eng\"  text=\"old\"\n", "version 0  language=\"eng\"  text=\"new\"\n",
        "album_title=\"no track\"  track_number=0\n", "  (not kept)  entry_count=1\n",
        "value=01 (1 bytes)"}) {
    EXPECT_THAT(words.out, HasSubstr(line));
  }
  EXPECT_EQ(words.err, "zdr: odd.mp4: the audio track has no usable sample tables [-7046]\n");
  EXPECT_THAT(run_zdr({"info", "odd.mp4"}, folder.path()).err, HasSubstr("[-7046]"));
}

// Small boxes and entries cost many times their bytes once they are told.
TEST(ZdrBoxes, ShowsSoMuchAndTellsHowMuchItLeavesOut) {
  const TempFolder folder;
  Bytes many;
  for (int i = 0; i < 100005; ++i) many.insert(many.end(), {0, 0, 0, 8, 'f', 'r', 'e', 'e'});
  write_movie(folder, "boxes.mp4", test::concat({many, test::box("moov")}));
  const ZdrResult boxes = run_zdr({"boxes", "boxes.mp4"}, folder.path());
  EXPECT_EQ(boxes.exit_code, 0);
  EXPECT_EQ(boxes.err, "zdr: boxes.mp4: 6 more boxes are not shown\n");
  test::TrackDescription track = test::amr_track(1);
  track.edits.assign(100003, {});
  write_movie(folder, "edits.mp4", test::build_movie(track).bytes);
  const ZdrResult edits = run_zdr({"boxes", "edits.mp4"}, folder.path());
  EXPECT_THAT(edits.out, AllOf(HasSubstr("    [100000]  segment_duration=0"), Not(HasSubstr("[100001]"))));
  EXPECT_THAT(edits.err, HasSubstr("edits.mp4: 3 more list entries are not shown\n"));
  write_movie(folder, "text.mp4",
              movie_with(test::box("udta", test::asset("titl", std::string(1000000, '\xE9')))));
  EXPECT_LT(run_zdr({"boxes", "text.mp4"}, folder.path()).out.size(), 20000u);
  EXPECT_THAT(run_zdr({"boxes", "text.mp4", "--json"}, folder.path()).out.size(), testing::Lt(60000u));
}

TEST(ZdrBoxes, TimesHaveTheirScalesBesideThem) {
  const TempFolder folder;
  test::TrackDescription track = test::amr_track(2);
  track.time_scale = 8000;
  track.edits = {{.segment_duration = 1, .media_time = 80}};
  write_movie(folder, "a.mp4", test::build_movie({.tracks = {track}, .movie_time_scale = 600}).bytes);
  const auto report = nlohmann::json::parse(run_zdr({"boxes", "a.mp4", "--json"}, folder.path()).out);
  const auto edits = box_of(report, "moov/trak[1]/edts/elst");
  EXPECT_EQ(edits.at("movie_time_scale"), 600);
  EXPECT_EQ(edits.at("media_time_scale"), 8000);
  EXPECT_EQ(box_of(report, "moov/trak[1]/tkhd").at("movie_time_scale"), 600);
}

TEST(ZdrNotes, TellWhatIsLeftOutOnStandardErrorUnlessQuiet) {
  const auto of_kind = [](const char* handler) {
    test::TrackDescription track = test::amr_track(1);
    track.handler = handler;
    return track;
  };
  const auto with_edits = [](test::TrackDescription track, std::vector<test::Edit> edits) {
    track.time_scale = 8000;
    track.durations = {160};
    track.edits = std::move(edits);
    return track;
  };
  const test::TrackDescription sound = test::amr_track(10);
  const std::string kAudioEdits = "the audio track's edit list is not applied: ";
  const std::pair<test::MovieDescription, std::string> kCases[] = {
      {{.tracks = {sound}}, ""},
      {{.tracks = {sound, of_kind("text"), of_kind("text"), of_kind("ab\x1B/")}},
       "2 text track(s) not used|1 track(s) with the handler 'ab\\x1b/' not used|"},
      {{.tracks = {sound, of_kind("soun")}}, "1 further audio track(s) not used; the first is|"},
      {{.tracks = {sound}, .moov_children = test::box("mvex")}, "movie fragments are not read|"},
      {{.tracks = {sound}, .before_moov = test::box("moof")}, "movie fragments are not read|"},
      {{.tracks = {with_edits(sound, {{.segment_duration = 200, .media_time = 0}})}}, ""},
      {{.tracks = {with_edits(sound, {{.segment_duration = 190, .media_time = 80}})}},
       kAudioEdits + "priming of 80/8000 s is not trimmed|"},
      {{.tracks = {with_edits(sound, {{.segment_duration = 150, .media_time = 0}})}},
       kAudioEdits + "the last 400/8000 s are not trimmed|"},
      {{.tracks = {with_edits(sound, {{.segment_duration = 100, .media_time = 0},
                                      {.segment_duration = 100, .media_time = 0}})}},
       kAudioEdits + "its 2 parts are played as they are stored|"},
      {{.tracks = {with_edits(test::avc_track(10), {{.segment_duration = 190, .media_time = 80}})}},
       "the video track's edit list is not applied: it begins 80/8000 s into the media|"},
  };
  const TempFolder folder;
  for (const auto& [movie, expected] : kCases) {
    write_movie(folder, "a.mp4", test::build_movie(movie).bytes);
    std::string lines;
    nlohmann::json warnings = nlohmann::json::array();
    std::istringstream notes(expected);
    for (std::string note; std::getline(notes, note, '|');) {
      lines += "zdr: a.mp4: " + note + "\n";
      warnings.push_back(note);
    }
    for (const char* command : {"info", "boxes", "samples"}) {
      const ZdrResult result = run_zdr({command, "a.mp4"}, folder.path());
      EXPECT_EQ(result.err, lines) << command;
      EXPECT_THAT(result.out, Not(HasSubstr("not used"))) << command;
      EXPECT_THAT(run_zdr({command, "a.mp4", "-q"}, folder.path()).err, IsEmpty()) << command;
    }
    const ZdrResult json = run_zdr({"info", "a.mp4", "--json"}, folder.path());
    EXPECT_THAT(json.err, IsEmpty());
    EXPECT_EQ(nlohmann::json::parse(json.out).at("warnings").size(), warnings.size()) << expected;
  }
}

nlohmann::ordered_json parsed(const std::string& text) {
  auto json = nlohmann::ordered_json::parse(text, nullptr, false);
  EXPECT_FALSE(json.is_discarded()) << text;
  EXPECT_TRUE(json.is_object() && json.begin().key() == "schema" && json.begin().value() == 1) << text;
  return json;
}

TEST(ZdrJson, IsOneObjectWhateverHappens) {
  const TempFolder folder;
  const std::string movie_first = read_file(kMovieFirst);
  const std::string odd_name = "caf\xe9.mp4";  // not UTF-8
  tests::write_file(folder / "cut.3gp", movie_first.substr(0, movie_first.size() / 2));
  tests::write_file(folder / odd_name, "");
  tests::write_file(folder / "notes.txt", "text");
  tests::write_file(folder / "h263-amr.Audio0.amr", "from an earlier run");
  for (const std::string command : {"play", "info"}) {
    const auto one = parsed(run_zdr({command, "cut.3gp", "--json", "-q"}, folder.path()).out);
    EXPECT_EQ(one.at("file"), "cut.3gp");
    EXPECT_EQ(one.at("exit_code"), command == "play" ? 3 : 0);
    EXPECT_TRUE(one.at("warnings").is_array());

    const auto several = parsed(run_zdr({command, odd_name, kTwoPins, "--json"}, folder.path()).out);
    EXPECT_EQ(several.at("files").at(0).at("file"), "caf\uFFFD.mp4");
    EXPECT_EQ(several.at("files").at(0).at("file_hex"), "636166e92e6d7034");
    EXPECT_EQ(several.at("files").at(0).at("exit_code"), 1);
    EXPECT_THAT(several.at("files").at(0).at("errors").at(0), HasSubstr("not UTF-8"));
    EXPECT_EQ(several.at("files").at(1).at("exit_code"), command == "play" ? 5 : 0);
  }
  const auto nowhere = parsed(run_zdr({"play", kTwoPins, "--json", "-o", "notes.txt"}, folder.path()).out);
  EXPECT_EQ(nowhere.at("exit_code"), 5);
  EXPECT_THAT(nowhere.at("errors").at(0), HasSubstr("notes.txt: is not a folder"));
  const std::string played = run_zdr({"play", kMovieFirst, "--json", "--force"}, folder.path()).out;
  EXPECT_EQ(played, run_zdr({"play", kMovieFirst, "--json", "--force"}, folder.path()).out);
  const auto json = parsed(played);
  EXPECT_EQ(json.at("streams").size(), 2u);
  for (const auto& stream : json.at("streams")) {
    EXPECT_TRUE(std::filesystem::exists(folder / stream.at("output").get<std::string>()));
  }
}

TEST(ZdrJson, SamplesAreOneObjectALineEqualToTheTable) {
  std::istringstream objects(run_zdr({"samples", kTwoPins, "--json"}).out);
  std::istringstream rows(run_zdr({"samples", kTwoPins}).out);
  std::string header;
  std::getline(rows, header);
  size_t count = 0;
  for (std::string row, object; std::getline(rows, row); ++count) {
    ASSERT_TRUE(std::getline(objects, object));
    std::string joined;
    const auto json = parsed(object);
    for (const auto& [key, value] : json.items()) {
      if (key == "schema") continue;
      joined += (joined.empty() ? "" : ",") + (value.is_string() ? value.get<std::string>() : value.dump());
    }
    EXPECT_EQ(row, joined);
  }
  EXPECT_EQ(count, 81u);
  EXPECT_TRUE(objects.peek() == EOF);
}

}  // namespace
}  // namespace zdr::host
