// Opens the parser with the same file device as the filter.
#include "host/inspect/parsed_movie.h"

#include <algorithm>
#include <utility>

#include "filters/source/mp4/interfaces/source_kind.h"
#include "host/wide_text.h"

namespace zdr::host {

ParsedMovie::ParsedMovie(const std::string& file, const P3gppBoxVisitor* observer)
    : path_(wide_file_name(file)) {
  const FMGR_Config unbuffered{0, 0};
  if (FMGR_Init(&context_, &unbuffered) != FMGR_OK) return;
  descriptor_.type = FMGR_DEV_FILE_W;
  descriptor_.source.wide_path = path_.c_str();
  MovieRecorder recorder(observer);
  status_ = P3GPP_OpenTraced(&file_, &descriptor_, context_, &error_, &recorder.visitor());
  record_ = std::move(recorder.record());
}

ParsedMovie::~ParsedMovie() {
  if (file_ != nullptr) P3GPP_Close(file_);
  if (context_ != nullptr) FMGR_Deinit(context_);
}

std::vector<uint32_t> ParsedMovie::track_ids(uint32_t type) const {
  P3gppTrackCounts counts{};
  if (P3GPP_GetTrackCounts(file_, &counts) != P3GPP_OK) return {};
  std::vector<uint32_t> ids(type == P3GPP_TRACK_AUDIO ? counts.audio : counts.video);
  uint32_t found = 0;
  if (ids.empty() || P3GPP_GetTrackIds(file_, type, ids.data(), &found) != P3GPP_OK) return {};
  ids.resize(std::min<size_t>(found, ids.size()));
  return ids;
}

int32_t ParsedMovie::get_facts(uint32_t id, TrackFacts& facts) const {
  P3gppTrackInfo* info = nullptr;
  const int32_t status = P3GPP_GetTrackInfo(file_, id, &info);
  if (status != P3GPP_OK) return status;
  facts = {info->sample_count, info->time_scale};
  info->release(info);
  return P3GPP_OK;
}

std::unique_ptr<const ParsedMovie> parse_iso_media(const std::string& file) {
  if (mp4source::source_kind_of(file) != mp4source::SOURCE_KIND_MP4) return nullptr;
  return std::make_unique<const ParsedMovie>(file);
}

}  // namespace zdr::host
