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

uint64_t tail_after_edit(const EditRecord& edits, uint64_t duration, uint64_t time_scale,
                         uint64_t movie_time_scale) {
  constexpr uint64_t kUnknownDuration = UINT32_MAX;  // or more
  if (edits.duration == 0 || movie_time_scale == 0 || duration >= kUnknownDuration) return 0;
  const double rounding = static_cast<double>(time_scale) / static_cast<double>(movie_time_scale);
  const double shown = static_cast<double>(edits.duration) * rounding;
  const double tail = static_cast<double>(duration) - static_cast<double>(edits.first_media_time) - shown;
  return tail <= rounding + 1 ? 0 : static_cast<uint64_t>(tail);
}

}  // namespace zdr::host
