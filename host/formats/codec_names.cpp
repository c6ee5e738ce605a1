// One table of codecs, their subtypes and their codes in clips.
#include "host/formats/codec_names.h"

#include <algorithm>
#include <iterator>

#include "filters/source/mp4/interfaces/zandor_video_source.h"
#include "filters/source/mp4/interfaces/zdr_guids.h"

namespace zdr::host {
namespace {

struct Codec {
  std::string_view name;
  GUID subtype;
  DWORD clip_code;  // 0: clips do not describe it
};

const Codec kCodecs[] = {
    {"AVC", mp4source::kSubtypeAvc, mp4source::kClipAvcVideo},
    {"MPEG-4 visual", mp4source::kSubtypeMpeg4Visual, mp4source::kClipMpeg4Video},
    {"H.263", mp4source::kSubtypeH263, mp4source::kClipH263Video},
    {"AAC", mp4source::kSubtypeAac, mp4source::kClipAacAudio},
    {"AMR", mp4source::kSubtypeAmrNarrowBand, mp4source::kClipAmrAudio},
    {"AMR-WB", mp4source::kSubtypeAmrWideBand, mp4source::kClipAmrWbAudio},
    {"QCELP", mp4source::kSubtypeQcelp, mp4source::kClipQcelpAudio},
    {"EVRC", mp4source::kSubtypeEvrc, 0},
    {"AC-3", mp4source::kSubtypeDolbyAc3, 0},
    {"PCM", MEDIASUBTYPE_PCM, 0},
};

struct EntryName {
  std::string_view type;
  std::string_view name;
};

constexpr EntryName kEntryNames[] = {{"avc1", "AVC"},
                                     {"avc2", "AVC"},
                                     {"avc3", "AVC"},
                                     {"avc4", "AVC"},
                                     {"hvc1", "HEVC"},
                                     {"hev1", "HEVC"},
                                     {"dvh1", "HEVC"},
                                     {"dvhe", "HEVC"},
                                     {"vvc1", "VVC"},
                                     {"vvi1", "VVC"},
                                     {"vp08", "VP8"},
                                     {"vp09", "VP9"},
                                     {"av01", "AV1"},
                                     {"mp4v", "MPEG-4 visual"},
                                     {"s263", "H.263"},
                                     {"H263", "H.263"},
                                     {"h263", "H.263"},
                                     {"mjp2", "Motion JPEG 2000"},
                                     {"jpeg", "JPEG"},
                                     {"png ", "PNG"},
                                     {"mp4a", "AAC"},
                                     {"samr", "AMR"},
                                     {"sawb", "AMR-WB"},
                                     {"sawp", "AMR-WB+"},
                                     {"svmr", "VMR-WB"},
                                     {"sqcp", "QCELP"},
                                     {"sevc", "EVRC"},
                                     {"secb", "EVRC-B"},
                                     {"secw", "EVRC-WB"},
                                     {"ssmv", "SMV"},
                                     {"ac-3", "AC-3"},
                                     {"ec-3", "E-AC-3"},
                                     {"ac-4", "AC-4"},
                                     {".mp3", "MP3"},
                                     {"Opus", "Opus"},
                                     {"fLaC", "FLAC"},
                                     {"alac", "ALAC"},
                                     {"tx3g", "3GPP text"},
                                     {"text", "QuickTime text"},
                                     {"wvtt", "WebVTT"},
                                     {"stpp", "TTML"},
                                     {"tmcd", "time code"},
                                     {"rtp ", "RTP hints"},
                                     {"mp4s", "MPEG-4 systems"},
                                     {"encv", "encrypted video"},
                                     {"enca", "encrypted audio"}};

template <class Key>
std::string_view name_of(const Key& key, Key Codec::*member) {
  const auto* const found = std::ranges::find(kCodecs, key, member);
  return found != std::end(kCodecs) ? found->name : std::string_view();
}

}  // namespace

std::string_view codec_of_subtype(const GUID& subtype) {
  return name_of(subtype, &Codec::subtype);
}

std::string_view codec_of_clip(DWORD code) {
  return code != 0 ? name_of(code, &Codec::clip_code) : std::string_view();
}

std::string_view codec_of_entry(std::string_view type) {
  const auto* const found = std::ranges::find(kEntryNames, type, &EntryName::type);
  return found != std::end(kEntryNames) ? found->name : std::string_view();
}

}  // namespace zdr::host
