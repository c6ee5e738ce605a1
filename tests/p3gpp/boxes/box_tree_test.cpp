// Which files open, the status and location of the error for those that do not, and what is stored.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "mediakit/boxes/movie_builder.h"
#include "tests/p3gpp/opened_movie.h"

namespace zdr::test {
namespace {

const Bytes kMoov = box("moov", mvhd());

Bytes with_tracks(const std::vector<TrackDescription>& tracks) {
  return build_movie(MovieDescription{.tracks = tracks}).bytes;
}
// A track whose box of this type is replaced, and one whose container has more children.
TrackDescription replacing(const std::string& type, const Bytes& bytes) {
  TrackDescription track = amr_track(3);
  track.replaced[type] = bytes;
  return track;
}
TrackDescription extending(const std::string& container, const Bytes& bytes) {
  TrackDescription track = amr_track(3);
  track.appended[container] = bytes;
  return track;
}

// --- Top level ---

TEST(TopLevel, KeptScanEndsAtMoovAndAtSize0) {
  const Bytes mdat = box("mdat", Bytes(100));
  expect_statuses({
      {"half a header", Bytes(5), P3GPP_ERR_NO_MOOV},
      {"no moov", concat({ftyp(), mdat}), P3GPP_ERR_NO_MOOV},
      {"empty moov alone", box("moov"), P3GPP_OK},
      {"box to the end of the file before moov", concat({with_size(mdat, 0), kMoov}), P3GPP_ERR_NO_MOOV},
      {"moov to the end of the file", concat({ftyp(), with_size(kMoov, 0)}), P3GPP_ERR_NO_MOOV},
      {"anything after moov", concat({kMoov, with_size(mdat, 0), header(2, "junk")}), P3GPP_OK},
      {"size 7", concat({with_size(mdat, 7), kMoov}), P3GPP_ERR_BOX_SIZE},
      {"box longer than the file", concat({with_size(mdat, 0xFFFFFFFF), kMoov}), P3GPP_ERR_NO_MOOV},
      {"moov longer than the file", with_size(kMoov, 500), P3GPP_ERR_READ},
  });
}

TEST(TopLevel, Kept64BitFormMeasuresAllLaterBoxes) {
  const Bytes body(100);
  const Bytes type = ftyp("isom", 0, {"isom", "3gp4"});
  // A size that wraps the position must not lead back to a movie box that was skipped.
  const Bytes free_with_moov = box("free", kMoov);
  const Bytes wrapping = large_box("mdat", Bytes(8), uint64_t{0} - (free_with_moov.size() - 8));
  const auto after_wide_box_of = [&](size_t size) {
    return concat({large_box("mdat", Bytes(size - 16)), type, kMoov});
  };
  const auto claiming = [&](uint64_t size) { return concat({large_box("mdat", body, size), kMoov}); };
  // After a 64-bit box of 24 bytes every box counts as 24 bytes long, and the skip over it is 8 bytes short.
  const Bytes wide = large_box("mdat", Bytes(8));
  expect_statuses({
      {"mdat, moov", concat({ftyp(), large_box("mdat", body), kMoov}), P3GPP_OK},
      {"truncated size", concat({header(1, "mdat"), Bytes(7)}), P3GPP_ERR_READ},
      {"size 2^64 - 1", claiming(0xFFFFFFFFFFFFFFFF), P3GPP_ERR_NO_MOOV},
      {"size back to a hidden moov", concat({free_with_moov, wrapping}), P3GPP_ERR_NO_MOOV},
      {"size 15", claiming(15), P3GPP_ERR_BOX_SIZE},
      {"moov in the 64-bit form", large_box("moov", mvhd()), P3GPP_ERR_BOX_SIZE},
      {"empty moov in the 64-bit form", large_box("moov", {}), P3GPP_ERR_READ},
      {"moov of size 0", concat({large_box("mdat", body), with_size(kMoov, 0)}), P3GPP_ERR_BOX_SIZE},
      // ftyp is measured by the 64-bit size, so only a size that happens to fit leads to moov.
      {"twice as long as the ftyp after it", after_wide_box_of(2 * type.size()), P3GPP_ERR_NO_MOOV},
      {"one byte less", after_wide_box_of(type.size() + 7), P3GPP_ERR_BOX_SIZE},
      {"too short for the brands", after_wide_box_of(16), P3GPP_ERR_BOX_SIZE},
      {"the body of the ftyp", after_wide_box_of(type.size() + 8), P3GPP_OK},
      {"moov 8 bytes too early", concat({wide, box("free", Bytes(4)), kMoov}), P3GPP_ERR_NO_MOOV},
  });
  const ShownBoxes shown = boxes_of(OpenedMovie(concat({wide, box("free", concat({Bytes(8), kMoov}))})));
  ASSERT_NE(shown.find("moov"), nullptr);
  EXPECT_EQ(shown.find("moov")->header.offset, wide.size() + 24) << "the stream is 8 bytes short";
}

TEST(TopLevel, KeptFileTypeOfUpTo32Brands) {
  const std::vector<std::string_view> brands(33, "3gp4");
  expect_statuses({
      {"8 bytes", concat({header(8, "ftyp"), kMoov}), P3GPP_OK},
      {"12 bytes", concat({header(12, "ftyp"), Bytes(4), kMoov}), P3GPP_ERR_READ},
      {"33 brands", concat({ftyp("isom", 0, brands), kMoov}), P3GPP_ERR_READ},
      {"truncated", concat({header(24, "ftyp"), Bytes(4)}), P3GPP_ERR_READ},
  });
  EXPECT_EQ(boxes_of(OpenedMovie(concat({header(8, "ftyp"), kMoov}))).fields("ftyp"), "");
  const Bytes file = concat({ftyp("old ", 1), box("moof", Bytes(20)),
                             ftyp("3gp4", 0x200, {brands.begin(), brands.end() - 1}), kMoov, box("moof")});
  const ShownBoxes shown = boxes_of(OpenedMovie(file));
  std::string expected = "major_brand=3gp4 minor_version=512 compatible_brands=";
  for (int i = 0; i < 32; ++i) expected += "3gp4";
  EXPECT_EQ(shown.fields("ftyp"), expected);
  EXPECT_EQ(shown.fields("moof"), "");
  EXPECT_EQ(shown.find("moof")->header.offset, ftyp("old ", 1).size());
}

// --- The child loop ---

TEST(ChildLoop, RefusesChildrenThatDoNotFit) {
  const auto file = [](const Bytes& more) { return concat({box("moov", {mvhd(), more}), Bytes(16)}); };
  const auto sizes = [](const Bytes& stsz_box) { return with_tracks({replacing("stsz", stsz_box)}); };
  const auto times = [](const Bytes& stts_box) { return with_tracks({replacing("stts", stts_box)}); };
  expect_statuses({
      {"unknown child", file(box("abcd", header(0, "bad "))), P3GPP_OK},
      {"size 0", file(header(0, "free")), P3GPP_ERR_BOX_SIZE},
      {"size 7", file(header(7, "free")), P3GPP_ERR_BOX_SIZE},
      {"one byte too long", file(header(9, "free")), P3GPP_ERR_BOX_SIZE},
      {"64-bit size", file(large_box("free", Bytes(8))), P3GPP_ERR_BOX_SIZE},
      {"tail of 4 bytes", file(Bytes(4)), P3GPP_ERR_BOX_SIZE},
      {"tail cut off by the end of the file", with_size(concat({kMoov, Bytes(4)}), 120), P3GPP_ERR_READ},
      {"header past the end of the file", with_size(kMoov, 200), P3GPP_ERR_READ},
      {"sizes beyond the table", sizes(stsz({1, 2}, 3)), P3GPP_ERR_NO_TABLE},
      {"size table without its header", sizes(full_box("stsz", 0, 0, Bytes(7))), P3GPP_ERR_NO_TABLE},
      {"times beyond the table", times(stts({{3, 1}}, 0xFFFFFFFF)), P3GPP_OK},
      {"time table without its header", times(full_box("stts", 0, 0, Bytes(3))), P3GPP_ERR_BOX_SIZE},
  });
}

TEST(ChildLoop, StoresTheLaterOfTwoBoxesOfATypeAndSkipsUnknownOnes) {
  TrackDescription track = amr_track(3);
  const Bytes unknown = concat({box("abcd", Bytes(11)), box("free", header(0, "bad "))});
  for (const char* container : {"mdia", "minf"}) track.appended[container] = unknown;
  track.appended["trak"] = concat({unknown, tkhd({.track_id = 77})});
  track.appended["stbl"] = concat({unknown, stsd({}), stsz({1, 2})});
  const ShownBoxes shown = boxes_of(OpenedMovie(with_tracks({track})));
  EXPECT_NE(shown.fields("moov/trak[1]/tkhd").find("track_id=77 "), std::string::npos);
  EXPECT_EQ(shown.fields("moov/trak[1]/mdia/minf/stbl/stsd"), "entry_count=0");
  EXPECT_EQ(shown.fields("moov/trak[1]/mdia/minf/stbl/stsz"), "default_size=0 sample_count=2");
}

TEST(ChildLoop, KeptDamagedLaterTrackEndsTheMovieBoxWithSuccess) {
  // "status of the error / stored tracks / time scale": boxes after a damaged track are not read.
  const auto opened = [](const std::vector<TrackDescription>& tracks) {
    const OpenedMovie movie(
        build_movie({.tracks = tracks, .moov_children = mvhd({.time_scale = 4711})}).bytes);
    if (movie.status != P3GPP_OK) return std::to_string(movie.status);
    P3gppMovieInfo info{};
    P3gppTrackCounts counts{};
    P3GPP_GetMovieInfo(movie.file, &info);
    P3GPP_GetTrackCounts(movie.file, &counts);
    return std::to_string(movie.error.status) + '/' + std::to_string(counts.total) + '/' +
           std::to_string(info.time_scale);
  };
  const TrackDescription good = amr_track(3);
  const TrackDescription bad = extending("mdia", header(4, "free"));
  EXPECT_EQ(opened({good, good}), "0/2/4711");
  EXPECT_EQ(opened({good, bad, good}), "-7017/1/1000");
  EXPECT_EQ(opened({good, good, extending("trak", header(900, "free"))}), "-7017/2/1000");
  EXPECT_EQ(opened({bad, good}), "-7017");
  // Only a damaged track is tolerated, not one that runs past the movie box.
  const Bytes overlong = concat({build_trak(good, 1, {0, 0, 0}), header(4000, "trak")});
  EXPECT_EQ(OpenedMovie(box("moov", overlong)).status, P3GPP_ERR_BOX_SIZE);
}

TEST(ChildLoop, KeptDegradationPrioritiesMakeTheSampleTablesUnusable) {
  TrackDescription track = extending("stbl", concat({box("stdp", Bytes(10)), stts({{1, 1}})}));
  track.appended["minf"] = hmhd(1, 2, 3, 4);  // follows stbl and must still be found
  const OpenedMovie movie(with_tracks({track, amr_track(2)}));
  const ShownBoxes shown = boxes_of(movie);
  EXPECT_EQ(shown.fields("moov/trak[1]/mdia/minf/stbl"), "");
  EXPECT_EQ(shown.fields("moov/trak[1]/mdia/minf/stbl/stts"), "-");
  EXPECT_NE(shown.fields("moov/trak[1]/mdia/minf/hmhd"), "-");
  P3gppTrackCounts counts{};
  EXPECT_EQ(P3GPP_GetTrackCounts(movie.file, &counts), P3GPP_OK);
  EXPECT_EQ(counts.audio, 2u);
  P3gppTrack* opened = nullptr;
  EXPECT_EQ(P3GPP_OpenTrack(movie.file, &opened, 1, 8192), P3GPP_ERR_NO_STBL_PAYLOAD);
  EXPECT_EQ(decoder_status(movie.file, 1), P3GPP_ERR_NO_STBL_PAYLOAD);
}

TEST(OpenError, NamesTheInnermostBoxWithItsOffsetAndSize) {
  const std::string odd = "\001\177/\377";
  TrackDescription bad_configuration = amr_track(1);
  bad_configuration.sample_entries.push_back(audio_entry("samr", 1, 8000, box("damr", Bytes(3))));
  // Path, type at which the error must point, file.
  const std::vector<std::tuple<const char*, std::string, Bytes>> cases = {
      {"moov/trak[2]/mdia/hdlr", "hdlr",
       with_tracks({amr_track(1), replacing("hdlr", full_box("hdlr", 0, 0))})},
      {"moov/trak[1]/mdia/minf/stbl/stsd/samr[2]/damr", "damr", with_tracks({bad_configuration})},
      {"moov/trak[1]/\\x01\\x7F\\x2F\\xFF", odd, with_tracks({extending("trak", header(5, odd))})},
      {"ftyp", "ftyp", concat({header(12, "ftyp"), Bytes(4)})},
      {"mdat", "mdat", concat({ftyp(), header(3, "mdat")})},
  };
  for (const auto& [path, type, file] : cases) {
    const OpenedMovie movie(file);
    EXPECT_STREQ(movie.error.path, path);
    EXPECT_EQ(movie.error.offset, as_text(file).rfind(type) - 4) << path;
    EXPECT_EQ(movie.error.size, load_be32(file, static_cast<size_t>(movie.error.offset))) << path;
  }
}

// Path, disposition and size of each box, whether the tree will have it or not.
TEST(BoxTrace, ShowsEveryBoxOfAFileThatDoesNotOpen) {
  const Bytes moov = box("moov", {box("udta", header(99, "free")), header(4, "bad ")});
  const std::pair<Bytes, std::string> cases[] = {
      {concat({box("moof", Bytes(4)), large_box("mdat", Bytes(4)), moov}),
       "moof 0 12, mdat 1 20, moov/udta/free 2 99, moov/udta 0 16, moov/bad  2 4, moov 0 32, "},
      {with_size(box("mdat"), 0), "mdat 1 0, "}};
  for (const auto& [file, boxes] : cases) {
    std::string shown;
    const auto add = [](void* caller, const P3gppBox* each) {
      *static_cast<std::string*>(caller) +=
          each->path + (" " + std::to_string(each->disposition)) + " " + std::to_string(each->size) + ", ";
    };
    const P3gppBoxVisitor visitor{&shown, add, nullptr};
    const Source source(FMGR_DEV_MEMORY, as_text(file));
    P3gppFile* opened = nullptr;
    EXPECT_NE(P3GPP_OpenTraced(&opened, &source.descriptor(), make_context(0, 0).get(), nullptr, &visitor),
              0);
    EXPECT_EQ(shown, boxes);
  }
}

}  // namespace
}  // namespace zdr::test
