// `zdr boxes`, the tags, the cover and the notes of `zdr info`, and the JSON of all commands, on files with
// every box and on damaged ones.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

#include "mediakit/boxes/metadata_builder.h"
#include "mediakit/boxes/movie_builder.h"
#include "mediakit/files/id3_builder.h"
#include "tests/host/commands/zdr_files.h"

namespace zdr::test {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

const std::string kTwoPins = sample_path("h263-amr.3gp");
const std::string kMovieFirst = sample_path("moov-first.3gp");

// Builds a movie with one playable audio track and further children of `moov`.
Bytes movie_with(const Bytes& moov_children) {
  TrackDescription track = amr_track(200);
  track.appended["trak"] = box("udta", concat({full_hinf(), hnti("v=0\r\n")}));
  return build_movie({.tracks = {track}, .moov_children = moov_children}).bytes;
}

// The first member of a list of the report whose `key` has this value; null if there is none.
nlohmann::json member_of(const nlohmann::json& report, const char* list, const char* key,
                         const std::string& value) {
  for (const auto& member : report.at(list)) {
    if (member.at(key) == value) return member;
  }
  return nullptr;
}

nlohmann::json box_of(const nlohmann::json& report, const std::string& path) {
  return member_of(report, "boxes", "path", path);
}

nlohmann::json tag_of(const nlohmann::json& report, const std::string& type) {
  return member_of(report, "tags", "type", type);
}

TEST(ZdrInfo, ShowsAllTagsAsTextAndAsJson) {
  const TempFolder folder;
  const Bytes title = v23_frame("TIT2", bytes_of(std::string("\0id title", 9)));
  const Bytes id3 = full_box("meta", 0, 0, id32(0x55C4, id3v2(3, 0, title)));
  const Bytes wide = asset("dscp", utf16("wide"));
  const Bytes user_data = box("udta", concat({full_user_data(), wide}));
  write_bytes(folder, "all.3gp", movie_with(concat({user_data, id3})));
  const ZdrResult text = zdr("info all.3gp", folder);
  EXPECT_EQ(text.exit_code, 0);
  for (const char* line :
       {"title (titl, eng): titl\n", "description (dscp, eng): wide\n", "keywords (kywd, eng): one, two\n",
        "album (albm, eng): album, track 7\n", "year (yrrc): year 1999\n", "name (\u00A9nam): name\n",
        "compilation (cpil): yes\n", "genre (gnre): Reggae\n", "track (trkn): number 3, total 12\n",
        "cover (covr): image PNG, bytes 4\n", "gracenote id (gnid): id\n",
        "ID3v2 tag (ID32, und): ", "title (ID3v2.3): id title\n"}) {
    EXPECT_THAT(text.out, HasSubstr(line));
  }
  const auto report = parsed(zdr("info all.3gp --json", folder).out);
  EXPECT_EQ(report.at("tags").size(), 28u);
  EXPECT_EQ(tag_of(report, "loci").at("latitude"), 3 / 65536.0);
  EXPECT_EQ(tag_of(report, "rtng").at("entity"), "MPAA");
  EXPECT_EQ(tag_of(report, "kywd").at("keywords").at(1).at("text"), "two");
}

TEST(ZdrInfo, TagsCannotMoveTheCursor) {
  const TempFolder folder;
  const Bytes title = asset("titl", "\x1B[2Jgone\x7F\xC2\x85");
  write_bytes(folder, "odd.3gp", movie_with(box("udta", title)));
  EXPECT_THAT(zdr("info odd.3gp", folder).out, AllOf(HasSubstr("\\x1b[2Jgone"), Not(HasSubstr("\x1B"))));
  EXPECT_THAT(zdr("boxes odd.3gp", folder).out, AllOf(HasSubstr("\\x1b[2Jgone"), Not(HasSubstr("\x1B"))));
  for (const std::string command : {"boxes", "info"}) {
    EXPECT_THAT(zdr(command + " odd.3gp --json", folder).out, HasSubstr("\\u001b[2Jgone\\u007f\\u0085"));
  }
}

TEST(ZdrInfo, SavesTheCover) {
  const TempFolder folder;
  const std::string image = "\xFF\xD8\xFF" + std::string(5000, 'j');
  write_bytes(folder, "cover.mp4", movie_with(box("udta", item_list_meta({item("covr", image)}))));
  write_bytes(folder, "plain.mp4", movie_with({}));
  const std::tuple<const char*, int, const char*> kCases[] = {
      {"info cover.mp4 --cover c.jpg", 0, ""},
      {"info cover.mp4 --cover c.jpg", 5, "zdr: c.jpg: exists already (use --force to replace it)\n"},
      {"info cover.mp4 --cover c.jpg --force", 0, ""},
      {"info cover.mp4 --cover . --force", 5, "zdr: .: is a folder\n"},
      {"info plain.mp4 --cover d.jpg", 4, "zdr: plain.mp4: has no cover image\n"},
      {"info cover.mp4 plain.mp4 --cover e.jpg", 2, "zdr: --cover takes the image of one file; name one\n"},
  };
  for (const auto& [line, exit_code, err] : kCases) {
    const ZdrResult result = zdr(line, folder);
    EXPECT_EQ(result.exit_code, exit_code) << line;
    EXPECT_EQ(result.err, err);
  }
  EXPECT_EQ(read_file(folder / "c.jpg"), image);
  EXPECT_FALSE(std::filesystem::exists(folder / "d.jpg"));
  const auto json = parsed(zdr("info plain.mp4 --cover d.jpg --json", folder).out);
  EXPECT_EQ(json.at("exit_code"), 4);
  EXPECT_EQ(json.at("errors").at(0), "has no cover image");
}

TEST(ZdrBoxes, ShowsTheTreeInTheOrderOfTheFile) {
  const TempFolder folder;
  const Bytes file = movie_with(box("udta", full_user_data()));
  write_bytes(folder, "all.3gp", file);
  const ZdrResult text = zdr("boxes all.3gp", folder);
  EXPECT_EQ(text.exit_code, 0);
  EXPECT_THAT(text.out, HasSubstr("\n  moov  @"));
  EXPECT_THAT(text.out, HasSubstr("\n          stbl  @"));
  EXPECT_THAT(text.out, HasSubstr("        ilst  @"));
  EXPECT_THAT(text.out, HasSubstr("size 16  (skipped)\n")) << "smhd";
  EXPECT_LT(text.out.find("trak[1]"), text.out.find("titl"));

  const auto report = parsed(zdr("boxes all.3gp --json", folder).out);
  EXPECT_EQ(report.at("schema"), 1);
  uint64_t before = 0;
  for (const auto& box : report.at("boxes")) {
    const auto offset = box.at("offset").get<uint64_t>();
    EXPECT_GE(offset, before);
    before = offset;
    EXPECT_EQ(load_be32(file, offset), box.at("size")) << box.at("path");
  }
  const auto stsz = box_of(report, "moov/trak[1]/mdia/minf/stbl/stsz");
  EXPECT_EQ(stsz.at("fields").at("sample_count"), 200);
  EXPECT_EQ(stsz.at("state"), "kept");
  EXPECT_EQ(box_of(report, "moov/trak[1]/mdia/minf/smhd").at("state"), "skipped");
  EXPECT_EQ(box_of(report, "moov/udta/meta").at("state"), "kept") << "because its items are";
  EXPECT_EQ(box_of(report, "moov/udta/meta/ilst/\\xA9nam").at("type"), "\u00A9nam");
  EXPECT_EQ(box_of(report, "moov/udta/kywd").at("entries").at(0).at("keyword"), "one");
  EXPECT_EQ(box_of(report, "moov/trak[1]/udta/hinf/maxr").at("fields").at("bytes"), 700);
  EXPECT_EQ(box_of(report, "moov/trak[1]/udta/hnti/sdp ").at("fields").at("sdp"), "v=0\r\n");
}

TEST(ZdrBoxes, ShowsWhatWasReadBeforeAFailureAndItsReason) {
  const TempFolder folder;
  write_bytes(folder, "bad.mp4", movie_with(box("udta", concat({asset("titl", "kept"), header(5, "dscp")}))));
  const std::string reason = "zdr: bad.mp4: moov/udta/dscp at offset ";
  const ZdrResult text = zdr("boxes bad.mp4", folder);
  EXPECT_EQ(text.exit_code, 1);
  EXPECT_THAT(text.out, AllOf(HasSubstr("text=\"kept\""), HasSubstr("FAILED [-7017]"), HasSubstr("stsz")));
  EXPECT_THAT(text.err, HasSubstr(reason));
  EXPECT_THAT(text.err, HasSubstr(", size 5: damaged: the box size is wrong [-7017]\n"));
  for (const std::string command : {"info", "play"}) {
    EXPECT_EQ(zdr(command + " bad.mp4", folder).err, text.err) << "every command gives the same reason";
  }
  const ZdrResult json = zdr("boxes bad.mp4 --json", folder);
  EXPECT_EQ(json.exit_code, 1);
  const auto report = parsed(json.out);
  EXPECT_EQ(report.at("exit_code"), 1);
  EXPECT_THAT(report.at("errors").at(0), HasSubstr("moov/udta/dscp at offset "));
  EXPECT_EQ(report.at("failure").at("path"), "moov/udta/dscp");
  EXPECT_EQ(report.at("failure").at("size"), 5);
  EXPECT_EQ(report.at("failure").at("status"), -7017);
  EXPECT_EQ(box_of(report, "moov").at("status"), -7017);
  EXPECT_EQ(box_of(report, "moov/udta/titl").at("fields").at("text"), "kept");
}

TEST(ZdrBoxes, ShowsWhatIsDropped) {
  const TempFolder folder;
  TrackDescription dropped = amr_track(2);
  dropped.appended["stbl"] = box("stdp");
  const Bytes udta =
      box("udta", concat({asset("titl", "old"), asset("titl", utf16("new")), asset("albm", utf16("no track")),
                          item_list_meta({item("gnre", "\x01"), item("cpil", "\x01")})}));
  write_bytes(folder, "odd.mp4", build_movie({.tracks = {dropped}, .moov_children = udta}).bytes);
  const ZdrResult text = zdr("boxes odd.mp4", folder);
  EXPECT_EQ(text.exit_code, 0);
  for (const char* line :
       {"  (not kept)  language=\"eng\"  text=\"old\"\n", "version 0  language=\"eng\"  text=\"new\"\n",
        "album_title=\"no track\"  track_number=0\n", "  (not kept)  entry_count=1\n",
        "value=01 (1 bytes)"}) {
    EXPECT_THAT(text.out, HasSubstr(line));
  }
  EXPECT_EQ(text.err, "zdr: odd.mp4: the audio track has no usable sample tables [-7046]\n");
  EXPECT_THAT(zdr("info odd.mp4", folder).err, HasSubstr("[-7046]"));
}

// The record of a small box or entry takes many times the bytes of the box.
TEST(ZdrBoxes, LimitsItsListAndReportsWhatIsLeftOut) {
  const TempFolder folder;
  Bytes many;
  for (int i = 0; i < 100005; ++i) many.insert(many.end(), {0, 0, 0, 8, 'f', 'r', 'e', 'e'});
  write_bytes(folder, "boxes.mp4", concat({many, box("moov")}));
  const ZdrResult boxes = zdr("boxes boxes.mp4", folder);
  EXPECT_EQ(boxes.exit_code, 0);
  EXPECT_EQ(boxes.err, "zdr: boxes.mp4: 6 more boxes are not shown\n");
  TrackDescription track = amr_track(1);
  track.edits.assign(100003, {});
  write_bytes(folder, "edits.mp4", build_movie(track).bytes);
  const ZdrResult edits = zdr("boxes edits.mp4", folder);
  EXPECT_THAT(edits.out, AllOf(HasSubstr("    [100000]  segment_duration=0"), Not(HasSubstr("[100001]"))));
  EXPECT_THAT(edits.err, HasSubstr("edits.mp4: 3 more list entries are not shown\n"));
  write_bytes(folder, "text.mp4", movie_with(box("udta", asset("titl", std::string(1000000, '\xE9')))));
  EXPECT_LT(zdr("boxes text.mp4", folder).out.size(), 20000u);
  EXPECT_THAT(zdr("boxes text.mp4 --json", folder).out.size(), testing::Lt(60000u));
}

TEST(ZdrBoxes, TimesHaveTheirTimeScales) {
  const TempFolder folder;
  TrackDescription track = amr_track(2);
  track.time_scale = 8000;
  track.edits = {{.segment_duration = 1, .media_time = 80}};
  write_bytes(folder, "a.mp4", build_movie({.tracks = {track}, .movie_time_scale = 600}).bytes);
  const auto report = parsed(zdr("boxes a.mp4 --json", folder).out);
  const auto edits = box_of(report, "moov/trak[1]/edts/elst");
  EXPECT_EQ(edits.at("movie_time_scale"), 600);
  EXPECT_EQ(edits.at("media_time_scale"), 8000);
  EXPECT_EQ(box_of(report, "moov/trak[1]/tkhd").at("movie_time_scale"), 600);
}

TEST(ZdrNotes, ListWhatIsLeftOutOnStandardErrorUnlessQuiet) {
  const auto of_kind = [](const char* handler) {
    TrackDescription track = amr_track(1);
    track.handler = handler;
    return track;
  };
  const auto with_edits = [](TrackDescription track, std::vector<Edit> edits) {
    track.time_scale = 8000;
    track.durations = {160};
    track.edits = std::move(edits);
    return track;
  };
  const TrackDescription sound = amr_track(10);
  TrackDescription wide_edits = sound;
  wide_edits.replaced["edts"] = box("edts", elst({{.segment_duration = 1000, .media_time = 0}}, 1));
  const std::string kAudioEdits = "the audio track's edit list is not applied: ";
  const std::pair<MovieDescription, std::string> kCases[] = {
      {{.tracks = {sound}}, ""},
      {{.tracks = {sound, of_kind("text"), of_kind("text"), of_kind("ab\x1B/")}},
       "2 text track(s) not used|1 track(s) with the handler 'ab\\x1b/' not used|"},
      {{.tracks = {sound, of_kind("soun")}}, "1 further audio track(s) not used; the first is|"},
      {{.tracks = {sound, of_kind("hint"), of_kind("sbtl"), of_kind("subt"), of_kind("tmcd")}},
       "1 hint track(s) not used|2 subtitle track(s) not used|1 time code track(s) not used|"},
      {{.tracks = {avc_track(1), amr_track(0)}}, "the audio track has no samples in its tables|"},
      {{.tracks = {wide_edits}}, kAudioEdits + "its entries are 64 bits wide|"},
      {{.tracks = {sound}, .moov_children = box("mvex")}, "movie fragments are not read|"},
      {{.tracks = {sound}, .before_moov = box("moof")}, "movie fragments are not read|"},
      {{.tracks = {with_edits(sound, {{.segment_duration = 200, .media_time = 0}})}}, ""},
      {{.tracks = {with_edits(sound, {{.segment_duration = 190, .media_time = 80}})}},
       kAudioEdits + "priming of 80/8000 s is not trimmed|"},
      {{.tracks = {with_edits(sound, {{.segment_duration = 150, .media_time = 0}})}},
       kAudioEdits + "the last 400/8000 s are not trimmed|"},
      {{.tracks = {with_edits(sound, {{.segment_duration = 150, .media_time = 80}})}},
       kAudioEdits + "priming of 80/8000 s is not trimmed, the last 320/8000 s are not trimmed|"},
      {{.tracks = {with_edits(sound, {{.segment_duration = 199, .media_time = 0}})}}, ""},  // rounding
      {{.tracks = {with_edits(sound, {{.segment_duration = 50, .media_time = -1},
                                      {.segment_duration = 200, .media_time = 0}})}},
       ""},
      {{.tracks = {with_edits(sound, {{.segment_duration = 100, .media_time = 0},
                                      {.segment_duration = 100, .media_time = 0}})}},
       kAudioEdits + "its 2 parts are played as they are stored|"},
      {{.tracks = {with_edits(avc_track(10), {{.segment_duration = 190, .media_time = 80}})}},
       "the video track's edit list is not applied: it begins 80/8000 s into the media|"},
  };
  const TempFolder folder;
  for (const auto& [movie, expected] : kCases) {
    write_bytes(folder, "a.mp4", build_movie(movie).bytes);
    std::string lines;
    size_t count = 0;
    std::istringstream notes(expected);
    for (std::string note; std::getline(notes, note, '|'); ++count) lines += "zdr: a.mp4: " + note + "\n";
    for (const std::string command : {"info", "boxes", "samples"}) {
      const ZdrResult result = zdr(command + " a.mp4", folder);
      EXPECT_EQ(result.err, lines) << command;
      EXPECT_THAT(result.out, Not(HasSubstr("not used"))) << command;
      EXPECT_THAT(zdr(command + " a.mp4 -q", folder).err, IsEmpty()) << command;
    }
    const ZdrResult json = zdr("info a.mp4 --json", folder);
    EXPECT_THAT(json.err, IsEmpty());
    EXPECT_EQ(parsed(json.out).at("warnings").size(), count) << expected;
  }
}

TEST(ZdrInfo, WarnsOfAFileWithoutClipInformationAfterTheNotesOfTheRun) {
  const TempFolder folder;
  TrackDescription unknown = avc_track(3);
  unknown.sample_entries = {video_entry("hev1", 176, 144)};
  write_bytes(folder, "half.mp4", build_movie({.tracks = {amr_track(20), unknown}}).bytes);
  write_file(folder / "registry.reg",
             "Windows Registry Editor Version 5.00\r\n\r\n"
             "[HKEY_CLASSES_ROOT\\Media Type\\Extensions\\.mp4]\r\n\"Source Filter\"=\"{no class}\"\r\n");
  std::filesystem::permissions(folder / "registry.reg", std::filesystem::perms(0600));
  ZdrSetup setup;
  setup.arguments = words_of("info half.mp4 --json");
  setup.folder = folder.path();
  setup.environment = {"ZDR_REGISTRY=" + (folder / "registry.reg").string()};
  EXPECT_THAT(parsed(ZdrProcess(setup).finish().out).at("warnings").dump(),
              AllOf(HasSubstr("the filter beside this program is used"),
                    HasSubstr("no clip information: its first video or audio track cannot be described")));
}

TEST(ZdrJson, IsOneObjectInEveryCase) {
  const TempFolder folder;
  const std::string movie_first = read_file(kMovieFirst);
  const std::string odd_name = "caf\xe9.mp4";  // not UTF-8
  write_file(folder / "cut.3gp", movie_first.substr(0, movie_first.size() / 2));
  write_file(folder / odd_name, "");
  write_file(folder / "notes.txt", "text");
  write_file(folder / "h263-amr.Audio0.amr", "from an earlier run");
  for (const std::string command : {"play", "info"}) {
    const auto one = parsed(zdr(command + " cut.3gp --json -q", folder).out);
    EXPECT_EQ(one.at("file"), "cut.3gp");
    EXPECT_EQ(one.at("exit_code"), command == "play" ? 3 : 0);
    EXPECT_TRUE(one.at("warnings").is_array());

    const auto several = parsed(zdr(command + " " + odd_name + " @h263-amr.3gp --json", folder).out);
    EXPECT_EQ(several.at("files").at(0).at("file"), "caf\uFFFD.mp4");
    EXPECT_EQ(several.at("files").at(0).at("file_hex"), "636166e92e6d7034");
    EXPECT_EQ(several.at("files").at(0).at("exit_code"), 1);
    EXPECT_THAT(several.at("files").at(0).at("errors").at(0), HasSubstr("not UTF-8"));
    EXPECT_EQ(several.at("files").at(1).at("exit_code"), command == "play" ? 5 : 0);
  }
  const auto nowhere = parsed(zdr("play @h263-amr.3gp --json -o notes.txt", folder).out);
  EXPECT_EQ(nowhere.at("exit_code"), 5);
  EXPECT_THAT(nowhere.at("errors").at(0), HasSubstr("notes.txt: is not a folder"));
  const std::string played = zdr("play @moov-first.3gp --json --force", folder).out;
  EXPECT_EQ(played, zdr("play @moov-first.3gp --json --force", folder).out);
  const auto json = parsed(played);
  EXPECT_EQ(json.at("streams").size(), 2u);
  for (const auto& stream : json.at("streams")) {
    EXPECT_TRUE(std::filesystem::exists(folder / stream.at("output").get<std::string>()));
  }
}

TEST(ZdrJson, SamplesAreOneObjectPerLineWithTheValuesOfTheTable) {
  std::istringstream objects(zdr("samples @h263-amr.3gp --json").out);
  std::istringstream rows(zdr("samples @h263-amr.3gp").out);
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
}  // namespace zdr::test
