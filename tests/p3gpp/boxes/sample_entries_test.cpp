// Which sample entries stsd accepts, and where each leaves the stream for the next box.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "mediakit/boxes/movie_builder.h"
#include "tests/p3gpp/opened_movie.h"

namespace zdr::test {
namespace {

Bytes with_stsd(const Bytes& stsd_box) {
  TrackDescription track = amr_track(2);
  track.replaced["stsd"] = stsd_box;
  return build_movie(track).bytes;
}

const Bytes kDamr = damr(1, 2, 3, 4, 5);

TEST(SampleEntries, FailTheTrackIfTheyAreMalformed) {
  const Bytes overrun = header(60, "free");
  const Bytes tiny = header(7, "free");
  const auto video = [](const char* type, const Bytes& children) {
    return video_entry(type, 16, 16, children);
  };
  const auto audio = [](const char* type, const Bytes& children) {
    return audio_entry(type, 1, 8000, children);
  };
  std::vector<OpenCase> cases = {
      {"mp4v without esds", video("mp4v", box("pasp", Bytes(8))), P3GPP_ERR_GENERIC},
      {"mp4a without esds", audio("mp4a", box("wave", Bytes(8))), P3GPP_ERR_GENERIC},
      {"mp4a of 36 bytes", audio("mp4a", {}), P3GPP_ERR_GENERIC},
      {"mp4s of 16 bytes", plain_entry("mp4s"), P3GPP_ERR_GENERIC},
      {"esds after another box", video("mp4v", concat({box("pasp", Bytes(8)), esds({})})), P3GPP_OK},
      {"esds of 11 bytes", audio("mp4a", box("esds", Bytes(3))), P3GPP_ERR_BOX_SIZE},
      {"esds longer than its entry", audio("mp4a", with_size(esds({}), 400)), P3GPP_ERR_BOX_SIZE},
      {"child of 7 bytes before esds", audio("mp4a", concat({tiny, esds({})})), P3GPP_ERR_BOX_SIZE},
      {"child past the end in mp4v", video("mp4v", overrun), P3GPP_ERR_BOX_SIZE},
      {"child past the end in avc1", video("avc1", concat({avcc({}), overrun})), P3GPP_ERR_BOX_SIZE},
      {"avcC of 12 bytes", video("avc1", box("avcC", Bytes(4))), P3GPP_ERR_BOX_SIZE},
      {"child past the end in s263", video("s263", overrun), P3GPP_ERR_BOX_SIZE},
      {"d263 of 14 bytes", video("s263", box("d263", Bytes(6))), P3GPP_ERR_BOX_SIZE},
      {"bitr of 12 bytes", video("s263", d263(1, 2, 3, 4, box("bitr", Bytes(4)))), P3GPP_ERR_BOX_SIZE},
      {"dec3 that lacks a substream", audio("ec-3", dec3(1, {{}}, 1)), P3GPP_ERR_BOX_SIZE},
      {"first child past the end", audio("samr", with_size(kDamr, 18)), P3GPP_ERR_BOX_SIZE},
      {"damr of 16 bytes", audio("samr", box("damr", Bytes(8))), P3GPP_ERR_BOX_SIZE},
      {"samr of 30 bytes", box("samr", Bytes(22)), P3GPP_ERR_BOX_SIZE},
      {"samr of 43 bytes", audio("samr", Bytes(7)), P3GPP_OK},
      {"junk after damr", audio("samr", concat({kDamr, Bytes(5)})), P3GPP_OK},
      {"dac3 of 10 bytes", audio("ac-3", box("dac3", Bytes(2))), P3GPP_ERR_BOX_SIZE},
      {".mp3 of 36 bytes", audio(".mp3", {}), P3GPP_OK},
      {"unknown entry of any content", box("encv", Bytes(3)), P3GPP_OK},
      {"entry of 7 bytes", header(7, "mp4a"), P3GPP_ERR_BOX_SIZE},
      {"entry past the end", header(500, "mp4a"), P3GPP_ERR_BOX_SIZE},
  };
  for (auto& [name, file, status] : cases) file = with_stsd(stsd({file}));
  expect_statuses(cases);
  EXPECT_EQ(OpenedMovie(with_stsd(full_box("stsd", 0, 0, Bytes(3)))).status, P3GPP_ERR_BOX_SIZE);
}

TEST(SampleEntries, EndAtTheirCountOrAtTheEndOfTheBox) {
  const Bytes entry = audio_entry("samr", 1, 8000, kDamr);
  // Claimed and stored entries.
  for (const auto& [claimed, stored] :
       std::map<uint32_t, uint32_t>{{0, 0}, {1, 1}, {2, 2}, {3, 2}, {0xFFFFFFFF, 2}}) {
    const OpenedMovie movie(with_stsd(stsd({entry, entry}, claimed)));
    const ShownBoxes shown = boxes_of(movie);
    EXPECT_EQ(shown.fields("moov/trak[1]/mdia/minf/stbl/stsd"), "entry_count=" + std::to_string(claimed));
    EXPECT_EQ(decoder_status(movie.file, 1, stored), stored == 0 ? P3GPP_ERR_NO_TABLE : P3GPP_OK);
    EXPECT_EQ(decoder_status(movie.file, 1, stored + 1), P3GPP_ERR_NO_TABLE);
    EXPECT_NE(shown.find("moov/trak[1]/mdia/minf/stbl/stsz"), nullptr) << "after stsd";
  }
  // Bytes after the last entry are not an entry.
  EXPECT_EQ(OpenedMovie(with_stsd(counted_table("stsd", 1, concat({entry, Bytes(4)})))).status, P3GPP_OK);
}

// These entries leave the stream just past the fields that they read, so any further bytes of the entry are
// read as the next box header.
TEST(SampleEntries, KeptSpeechEntriesMustEndWithTheirConfiguration) {
  const std::vector<std::pair<const char*, Bytes>> cases = {{"sawp", dawp(1, 2)},
                                                            {"sevc", speech_configuration("devc", 1, 2, 3)},
                                                            {"secb", speech_configuration("decb", 1, 2, 3)},
                                                            {"secw", speech_configuration("decw", 1, 2, 3)},
                                                            {"sqcp", speech_configuration("dqcp", 1, 2, 3)},
                                                            {"ssmv", speech_configuration("dsmv", 1, 2, 3)}};
  for (const auto& [type, configuration] : cases) {
    SCOPED_TRACE(type);
    const auto entry = [&, type = type](const Bytes& children) {
      return audio_entry(type, 1, 8000, children);
    };
    expect_statuses({
        {"configuration", with_stsd(stsd({entry(configuration)})), P3GPP_OK},
        {"then 8 zeros", with_stsd(stsd({entry(concat({configuration, Bytes(8)}))})), P3GPP_ERR_BOX_SIZE},
        // After a first child of another type the rest of the entry is skipped.
        {"another child first", with_stsd(stsd({entry(concat({box("abcd"), configuration}))})), P3GPP_OK},
        {"without it", with_stsd(stsd({entry({}), entry(configuration)})), P3GPP_OK},
    });
  }
}

}  // namespace
}  // namespace zdr::test
