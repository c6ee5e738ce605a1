// The public decoder description of every kind of sample entry.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "mediakit/boxes/movie_builder.h"
#include "tests/p3gpp/opened_movie.h"

namespace zdr::test {
namespace {

// Builds a movie with one track that has this handler and these sample entries.
Bytes with_entries(const std::string& handler, const std::vector<Bytes>& entries) {
  TrackDescription track = amr_track(1);
  track.handler = handler;
  track.sample_entries = entries;
  track.width = 176;
  track.height = 144;
  return build_movie(track).bytes;
}

const Bytes kDamr = damr(0x5A414E44, 3, 0x81FF, 4, 5);
const Bytes kDsi = {0x12, 0x10};

Bytes visual_esds(const Bytes& decoder_specific_info) {
  return esds({.object_type = 0x20, .max_bitrate = 77, .decoder_specific_info = decoder_specific_info});
}
Bytes audio(const char* type, const Bytes& child, uint32_t rate = 8000) {
  return audio_entry(type, 2, rate, child);
}

// --- The fields as text ---

// The numbers, each preceded by a blank.
template <typename... Numbers>
std::string joined(const Numbers&... numbers) {
  return ((" " + std::to_string(numbers)) + ...);
}

std::string eac3_text(const P3gppEac3Info& e) {
  std::string all = joined(e.data_reference_index, e.channel_count, e.sample_size, e.sample_rate, e.data_rate,
                           e.independent_substreams);
  for (uint32_t i = 0; e.substreams != nullptr && i <= e.independent_substreams; ++i) {
    const P3gppEac3Substream& s = e.substreams[i];
    all += " |" + joined(s.fscod, s.bsid, s.bsmod, s.acmod, s.lfeon, s.num_dep_sub, s.channel_location);
  }
  return all;
}

std::string codec_text(const P3gppDecoderInfo& info) {
  const auto& u = info.u;
  switch (info.object_type) {
    case P3GPP_OTI_AMR:
    case P3GPP_OTI_AMR_WB:
      return joined(u.amr.vendor, u.amr.decoder_version, u.amr.mode_set, u.amr.mode_change_period,
                    u.amr.frames_per_sample);
    case P3GPP_OTI_AMR_WB_PLUS:
      return joined(u.amr_wb_plus.sample_rate, u.amr_wb_plus.vendor, u.amr_wb_plus.decoder_version);
    case P3GPP_OTI_VMR:
      return joined(u.vmr.vendor, u.vmr.decoder_version, u.vmr.mode_set, u.vmr.sample_rate,
                    u.vmr.frames_per_sample);
    case P3GPP_OTI_H263:
      return joined(u.h263.vendor, u.h263.decoder_version, u.h263.level, u.h263.profile, u.h263.width,
                    u.h263.height, u.h263.average_bitrate, u.h263.max_bitrate);
    case P3GPP_OTI_AVC:
      return joined(u.avc.profile, u.avc.profile_compatibility, u.avc.level, u.avc.nal_length_size_minus_one,
                    u.avc.width, u.avc.height, u.avc.sps_count) +
             " " + hex(u.avc.sps_list, u.avc.sps_list_length) + joined(u.avc.pps_count) + " " +
             hex(u.avc.pps_list, u.avc.pps_list_length);
    case P3GPP_OTI_AC3:
      return joined(u.ac3.data_reference_index, u.ac3.channel_count, u.ac3.sample_size, u.ac3.sample_rate,
                    u.ac3.bit_rate_kbps, u.ac3.fscod, u.ac3.bsid, u.ac3.bsmod, u.ac3.acmod, u.ac3.lfeon,
                    u.ac3.bit_rate_code);
    case P3GPP_OTI_EAC3:
      return eac3_text(u.eac3);
    case P3GPP_OTI_MP3:
      return joined(u.mp3.channel_count, u.mp3.sample_rate);
    default:
      if (info.kind != P3GPP_KIND_SYSTEMS)
        return joined(u.speech.vendor, u.speech.decoder_version, u.speech.frames_per_sample);
      const P3gppSystemsInfo& s = u.systems;
      return joined(s.es_id, s.stream_type, s.width, s.height, s.channel_count, s.sample_rate, s.max_bitrate,
                    s.average_bitrate) +
             " " + hex(s.decoder_specific_info, s.decoder_specific_info_length) + " " +
             hex(s.sl_config, s.sl_config_length);
  }
}

// The status of the only entry, followed by ": kind object_type fields" if there is a record.
std::string describe(const Bytes& entry, const std::string& handler = "soun") {
  const OpenedMovie movie(with_entries(handler, {entry}));
  if (movie.status != P3GPP_OK) return "not open";
  P3gppDecoderInfo* info = nullptr;
  std::string all = std::to_string(P3GPP_GetDecoderInfo(movie.file, 1, &info, 1));
  if (info == nullptr) return all;
  all += ":" + joined(info->kind, info->object_type) + codec_text(*info);
  info->release(info);
  return all;
}

// --- Supported entries and their descriptions ---

TEST(DecoderInfo, KeptDescriptionsFollowEntryAndHandlerTypes) {
  const auto video = [](const char* type, const Bytes& child) { return video_entry(type, 352, 288, child); };
  const auto speech = [&](const char* type, const char* child) {
    return audio(type, speech_configuration(child, 1, 2, 3));
  };
  const AvcConfiguration avc{100, 0x10, 31, 1, {{0x67, 1, 2}, {0x67}}, {{0x68, 9}}};
  Bytes high = avcc(avc);
  high.insert(high.end(), {0xFD, 0xF8, 0xF8, 0});  // the chroma fields of the high profiles
  const Bytes d263_box = d263(0x55667788, 1, 10, 3, concat({box("abcd"), bitr(64000, 128000)}));
  const std::vector<Eac3Substream> substreams = {{1, 17, 0x13, 6, 1, 11, 0x1A5}, {2, 16, 4, 1}};
  // Name, entry, the only handler under which it is accepted ("" for any), description.
  const std::vector<std::tuple<const char*, Bytes, std::string, std::string>> cases = {
      {"mp4v", video("mp4v", visual_esds(kDsi)), "vide", "0: 1 32 1 5 352 288 0 0 77 0 1210 02"},
      {"mp4a", audio("mp4a", esds({.object_type = 0x67})), "soun", "0: 1 103 1 5 0 0 2 8000 0 0  02"},
      {"mp4s", plain_entry("mp4s", esds({.object_type = 1})), "soun", "0: 1 1 1 5 0 0 0 0 0 0  02"},
      {"samr", audio("samr", kDamr), "soun", "0: 2 192 1514229316 3 33279 4 5"},
      {"sawb", audio("sawb", kDamr), "soun", "0: 2 193 1514229316 3 33279 4 5"},
      {"sawp", audio("sawp", dawp(9, 7), 32000), "soun", "0: 2 227 32000 9 7"},
      {"svmr", audio("svmr", damr(1, 2, 0x102, 255, 9, "dvmr")), "soun", "0: 2 230 1 2 258 8000 9"},
      {"svmr of 16 kHz", audio("svmr", damr(1, 2, 0x102, 254, 9, "dvmr")), "soun",
       "0: 2 230 1 2 258 16000 9"},
      {"s263", video("s263", d263_box), "", "0: 2 194 1432778632 1 10 3 352 288 64000 128000"},
      {"s263 without bitr", video("s263", d263(1, 2, 3, 4)), "", "0: 2 194 1 2 3 4 352 288 0 0"},
      {"H263", video("H263", d263_box), "", "0: 2 194 0 0 0 0 352 288 0 0"},
      {"h263", video("h263", d263_box), "vide", "0: 2 194 0 0 0 0 352 288 0 0"},
      {"avc1", video("avc1", concat({box("btrt", Bytes(12)), with_size(high, high.size())})), "vide",
       "0: 2 127 100 16 31 1 352 288 2 0003670102000167 1 00026809"},
      {"avc1 with an empty unit at the end", video("avc1", avcc({.sps = {{0x67}}, .pps = {{}}})), "vide",
       "0: 2 127 66 192 30 3 352 288 1 000167 1 0000"},
      {"avc1 without sets", video("avc1", avcc({})), "vide", "0: 2 127 66 192 30 3 352 288 0  0 "},
      {"sevc", speech("sevc", "devc"), "soun", "0: 3 224 1 2 3"},
      {"sqcp", speech("sqcp", "dqcp"), "soun", "0: 3 225 1 2 3"},
      {"ssmv", speech("ssmv", "dsmv"), "soun", "0: 3 226 1 2 3"},
      {"secb", speech("secb", "decb"), "soun", "0: 3 228 1 2 3"},
      {"secw", speech("secw", "decw"), "soun", "0: 3 229 1 2 3"},
      {"secw with devc", speech("secw", "devc"), "soun", "0: 3 229 1 2 3"},
      {"ec-3", audio("ec-3", dec3(0x1ABC, substreams)), "soun",
       "0: 4 252 1 2 16 8000 6844 1 | 1 17 19 6 1 11 421 | 2 16 4 1 0 0 0"},
      {".mp3 of 96 kHz", audio(".mp3", {}, 96000), "soun", "0: 4 254 2 30464"},
      // Only kind and object type are filled.
      {"ac-3 without dac3", audio("ac-3", {}), "soun", "0: 4 253 0 0 0 0 0 0 0 0 0 0 0"},
      {"s263 without d263", video("s263", box("abcd", Bytes(3))), "", "-7050"},
      {"avc1 without avcC", video("avc1", box("btrt", Bytes(12))), "vide", "-7050"},
      {"text", plain_entry("text", Bytes(30)), "text", "-7020: 1 231 0 0 0 0 0 0 0 0  "},
  };
  for (const auto& [name, entry, own_handler, expected] : cases) {
    for (const std::string handler : {"vide", "soun", "text", "hint"}) {
      const bool accepted = own_handler.empty() || handler == own_handler;
      EXPECT_EQ(describe(entry, handler), accepted ? expected : "-7031") << name << " in " << handler;
    }
  }
}

// The description of an entry with a second child is that of an entry without a configuration.
TEST(DecoderInfo, KeptConfigurationsOfAudioMustBeTheFirstChild) {
  const std::vector<std::tuple<const char*, Bytes, std::string>> cases = {
      {"samr", kDamr, "0: 2 192 0 0 0 0 0"},
      {"sawb", kDamr, "0: 2 193 0 0 0 0 0"},
      {"ac-3", dac3(), "0: 4 253 0 0 0 0 0 0 0 0 0 0 0"},
      {"ec-3", dec3(1, {{}}), "0: 4 252 0 0 0 0 0 0"},
      {"svmr", damr(1, 2, 3, 4, 5, "dvmr"), "-7020"},
      {"sawp", dawp(9, 7), "-7020"},
      {"sevc", speech_configuration("devc", 1, 2, 3), "-7020"},
      {"secb", speech_configuration("decb", 1, 2, 3), "-7020"},
      {"secw", speech_configuration("decw", 1, 2, 3), "-7020"},
      {"sqcp", speech_configuration("dqcp", 1, 2, 3), "-7020"},
      {"ssmv", speech_configuration("dsmv", 1, 2, 3), "-7020"},
  };
  for (const auto& [type, configuration, expected] : cases) {
    EXPECT_EQ(describe(audio(type, concat({box("abcd"), configuration}))), expected) << type;
  }
}

TEST(DecoderInfo, KeptUnknownEntriesAreMissingAndKeepTheirNumbers) {
  const OpenedMovie movie(
      with_entries("soun", {plain_entry("encv"), audio("samr", kDamr), plain_entry("rtp ")}));
  std::vector<int32_t> statuses;
  for (uint32_t i = 0; i <= 4; ++i) statuses.push_back(decoder_status(movie.file, 1, i));
  EXPECT_EQ(statuses, (std::vector<int32_t>{P3GPP_ERR_NO_TABLE, P3GPP_ERR_NO_TABLE, P3GPP_OK,
                                            P3GPP_ERR_RTP_ENTRY, P3GPP_ERR_NO_TABLE}));
  EXPECT_EQ(decoder_status(movie.file, 2), P3GPP_ERR_NO_TRACK);
}

TEST(DecoderInfo, TruncatedAvcParameterSetsAreAnError) {
  Bytes cut = avcc({.sps = {{0x67, 1, 2}}, .pps = {{0x68, 9}}});
  for (cut.pop_back(); cut.size() >= 13; cut.pop_back()) {
    const Bytes child = with_size(cut, cut.size());
    EXPECT_EQ(describe(video_entry("avc1", 16, 16, child), "vide"), "-7050") << cut.size();
  }
}

TEST(DecoderInfo, KeptAc3BitRatesEndAtCode18) {
  constexpr uint32_t kRates[] = {32,  40,  48,  56,  64,  80,  96,  112, 128, 160, 192,
                                 224, 256, 320, 384, 448, 512, 576, 640, 0,   0};
  for (uint32_t code = 0; code < std::size(kRates); ++code) {
    EXPECT_EQ(describe(audio_entry("ac-3", 6, 48000, dac3({2, 9, 5, 6, 1, code}), 24)),
              "0: 4 253 1 6 24 48000" + joined(kRates[code]) + " 2 9 5 6 1" + joined(code));
  }
}

TEST(DecoderInfo, KeptMissingVideoDimensionsAreThoseOfTheTrackSwapped) {
  const auto dimensions = [](uint16_t width, uint16_t height) {
    return describe(video_entry("mp4v", width, height, visual_esds(kDsi)), "vide").substr(12, 7);
  };
  EXPECT_EQ(dimensions(320, 240), "320 240");
  EXPECT_EQ(dimensions(320, 0), "144 176");
  EXPECT_EQ(dimensions(0, 240), "144 176");
}

// --- ES descriptors ---

std::string describe_esds(const Bytes& descriptors) {
  return describe(audio("mp4a", full_box("esds", 0, 0, descriptors)));
}

TEST(EsDescriptor, HasAllFieldsWithAnyOptionalParts) {
  ElementaryStream stream{.es_id = 0x1234,
                          .max_bitrate = 128000,
                          .average_bitrate = 96000,
                          .decoder_specific_info = {1, 2, 3},
                          .sl_config = {2, 7}};
  for (const uint8_t flags : std::initializer_list<uint8_t>{0x00, 0x80, 0x20, 0xA0, 0x1F}) {
    stream.flags = flags;
    stream.optional_fields = Bytes(((flags & 0x80) != 0 ? 2 : 0) + ((flags & 0x20) != 0 ? 2 : 0), 0xEE);
    EXPECT_EQ(describe_esds(es_descriptor(stream)), "0: 1 64 4660 5 0 0 2 8000 128000 96000 010203 0207")
        << int{flags};
  }
  // Sizes of up to four bytes.
  Fields config;
  config.u8(0x40).u8(0x15).u24(0).u32(1).u32(2).append(descriptor(5, kDsi, 4));
  Fields body;
  body.u16(1).u8(0).append(descriptor(4, config.bytes, 3)).append(descriptor(6, {2}, 2));
  EXPECT_EQ(describe_esds(descriptor(3, body.bytes, 4)), "0: 1 64 1 5 0 0 2 8000 1 2 1210 02");
}

// The skip over the URL starts at the length byte and so ends one byte early.
TEST(EsDescriptor, KeptUrlIsSkippedOneByteEarly) {
  const auto status = [](const Bytes& url_field) {
    return describe_esds(es_descriptor({.flags = 0x40, .optional_fields = url_field})).substr(0, 5);
  };
  EXPECT_EQ(status({5, 'u', 'r', 'l', '4'}), "0: 1 ") << "the skip ends with the field";
  EXPECT_EQ(status({5, 'u', 'r', 'l', '4', '5'}), "-7050") << "well-formed but misread";
  EXPECT_EQ(status({255}), "-7050") << "past the end";
  EXPECT_EQ(status({0}), "-7050") << "the length byte itself is read as the next tag";
}

// Tries every truncation of a full descriptor. Four zeros are read after its end, so it may end in the last 3
// bytes of the decoder configuration, and after a descriptor or the tag of the next one, but nowhere else.
TEST(EsDescriptor, MayEndEarlyOnlyWhereZerosCanFollow) {
  const Bytes whole = es_descriptor({.decoder_specific_info = {1, 2, 3}, .sl_config = {2}});
  const size_t config_end = whole.size() - 5 - 3;  // tag 3 to the average bitrate
  for (size_t size = 0; size <= whole.size(); ++size) {
    const Bytes cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
    // The bitrates may be read from the 4 zeros if one zero is left as "no further tag".
    const bool readable = size + 3 >= config_end && size <= config_end;
    const bool no_sl_config = size == config_end + 5;
    const bool size_from_zeros = size == config_end + 1 || size == config_end + 6;  // the last byte is a tag
    const bool succeeds = readable || no_sl_config || size_from_zeros || size == whole.size();
    EXPECT_EQ(describe_esds(cut) == "-7050", !succeeds) << size << " of " << whole.size();
  }
}

TEST(EsDescriptor, KeptVisualWithoutDecoderSpecificInfoLeavesTheRecord) {
  EXPECT_EQ(describe(video_entry("mp4v", 320, 240, visual_esds({})), "vide"),
            "-7050: 1 32 1 5 320 240 0 0 77 0  ");
  EXPECT_EQ(describe_esds(es_descriptor({.object_type = 0x6B})).substr(0, 2), "0:")
      << "other codecs need none";
  EXPECT_EQ(describe_esds({4, 2, 0, 0}), "-7050");
}

}  // namespace
}  // namespace zdr::test
