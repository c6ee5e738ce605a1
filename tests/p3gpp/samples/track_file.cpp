// Builds the file of a track from its tables, and replays lookups on it.
#include "tests/p3gpp/samples/track_file.h"

#include <random>
#include <sstream>

namespace zdr::test {

TrackDescription raw_track(uint32_t samples, uint32_t size, const std::map<std::string, Bytes>& tables) {
  TrackDescription track{.handler = "soun"};
  track.replaced = tables;
  track.replaced.merge(std::map<std::string, Bytes>{{"mdhd", mdhd({.duration = 10000})},
                                                    {"stts", stts({{samples, 1}})},
                                                    {"stsc", stsc({{1, samples}})},
                                                    {"stsz", stsz(std::vector<uint32_t>(samples, size))},
                                                    {"stco", stco({0})}});
  return track;
}

Bytes make_file(const std::vector<TrackDescription>& tracks, size_t file_size) {
  std::vector<Bytes> children = {mvhd()};
  for (const TrackDescription& track : tracks) {
    children.push_back(build_trak(track, static_cast<uint32_t>(children.size()), {}));
  }
  const Bytes file = concat({ftyp(), box("moov", children)});
  if (file.size() + 8 >= file_size) return file;
  Bytes media(file_size - file.size() - 8);
  std::minstd_rand random(1);
  for (uint8_t& byte : media) byte = static_cast<uint8_t>(random());
  return concat({file, box("mdat", media)});
}

OpenTrack::OpenTrack(const Bytes& file, uint32_t cache_budget)
    : movie_(file), cache_budget_(cache_budget), status_(movie_.status) {
  if (status_ == P3GPP_OK) reopen();
}

void OpenTrack::reopen() {
  status_ = P3GPP_OpenTrack(movie_.file, &track_, 1, cache_budget_);
  record_ = {};
}

OpenTrack::~OpenTrack() {
  if (track_ != nullptr) P3GPP_CloseTrack(track_);
}

int64_t OpenTrack::offset_of(uint32_t number) {
  P3gppSample sample{};
  sample.number = number;
  const int32_t status = P3GPP_ReadSample(track_, &sample);
  return status == P3GPP_OK ? static_cast<int64_t>(sample.file_offset) : status;
}

int32_t OpenTrack::call_parser(char call, uint32_t argument, std::string& result) {
  uint32_t number = argument;
  int32_t status = P3GPP_OK;
  if (call == 'o') {
    record_.number = argument;
    status = P3GPP_ReadSample(track_, &record_);
    result = sample_text(record_);
  } else if (call == 'd') {
    status = P3GPP_GetSampleTime(track_, argument, &record_.decoding_time, &record_.composition_time);
    result = std::to_string(record_.decoding_time) + ':' + std::to_string(record_.composition_time);
  } else if (call == 't') {
    status = P3GPP_TimeToSample(track_, &argument, &number);
    result = std::to_string(number) + '@' + std::to_string(argument);
  } else if (call == 's') {
    int32_t is_sync = 0;
    status = P3GPP_IsSyncSample(track_, argument, &is_sync);
    result = std::to_string(is_sync);
  } else {
    status = P3GPP_FindSyncSample(track_, &number, call == 'f' ? P3GPP_SYNC_FORWARD : P3GPP_SYNC_BACKWARD);
    result = std::to_string(number);
  }
  return status;
}

std::string OpenTrack::lookup(char call, uint32_t argument) {
  std::string result;
  const int32_t status = call_parser(call, argument, result);
  if (status == P3GPP_OK) return result;
  record_ = {};  // a failed call may leave anything
  return std::to_string(status);
}

std::string replayed(const TrackDescription& description, const std::string& script) {
  OpenTrack track(description);
  if (track.status() != P3GPP_OK) return std::to_string(track.status());
  std::string done;
  std::istringstream calls(script);
  for (std::string call; calls >> call;) {
    const std::string name = call.substr(0, call.find('='));
    if (!done.empty()) done += ' ';
    done += name + '=' + track.lookup(name[0], static_cast<uint32_t>(std::stoul(name.substr(1))));
  }
  return done;
}

}  // namespace zdr::test
