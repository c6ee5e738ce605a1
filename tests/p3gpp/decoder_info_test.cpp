// From sample entries to the public description of their codecs.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "opened_movie.h"
#include "p3gpp/sample_entries.h"
#include "tests/support/movie_builder.h"

namespace zdr::test {
namespace {

using testing::ElementsAre;

// A movie with one track of that handler and these sample entries.
Bytes with_entries(const std::string& handler, const std::vector<Bytes>& entries) {
  TrackDescription track = amr_track(1);
  track.handler = handler;
  track.sample_entries = entries;
  track.width = 176;
  track.height = 144;
  return build_movie(track).bytes;
}

std::vector<uint8_t> bytes_of(const uint8_t* data, size_t size) {
  return {data, data + size};
}

const Bytes kDamr = damr(0x5A414E44, 3, 0x81FF, 4, 5);
const Bytes kDsi = {0x12, 0x10};

// ---- Which entries are handled, under which code
// ------------------------------------------------------------

TEST(DecoderInfo, RequiredKindAndObjectTypeFollowEntryAndHandlerTypes) {
  struct Case {
    const char* type;
    Bytes entry;
    const char* handler;  // the one that the type requires; "" for any
    int kind;
    int object_type;
  };
  const auto audio = [](const char* type, const Bytes& child) { return audio_entry(type, 2, 8000, child); };
  const auto speech = [&](const char* type, const char* child) {
    return audio(type, speech_configuration(child, 1, 2, 3));
  };
  const Bytes visual = esds({.object_type = 0x20, .decoder_specific_info = kDsi});
  const std::vector<Case> cases = {
      {"mp4v", video_entry("mp4v", 16, 16, visual), "vide", 1, P3GPP_OTI_MPEG4_VISUAL},
      {"mp4a", audio("mp4a", esds({.object_type = 0x67})), "soun", 1, P3GPP_OTI_MPEG2_AAC_LC},
      {"mp4s", plain_entry("mp4s", esds({.object_type = 1})), "soun", 1, 1},
      {"samr", audio("samr", kDamr), "soun", 2, 0xC0},
      {"sawb", audio("sawb", kDamr), "soun", 2, 0xC1},
      {"sawp", audio("sawp", dawp(1, 2)), "soun", 2, 0xE3},
      {"svmr", audio("svmr", damr(1, 2, 3, 4, 5, "dvmr")), "soun", 2, 0xE6},
      {"s263", video_entry("s263", 16, 16, d263(1, 2, 3, 4)), "", 2, 0xC2},
      {"H263", video_entry("H263", 16, 16), "", 2, 0xC2},
      {"h263", video_entry("h263", 16, 16), "vide", 2, 0xC2},
      {"avc1", video_entry("avc1", 16, 16, avcc({})), "vide", 2, 0x7F},
      {"sevc", speech("sevc", "devc"), "soun", 3, 0xE0},
      {"sqcp", speech("sqcp", "dqcp"), "soun", 3, 0xE1},
      {"ssmv", speech("ssmv", "dsmv"), "soun", 3, 0xE2},
      {"secb", speech("secb", "decb"), "soun", 3, 0xE4},
      {"secw", speech("secw", "decw"), "soun", 3, 0xE5},
      {"secw with devc", speech("secw", "devc"), "soun", 3, 0xE5},
      {"ec-3", audio("ec-3", dec3(1, {{}})), "soun", 4, 0xFC},
      {"ac-3", audio("ac-3", dac3()), "soun", 4, 0xFD},
      {".mp3", audio(".mp3", {}), "soun", 4, 0xFE},
  };
  for (const Case& each : cases) {
    for (const std::string handler : {"vide", "soun", "text", "hint"}) {
      SCOPED_TRACE(std::string(each.type) + " in " + handler);
      const OpenedMovie movie(with_entries(handler, {each.entry}));
      ASSERT_EQ(movie.status, P3GPP_OK);
      const DecoderInfo info(movie.file, 1);
      const bool accepted = each.handler[0] == '\0' || handler == each.handler;
      ASSERT_EQ(info.status, accepted ? P3GPP_OK : P3GPP_ERR_ENTRY_NOT_HANDLED);
      ASSERT_EQ(info.get() != nullptr, accepted);
      if (!accepted) continue;
      EXPECT_EQ(info->kind, each.kind);
      EXPECT_EQ(info->object_type, each.object_type);
    }
  }
}

TEST(DecoderInfo, TellsMissingEntriesFromUnknownAndUnreadableOnes) {
  const Bytes bare = audio_entry("sqcp", 1, 8000, box("abcd"));
  const OpenedMovie movie(with_entries(
      "soun", {plain_entry("encv"), audio_entry("samr", 1, 8000, kDamr), plain_entry("rtp "), bare}));
  ASSERT_EQ(movie.status, P3GPP_OK);
  EXPECT_EQ(DecoderInfo(movie.file, 1, 0).status, P3GPP_ERR_NO_TABLE);
  EXPECT_EQ(DecoderInfo(movie.file, 1, 1).status, P3GPP_ERR_NO_TABLE) << "unknown type";
  EXPECT_EQ(DecoderInfo(movie.file, 1, 2).status, P3GPP_OK);
  EXPECT_EQ(DecoderInfo(movie.file, 1, 3).status, P3GPP_ERR_RTP_ENTRY);
  EXPECT_EQ(DecoderInfo(movie.file, 1, 4).status, P3GPP_ERR_NO_ENTRY_PAYLOAD);
  EXPECT_EQ(DecoderInfo(movie.file, 1, 5).status, P3GPP_ERR_NO_TABLE);
  EXPECT_EQ(DecoderInfo(movie.file, 2, 1).status, P3GPP_ERR_NO_TRACK);
  EXPECT_EQ(DecoderInfo(nullptr, 1).status, P3GPP_ERR_BAD_ARGUMENT);
  EXPECT_EQ(P3GPP_GetDecoderInfo(movie.file, 1, nullptr, 1), P3GPP_ERR_BAD_ARGUMENT);
}

TEST(DecoderInfo, RequiredTextDescriptionComesWithAnError) {
  const OpenedMovie movie(with_entries("text", {plain_entry("text", Bytes(30))}));
  const DecoderInfo info(movie.file, 1);
  EXPECT_EQ(info.status, P3GPP_ERR_NO_ENTRY_PAYLOAD);
  ASSERT_NE(info.get(), nullptr);
  EXPECT_EQ(info->kind, P3GPP_KIND_SYSTEMS);
  EXPECT_EQ(info->object_type, P3GPP_OTI_TEXT);
}

TEST(DecoderInfo, RequiredSpeechAndAc3EntriesWithoutConfigurationAreDescribedBare) {
  for (const char* type : {"samr", "sawb", "ac-3", "ec-3"}) {
    for (const Bytes& child : {Bytes(), Bytes(7), box("abcd", Bytes(9))}) {
      const OpenedMovie movie(with_entries("soun", {audio_entry(type, 6, 48000, child)}));
      const DecoderInfo info(movie.file, 1);
      ASSERT_EQ(info.status, P3GPP_OK) << type;
      EXPECT_NE(info->object_type, 0);
      EXPECT_EQ(info->u.ac3.channel_count, 0);
      EXPECT_EQ(info->u.eac3.substreams, nullptr);
    }
  }
}

TEST(DecoderInfo, MissingConfigurationOfVideoIsAnError) {
  const std::vector<Bytes> entries = {
      video_entry("avc1", 16, 16), video_entry("avc1", 16, 16, box("btrt", Bytes(12))),
      video_entry("s263", 16, 16), video_entry("s263", 16, 16, box("abcd", Bytes(3)))};
  const OpenedMovie movie(with_entries("vide", entries));
  for (uint32_t index = 1; index <= entries.size(); ++index) {
    const DecoderInfo info(movie.file, 1, index);
    EXPECT_EQ(info.status, P3GPP_ERR_DECODER_CONFIG);
    EXPECT_EQ(info.get(), nullptr);
  }
}

// ---- Codecs with a configuration of their own
// ---------------------------------------------------------------

TEST(DecoderInfo, SpeechConfigurations) {
  const OpenedMovie movie(with_entries(
      "soun", {audio_entry("samr", 2, 8000, kDamr), audio_entry("sawp", 2, 32000, dawp(0xAABBCCDD, 7)),
               audio_entry("svmr", 1, 16000, damr(1, 2, 0x102, 255, 9, "dvmr")),
               audio_entry("svmr", 1, 16000, damr(1, 2, 0x102, 254, 9, "dvmr")),
               audio_entry("ssmv", 1, 8000, speech_configuration("dsmv", 0x11223344, 5, 6))}));
  const DecoderInfo amr(movie.file, 1, 1);
  EXPECT_EQ(amr->u.amr.vendor, 0x5A414E44u);
  EXPECT_EQ(amr->u.amr.decoder_version, 3);
  EXPECT_EQ(amr->u.amr.mode_set, 0x81FF);
  EXPECT_EQ(amr->u.amr.mode_change_period, 4);
  EXPECT_EQ(amr->u.amr.frames_per_sample, 5);
  const DecoderInfo plus(movie.file, 1, 2);
  EXPECT_EQ(plus->u.amr_wb_plus.sample_rate, 32000);
  EXPECT_EQ(plus->u.amr_wb_plus.vendor, 0xAABBCCDDu);
  EXPECT_EQ(plus->u.amr_wb_plus.decoder_version, 7);
  const DecoderInfo vmr(movie.file, 1, 3);
  EXPECT_EQ(vmr->u.vmr.sample_rate, 8000u);
  EXPECT_EQ(vmr->u.vmr.mode_set, 0x102);
  EXPECT_EQ(vmr->u.vmr.frames_per_sample, 9);
  EXPECT_EQ(DecoderInfo(movie.file, 1, 4)->u.vmr.sample_rate, 16000u);
  const DecoderInfo smv(movie.file, 1, 5);
  EXPECT_EQ(smv->u.speech.vendor, 0x11223344u);
  EXPECT_EQ(smv->u.speech.decoder_version, 5);
  EXPECT_EQ(smv->u.speech.frames_per_sample, 6);
}

TEST(DecoderInfo, RequiredOnlyS263ReportsItsConfiguration) {
  const Bytes configuration = d263(0x55667788, 1, 10, 3, concat({box("abcd"), bitr(64000, 128000)}));
  const OpenedMovie movie(with_entries(
      "vide",
      {video_entry("s263", 352, 288, configuration), video_entry("H263", 352, 288, configuration),
       video_entry("h263", 352, 288, configuration), video_entry("s263", 352, 288, d263(1, 2, 3, 4))}));
  const DecoderInfo full(movie.file, 1, 1);
  EXPECT_EQ(full->u.h263.vendor, 0x55667788u);
  EXPECT_EQ(full->u.h263.decoder_version, 1);
  EXPECT_EQ(full->u.h263.level, 10);
  EXPECT_EQ(full->u.h263.profile, 3);
  EXPECT_EQ(full->u.h263.average_bitrate, 64000u);
  EXPECT_EQ(full->u.h263.max_bitrate, 128000u);
  for (const uint32_t index : {2u, 3u}) {
    const DecoderInfo bare(movie.file, 1, index);
    EXPECT_EQ(bare->u.h263.width, 352);
    EXPECT_EQ(bare->u.h263.height, 288);
    EXPECT_EQ(bare->u.h263.vendor | bare->u.h263.level | bare->u.h263.average_bitrate, 0u);
  }
  EXPECT_EQ(DecoderInfo(movie.file, 1, 4)->u.h263.max_bitrate, 0u);
}

TEST(DecoderInfo, AvcParameterSetsAreRunsOfLengthAndUnit) {
  const AvcConfiguration configuration{.profile = 100,
                                       .profile_compatibility = 0x10,
                                       .level = 31,
                                       .nal_length_size_minus_one = 1,
                                       .sps = {{0x67, 1, 2}, {0x67}},
                                       .pps = {{0x68, 9}}};
  Bytes trailed = avcc(configuration);
  trailed.insert(trailed.end(), {0xFD, 0xF8, 0xF8, 0});  // the chroma fields of the high profiles
  trailed = with_size(trailed, static_cast<uint32_t>(trailed.size()));
  const OpenedMovie movie(
      with_entries("vide", {video_entry("avc1", 640, 480, concat({box("btrt", Bytes(12)), trailed})),
                            video_entry("avc1", 640, 480, avcc({}))}));
  const DecoderInfo info(movie.file, 1);
  const P3gppAvcInfo& avc = info->u.avc;
  EXPECT_EQ(avc.profile, 100);
  EXPECT_EQ(avc.profile_compatibility, 0x10);
  EXPECT_EQ(avc.level, 31);
  EXPECT_EQ(avc.nal_length_size_minus_one, 1);
  EXPECT_EQ(avc.width, 640);
  EXPECT_EQ(avc.height, 480);
  EXPECT_EQ(avc.sps_count, 2);
  EXPECT_THAT(bytes_of(avc.sps_list, avc.sps_list_length), ElementsAre(0, 3, 0x67, 1, 2, 0, 1, 0x67));
  EXPECT_EQ(avc.pps_count, 1);
  EXPECT_THAT(bytes_of(avc.pps_list, avc.pps_list_length), ElementsAre(0, 2, 0x68, 9));
  const DecoderInfo empty(movie.file, 1, 2);
  EXPECT_EQ(empty.status, P3GPP_OK);
  EXPECT_EQ(empty->u.avc.sps_list_length + empty->u.avc.pps_list_length, 0);
}

TEST(DecoderInfo, AvcParameterSetsThatRunOutAreAnError) {
  const Bytes whole = avcc({.sps = {{0x67, 1, 2}}, .pps = {{0x68, 9}}});
  for (size_t size = 13; size <= whole.size(); ++size) {
    const Bytes cut(whole.begin(), whole.begin() + static_cast<int64_t>(size));
    const Bytes entry = video_entry("avc1", 16, 16, with_size(cut, static_cast<uint32_t>(size)));
    const OpenedMovie movie(with_entries("vide", {entry}));
    const int32_t expected = size == whole.size() ? P3GPP_OK : P3GPP_ERR_DECODER_CONFIG;
    EXPECT_EQ(DecoderInfo(movie.file, 1).status, expected) << size;
  }
  // 31 sets of 64 KiB: the reported length is what 16 bits leave of it.
  const std::vector<Bytes> large(31, Bytes(0xFFFF));
  const OpenedMovie movie(with_entries("vide", {video_entry("avc1", 16, 16, avcc({.sps = large}))}));
  const DecoderInfo info(movie.file, 1);
  ASSERT_EQ(info.status, P3GPP_OK);
  EXPECT_EQ(info->u.avc.sps_list_length, 31 * (0xFFFF + 2) % 65536);
}

TEST(DecoderInfo, RequiredAc3BitRatesEndAtCode18) {
  constexpr int kRates[] = {32,  40,  48,  56,  64,  80,  96,  112, 128, 160, 192,
                            224, 256, 320, 384, 448, 512, 576, 640, 0,   0};
  for (uint8_t code = 0; code < std::size(kRates); ++code) {
    const Bytes configuration =
        dac3({.fscod = 2, .bsid = 9, .bsmod = 5, .acmod = 6, .lfeon = 1, .bit_rate_code = code});
    const OpenedMovie movie(with_entries("soun", {audio_entry("ac-3", 6, 48000, configuration, 24)}));
    const DecoderInfo info(movie.file, 1);
    const P3gppAc3Info& ac3 = info->u.ac3;
    EXPECT_EQ(ac3.bit_rate_kbps, kRates[code]) << int{code};
    EXPECT_THAT(
        (std::vector<int>{ac3.data_reference_index, ac3.channel_count, ac3.sample_size, ac3.sample_rate,
                          ac3.fscod, ac3.bsid, ac3.bsmod, ac3.acmod, ac3.lfeon, ac3.bit_rate_code}),
        ElementsAre(1, 6, 24, 48000, 2, 9, 5, 6, 1, code));
  }
}

TEST(DecoderInfo, Eac3SubstreamsAreSplitAndBounded) {
  const std::vector<Eac3Substream> substreams = {{.fscod = 1,
                                                  .bsid = 17,
                                                  .bsmod = 0x13,
                                                  .acmod = 6,
                                                  .lfeon = 1,
                                                  .num_dep_sub = 3,
                                                  .channel_location = 0x1A5},
                                                 {.fscod = 2, .bsid = 16, .bsmod = 4, .acmod = 1}};
  const OpenedMovie movie(with_entries("soun", {audio_entry("ec-3", 6, 48000, dec3(0x1ABC, substreams))}));
  const DecoderInfo info(movie.file, 1);
  const P3gppEac3Info& eac3 = info->u.eac3;
  EXPECT_EQ(eac3.data_rate, 0x1ABC);
  EXPECT_EQ(eac3.independent_substreams, 1);
  EXPECT_EQ(eac3.sample_rate, 48000);
  for (size_t i = 0; i < 2; ++i) {
    const P3gppEac3Substream& found = eac3.substreams[i];
    EXPECT_THAT((std::vector<int>{found.fscod, found.bsid, found.bsmod, found.acmod, found.lfeon,
                                  found.num_dep_sub, found.channel_location}),
                ElementsAre(substreams[i].fscod, substreams[i].bsid, substreams[i].bsmod, substreams[i].acmod,
                            substreams[i].lfeon, substreams[i].num_dep_sub, substreams[i].channel_location));
  }
  const OpenedMovie lying(with_entries("soun", {audio_entry("ec-3", 6, 48000, dec3(1, substreams, 2))}));
  EXPECT_EQ(lying.status, P3GPP_ERR_BOX_SIZE);
}

TEST(DecoderInfo, RequiredSampleRatesHave16Bits) {
  const OpenedMovie movie(
      with_entries("soun", {audio_entry(".mp3", 2, 96000), audio_entry("mp4a", 1, 96000, esds({}))}));
  EXPECT_EQ(DecoderInfo(movie.file, 1, 1)->u.mp3.sample_rate, 96000 % 65536);
  EXPECT_EQ(DecoderInfo(movie.file, 1, 1)->u.mp3.channel_count, 2);
  EXPECT_EQ(DecoderInfo(movie.file, 1, 2)->u.systems.sample_rate, 96000 % 65536);
}

// ---- MPEG-4 systems
// -----------------------------------------------------------------------------------------

TEST(DecoderInfo, RequiredMissingVideoDimensionsComeCrosswiseFromTheTrack) {
  const auto dimensions = [](uint16_t width, uint16_t height) {
    const Bytes entry =
        video_entry("mp4v", width, height, esds({.object_type = 0x20, .decoder_specific_info = kDsi}));
    const OpenedMovie movie(with_entries("vide", {entry}));
    const DecoderInfo info(movie.file, 1);
    return std::pair<int, int>(info->u.systems.width, info->u.systems.height);
  };
  EXPECT_EQ(dimensions(320, 240), std::make_pair(320, 240));
  EXPECT_EQ(dimensions(320, 0), std::make_pair(144, 176));
  EXPECT_EQ(dimensions(0, 240), std::make_pair(144, 176));
}

// Description of an mp4a entry with these descriptor bytes.
class EsdsInfo {
 public:
  explicit EsdsInfo(const Bytes& descriptors)
      : movie_(with_entries("soun", {audio_entry("mp4a", 2, 44100, esds_of(descriptors))})),
        info(movie_.file, 1) {}

