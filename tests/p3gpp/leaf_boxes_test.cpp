// The fields of the small boxes, by version, and the sizes that they refuse.
#include "p3gpp/leaf_boxes.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "opened_movie.h"
#include "p3gpp/box_rules.h"

namespace zdr::test {
namespace {

using p3gpp::BoxNode;
using p3gpp::FileTime;
using p3gpp::payload_of;
using testing::ElementsAre;

constexpr uint64_t kWideTime = 0x0000000511112222;

// Parses `bytes`, one whole box, in a file that ends with it.
class ParsedBox {
 public:
  ParsedBox(p3gpp::BoxParser parse, Bytes bytes) : source_(std::move(bytes)) {
    const FMGR_Config config{0, 0};
    FMGR_Init(&context_, &config);
    p3gpp::StreamHandle stream(FMGR_FOpen(&source_.descriptor, "rb", context_));
    parse_.stream = stream.get();
    FMGR_FSize64(stream.get(), &parse_.file_size);
    std::array<uint8_t, 8> header{};
    parse_.read(header);
    node.size = p3gpp::load_be32(header.data());
    p3gpp::BoxReader reader(parse_, node.size - 8);
    status = parse(reader, node);
    EXPECT_EQ(status, reader.status());
    if (status != P3GPP_OK) {
      EXPECT_EQ(node.payload, nullptr);
    }
  }
  ~ParsedBox() {
    node.payload.reset();
    FMGR_Deinit(context_);
  }
  template <typename Payload>
  const Payload& as() const {
    return *payload_of<Payload>(&node);
  }

  BoxNode node;
  int32_t status = 0;

