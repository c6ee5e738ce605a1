// Derives figures from those that the headers state.
#include "host/inspect/iso/track_description.h"

#include <algorithm>
#include <iterator>

#include "host/text/decoded_text.h"

namespace zdr::host {
namespace {

struct KindName {
  std::string_view handler;
  const char* name;
};

constexpr KindName kKinds[] = {{"vide", "video"},
                               {"soun", "audio"},
                               {"hint", "hint"},
                               {"meta", "metadata"},
                               {"sdsm", "scene description"},
                               {"odsm", "object descriptor"},
                               {"text", "text"},
                               {"sbtl", "subtitle"},
                               {"subt", "subtitle"},
                               {"subp", "subtitle"},
                               {"clcp", "caption"},
                               {"tmcd", "time code"}};

}  // namespace

std::optional<uint64_t> TrackDescription::bit_rate() const {
  if (!media_bytes || !has_duration()) return std::nullopt;
  if (*media_bytes <= UINT64_MAX / 8 / *time_scale) return *media_bytes * 8 * *time_scale / *duration;
  return static_cast<uint64_t>(static_cast<double>(*media_bytes) * 8 * static_cast<double>(*time_scale) /
                               static_cast<double>(*duration));
}

std::string kind_of(std::string_view handler) {
  const auto* const known = std::ranges::find(kKinds, handler, &KindName::handler);
  return known != std::end(kKinds) ? known->name : "'" + printable(handler) + "'";
}

}  // namespace zdr::host