 private:
  OpenedMovie movie_;

 public:
  DecoderInfo info;
};

TEST(EsDescriptor, AllFieldsAndOptionalParts) {
  ElementaryStream stream{.es_id = 0x1234,
                          .object_type = 0x40,
                          .stream_type = 5,
                          .max_bitrate = 128000,
                          .average_bitrate = 96000,
                          .decoder_specific_info = {1, 2, 3},
                          .sl_config = {2, 7}};
  for (const uint8_t flags : std::initializer_list<uint8_t>{0x00, 0x80, 0x20, 0xA0, 0x1F}) {
    stream.flags = flags;
    stream.optional_fields = Bytes(((flags & 0x80) != 0 ? 2 : 0) + ((flags & 0x20) != 0 ? 2 : 0), 0xEE);
    const EsdsInfo parsed(es_descriptor(stream));
    ASSERT_EQ(parsed.info.status, P3GPP_OK) << int{flags};
    const P3gppSystemsInfo& systems = parsed.info->u.systems;
    EXPECT_EQ(systems.es_id, 0x1234);
    EXPECT_EQ(systems.stream_type, 5);
    EXPECT_EQ(systems.max_bitrate, 128000u);
    EXPECT_EQ(systems.average_bitrate, 96000u);
    EXPECT_EQ(systems.channel_count, 2);
    EXPECT_THAT(bytes_of(systems.decoder_specific_info, systems.decoder_specific_info_length),
                ElementsAre(1, 2, 3));
    EXPECT_THAT(bytes_of(systems.sl_config, systems.sl_config_length), ElementsAre(2, 7));
  }
}

// Required: the step over the URL starts at its length byte and so ends one byte early.
TEST(EsDescriptor, RequiredUrlIsSkippedOneByteEarly) {
  ElementaryStream stream{.flags = 0x40, .decoder_specific_info = kDsi};
  stream.optional_fields = {5, 'u', 'r', 'l',
                            '4'};  // 5 bytes from the length byte on: the walk resumes in step
  EXPECT_EQ(EsdsInfo(es_descriptor(stream)).info.status, P3GPP_OK);
  stream.optional_fields = {5, 'u', 'r', 'l', '4', '5'};  // well-formed, and misread
  EXPECT_EQ(EsdsInfo(es_descriptor(stream)).info.status, P3GPP_ERR_DECODER_CONFIG);
  stream.optional_fields = {255};  // past the end
  EXPECT_EQ(EsdsInfo(es_descriptor(stream)).info.status, P3GPP_ERR_DECODER_CONFIG);
  stream.optional_fields = {0};  // nothing skipped: the length byte itself stands where tag 4 should
  EXPECT_EQ(EsdsInfo(es_descriptor(stream)).info.status, P3GPP_ERR_DECODER_CONFIG);
}

TEST(EsDescriptor, SizesOfUpToFourBytesArePassedOver) {
  Fields config;
  config.u8(0x40).u8(0x15).u24(0).u32(1).u32(2).append(descriptor(5, kDsi, 4));
  Fields body;
  body.u16(1).u8(0).append(descriptor(4, config.bytes, 3)).append(descriptor(6, {2}, 2));
  const EsdsInfo parsed(descriptor(3, body.bytes, 4));
  ASSERT_EQ(parsed.info.status, P3GPP_OK);
  EXPECT_THAT(bytes_of(parsed.info->u.systems.decoder_specific_info, 2), ElementsAre(0x12, 0x10));
  EXPECT_EQ(parsed.info->u.systems.sl_config_length, 1u);
}

// Every truncation of a full descriptor: up to 4 bytes may be missing behind the decoder configuration, where
// zeros are read for them; nothing else may.
TEST(EsDescriptor, RunsOutQuietlyOnlyBehindTheDecoderConfiguration) {
  const Bytes whole = es_descriptor({.decoder_specific_info = {1, 2, 3}, .sl_config = {2}});
  const size_t config_end = whole.size() - 5 - 3;  // tag 3 to the average bitrate
  for (size_t size = 0; size <= whole.size(); ++size) {
    const Bytes cut(whole.begin(), whole.begin() + static_cast<int64_t>(size));
    // The bitrates may lie in the 4 zeros, if one byte is left to show that no further tag follows.
    const bool readable = size + 3 >= config_end && size <= config_end;
    const bool no_sl_config = size == config_end + 5;
    const bool size_from_zeros = size == config_end + 1 || size == config_end + 6;  // the last byte is a tag
    const bool complete = size == whole.size();
    EXPECT_EQ(EsdsInfo(cut).info.status,
              readable || no_sl_config || size_from_zeros || complete ? P3GPP_OK : P3GPP_ERR_DECODER_CONFIG)
        << size << " of " << whole.size();
  }
}

TEST(EsDescriptor, RequiredVisualWithoutDecoderSpecificInfoLeavesTheRecord) {
  const Bytes visual = esds({.object_type = 0x20, .max_bitrate = 77});
  const OpenedMovie movie(with_entries("vide", {video_entry("mp4v", 320, 240, visual)}));
  const DecoderInfo info(movie.file, 1);
  EXPECT_EQ(info.status, P3GPP_ERR_DECODER_CONFIG);
  ASSERT_NE(info.get(), nullptr);
  EXPECT_EQ(info->object_type, P3GPP_OTI_MPEG4_VISUAL);
  EXPECT_EQ(info->u.systems.width, 320);
  EXPECT_EQ(info->u.systems.max_bitrate, 77u);
  EXPECT_EQ(info->u.systems.decoder_specific_info, nullptr);

  const EsdsInfo sound(es_descriptor({.object_type = 0x6B}));
  EXPECT_EQ(sound.info.status, P3GPP_OK) << "other codecs may do without";
  const EsdsInfo garbage({4, 2, 0, 0});
  EXPECT_EQ(garbage.info.status, P3GPP_ERR_DECODER_CONFIG);
  EXPECT_EQ(garbage.info.get(), nullptr);
}

}  // namespace
}  // namespace zdr::test