 private:
  MemorySource source_;
  FMGR_Context* context_ = nullptr;
  p3gpp::ParseContext parse_;
};

void expect_time(const FileTime& time, uint32_t first, uint32_t second) {
  EXPECT_EQ(time.first, first);
  EXPECT_EQ(time.second, second);
}

// Required: a 64-bit time shows by its high half to readers, which take the first word.
TEST(LeafBoxes, RequiredFirstWordOfATimeIsTheHighHalfOf64Bits) {
  for (const uint32_t version : {0u, 1u}) {
    const uint64_t base = version == 1 ? kWideTime : 0x11112222;
    const auto expect = [&](const FileTime& time, uint32_t added) {
      version == 1 ? expect_time(time, 5, 0x11112222 + added) : expect_time(time, 0x11112222 + added, 0);
    };
    const ParsedBox movie(p3gpp::parse_mvhd, mvhd({version, base, base + 1, 600, base + 2, 0x8000, 0x80}));
    ASSERT_EQ(movie.status, P3GPP_OK);
    const auto& mvhd_fields = movie.as<p3gpp::MvhdPayload>();
    expect(mvhd_fields.creation_time, 0);
    expect(mvhd_fields.modification_time, 1);
    expect(mvhd_fields.duration, 2);
    EXPECT_EQ(mvhd_fields.time_scale, 600u);
    EXPECT_EQ(mvhd_fields.rate, 0x8000u);
    EXPECT_EQ(mvhd_fields.volume, 0x80u);

    const ParsedBox media(p3gpp::parse_mdhd, mdhd({version, base, base + 1, 8000, base + 2, 0x15C7}));
    ASSERT_EQ(media.status, P3GPP_OK);
    const auto& mdhd_fields = media.as<p3gpp::MdhdPayload>();
    expect(mdhd_fields.creation_time, 0);
    expect(mdhd_fields.modification_time, 1);
    expect(mdhd_fields.duration, 2);
    EXPECT_EQ(mdhd_fields.time_scale, 8000u);
    EXPECT_EQ(mdhd_fields.language, 0x15C7u);

    const ParsedBox track(p3gpp::parse_tkhd,
                          tkhd({version, base, base + 1, 42, base + 2, 7, 8, 9, 320, 240}));
    ASSERT_EQ(track.status, P3GPP_OK);
    const auto& tkhd_fields = track.as<p3gpp::TkhdPayload>();
    expect(tkhd_fields.creation_time, 0);
    expect(tkhd_fields.modification_time, 1);
    expect(tkhd_fields.duration, 2);
    EXPECT_EQ(tkhd_fields.track_id, 42u);
  }
}

TEST(LeafBoxes, RequiredVersion1TrackHeaderIsReadFourBytesLaterNotTwelve) {
  const auto fields = [](uint32_t version) {
    const ParsedBox box(p3gpp::parse_tkhd, tkhd({.version = version,
                                                 .layer = 0x0101,
                                                 .alternate_group = 0x0202,
                                                 .volume = 0x0303,
                                                 .width = 176,
                                                 .height = 144}));
    const auto& tkhd_fields = box.as<p3gpp::TkhdPayload>();
    return std::vector<int>{tkhd_fields.layer, tkhd_fields.alternate_group, tkhd_fields.volume,
                            tkhd_fields.width, tkhd_fields.height};
  };
  EXPECT_THAT(fields(0), ElementsAre(0x0101, 0x0202, 0x0303, 176, 144));
  // What stands 8 bytes before each field: reserved words, then the last row of the matrix.
  EXPECT_THAT(fields(1), ElementsAre(0, 0, 0, 0, 0x4000));
}

TEST(LeafBoxes, RefuseSizesTooSmallForTheirFields) {
  struct Case {
    const char* name;
    p3gpp::BoxParser parse;
    Bytes whole;      // parses
    uint32_t needed;  // smallest size that does
    int32_t status;
  };
  const std::vector<Case> cases = {
      {"mvhd", p3gpp::parse_mvhd, mvhd(), 34, P3GPP_ERR_BOX_SIZE},
      {"mvhd v1", p3gpp::parse_mvhd, mvhd({.version = 1}), 46, P3GPP_ERR_BOX_SIZE},
      {"tkhd", p3gpp::parse_tkhd, tkhd(), 90, P3GPP_ERR_BOX_SIZE},
      {"tkhd v1", p3gpp::parse_tkhd, tkhd({.version = 1}), 94, P3GPP_ERR_BOX_SIZE},
      {"mdhd", p3gpp::parse_mdhd, mdhd(), 30, P3GPP_ERR_BOX_SIZE},
      {"mdhd v1", p3gpp::parse_mdhd, mdhd({.version = 1}), 42, P3GPP_ERR_BOX_SIZE},
      {"hdlr", p3gpp::parse_hdlr, hdlr("vide"), 20, P3GPP_ERR_BOX_SIZE},
      {"iods", p3gpp::parse_iods, full_box("iods", 0, 0, {1}), 12, P3GPP_ERR_BOX_SIZE},
      {"url ", p3gpp::parse_url, url(false, {1}), 12, P3GPP_ERR_BOX_SIZE},
      {"urn ", p3gpp::parse_urn, urn(false, {1}), 12, P3GPP_ERR_BOX_SIZE},
      {"dref", p3gpp::parse_dref, dref({}), 16, P3GPP_ERR_BOX_SIZE},
      {"elst", p3gpp::parse_elst, elst({{}, {}}), 40, P3GPP_ERR_READ},
  };
  for (const Case& each : cases) {
    for (uint32_t size = 8; size <= each.whole.size(); ++size) {
      const Bytes cut = with_size(Bytes(each.whole.begin(), each.whole.begin() + size), size);
      const int32_t status = ParsedBox(each.parse, cut).status;
      if (size >= each.needed) {
        EXPECT_EQ(status, P3GPP_OK) << each.name << ' ' << size;
      } else {
        EXPECT_TRUE(status == each.status || (each.status == P3GPP_ERR_READ && status == P3GPP_ERR_BOX_SIZE))
            << each.name << ' ' << size << " gave " << status;
      }
      // The same claim, but the file ends one byte early.
      if (size > each.needed && each.parse != p3gpp::parse_hdlr) {
        const Bytes short_file = with_size(Bytes(each.whole.begin(), each.whole.begin() + size - 1), size);
        EXPECT_EQ(ParsedBox(each.parse, short_file).status, P3GPP_ERR_READ) << each.name << ' ' << size;
      }
    }
  }
}

TEST(LeafBoxes, RequiredHintMediaHeaderHasExactly28Bytes) {
  const ParsedBox box(p3gpp::parse_hmhd, hmhd(1500, 700, 64000, 48000));
  ASSERT_EQ(box.status, P3GPP_OK);
  const auto& fields = box.as<p3gpp::HmhdPayload>();
  EXPECT_EQ(fields.max_pdu_size, 1500);
  EXPECT_EQ(fields.average_pdu_size, 700);
  EXPECT_EQ(fields.max_bitrate, 64000u);
  EXPECT_EQ(fields.average_bitrate, 48000u);
  EXPECT_EQ(ParsedBox(p3gpp::parse_hmhd, full_box("hmhd", 0, 0, Bytes(20))).status, P3GPP_ERR_BOX_SIZE);
  EXPECT_EQ(ParsedBox(p3gpp::parse_hmhd, full_box("hmhd", 0, 0, Bytes(12))).status, P3GPP_ERR_BOX_SIZE);
}

TEST(LeafBoxes, RequiredEditsOfVersion1AreReadAsTwelveBytes) {
  const std::vector<Edit> edits = {{.segment_duration = 1000, .media_time = -1},
                                   {.segment_duration = 9000, .media_time = 5}};
  const ParsedBox narrow(p3gpp::parse_elst, elst(edits, 0));
  const auto& entries = narrow.as<p3gpp::ElstPayload>().entries;
  ASSERT_EQ(entries.size(), 2u);
  EXPECT_EQ(entries[0].segment_duration, 1000u);
  EXPECT_EQ(entries[0].media_time, p3gpp::kEmptyEdit);
  EXPECT_EQ(entries[1].media_time, 5u);
  EXPECT_EQ(entries[1].media_rate_integer, 1u);

  const ParsedBox wide(p3gpp::parse_elst, elst(edits, 1));
  const auto& misread = wide.as<p3gpp::ElstPayload>().entries;
  ASSERT_EQ(misread.size(), 2u);
  EXPECT_EQ(misread[0].segment_duration, 0u);
  EXPECT_EQ(misread[0].media_time, 1000u);
  EXPECT_EQ(misread[1].segment_duration, 0xFFFFFFFFu);
}

TEST(LeafBoxes, EditCountsBeyondTheBoxTakeNoMemory) {
  for (const uint64_t count : {3ull, 189ull, 0x15555556ull, 0xFFFFFFFFull}) {
    Bytes lying = elst({{}, {}});
    store_be32(lying, 12, static_cast<uint32_t>(count));
    EXPECT_EQ(ParsedBox(p3gpp::parse_elst, lying).status, P3GPP_ERR_READ) << count;
  }
}

TEST(LeafBoxes, DataReferencesKeepLocationsAndIgnoreSurplus) {
  const Bytes text = {'u', 'r', 'n', 0, 'l', 'o', 'c', 0};
  const std::vector<Bytes> all = {url(true), url(false, {'a', 'b'}), box("abcd"), urn(false, text),
                                  urn(true, {'x'})};
  const ParsedBox box(p3gpp::parse_dref, dref(all, 3));
  ASSERT_EQ(box.status, P3GPP_OK);
  const auto& fields = box.as<p3gpp::DrefPayload>();
  EXPECT_EQ(fields.entry_count, 3u);
  ASSERT_EQ(fields.entries.size(), 3u);
  EXPECT_TRUE(payload_of<p3gpp::UrlPayload>(fields.entries[0])->self_contained);
  EXPECT_THAT(payload_of<p3gpp::UrlPayload>(fields.entries[1])->location, ElementsAre('a', 'b'));
  const auto* name = payload_of<p3gpp::UrnPayload>(fields.entries[2]);
  EXPECT_EQ(name->location_offset, 4u);
  EXPECT_EQ(name->name, text);

  const ParsedBox unterminated(p3gpp::parse_urn, urn(true, {'x'}));
  EXPECT_EQ(unterminated.as<p3gpp::UrnPayload>().location_offset, 1u);
}

TEST(LeafBoxes, KeepUninterpretedBodiesAndDropEmptyOnes) {
  EXPECT_THAT(ParsedBox(p3gpp::parse_tref, box("tref", Bytes{1, 2, 3})).as<p3gpp::TrefPayload>().bytes,
              ElementsAre(1, 2, 3));
  EXPECT_EQ(ParsedBox(p3gpp::parse_tref, box("tref")).status, P3GPP_OK);
  EXPECT_THAT(ParsedBox(p3gpp::parse_iods, full_box("iods", 0, 0, {9, 8})).as<p3gpp::IodsPayload>().bytes,
              ElementsAre(9, 8));
  const OpenedMovie movie(box("moov", full_box("iods", 0, 0)));
  EXPECT_EQ(payload_of<p3gpp::MoovPayload>(movie.file->moov)->iods, nullptr);
}

}  // namespace
}  // namespace zdr::test
