// Lists the types by their form.
#include "host/inspect/iso/box_layout.h"

#include <algorithm>

namespace zdr::host {
namespace {

// Lists of four-character types without separators.
constexpr std::string_view kFullBoxes =
    "mvhdtkhdmdhdhdlrvmhdsmhdhmhdnmhdsthddrefurl urn sttscslgstssstscstszstz2stcoco64stshstdpstsd"
    "cttselstesdsiodsmetaID32mehdtrextrepmfhdtfhdtfdttruntframfrosidxssixsdtpsbgpsgpdsubssaizsaiopsshschm"
    "tencsencelngkindxml iinfilocpitmirefprftleva";
// Full boxes in user data, where other containers have boxes of the same types but another form.
constexpr std::string_view kAssetBoxes = "titldscpcprtperfauthgnrertngclsfkywdlocialbmyrrc";
constexpr std::string_view kContainers =
    "moovtrakedtsmdiaminfdinfstbludtamvexmooftrafmfrasinfschirinftrefilstiprpipcowavegmhdtaptstrkhntihinf";
constexpr std::string_view kVideoEntries =
    "avc1avc2avc3avc4hvc1hev1dvh1dvhemp4vs263H263h263encvav01vp08vp09vvc1vvi1mjp2jpeg";
constexpr std::string_view kAudioEntries =
    "mp4asamrsawbsawpsvmrsevcsecbsecwsqcpssmvac-3ec-3ac-4encaOpusfLaCalac.mp3mha1mhm1dtscdtsedtsh";
constexpr std::string_view kTopLevel =
    "ftypmoovmdatfreeskipwidemoofmframetastypsidxssixprftpnotuuidpdinemsgmecoudta";

bool is_listed(std::string_view list, std::string_view type) {
  for (; !list.empty(); list.remove_prefix(4)) {
    if (list.substr(0, 4) == type) return true;
  }
  return false;
}

}  // namespace

bool is_full_box(std::string_view type, std::string_view container) {
  if (container == "ilst") return false;
  return is_listed(kFullBoxes, type) || (container == "udta" && is_listed(kAssetBoxes, type));
}

std::optional<uint32_t> children_offset(std::string_view type, std::string_view container) {
  constexpr uint32_t kVersionAndFlags = 4;
  constexpr uint32_t kEntryCount = 4;
  constexpr uint32_t kVideoFields = 78;
  constexpr uint32_t kAudioFields = 28;
  if (container == "ilst") return std::nullopt;
  if (container == "stsd" && is_video_entry(type)) return kVideoFields;
  if (container == "stsd" && is_audio_entry(type)) return kAudioFields;
  if (type == "stsd" || type == "dref") return kVersionAndFlags + kEntryCount;
  if (type == "meta") return kVersionAndFlags;
  return is_listed(kContainers, type) ? std::optional<uint32_t>(0) : std::nullopt;
}

uint32_t quicktime_sound_bytes(std::string_view type, uint64_t version) {
  if (!is_audio_entry(type)) return 0;
  return version == 1 ? 16 : version == 2 ? 36 : 0;
}

bool is_video_entry(std::string_view type) {
  return is_listed(kVideoEntries, type);
}

bool is_audio_entry(std::string_view type) {
  return is_listed(kAudioEntries, type);
}

bool is_top_level_type(std::string_view type) {
  return is_listed(kTopLevel, type);
}

}  // namespace zdr::host
