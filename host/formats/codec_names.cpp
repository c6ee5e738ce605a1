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

}  // namespace zdr::host
