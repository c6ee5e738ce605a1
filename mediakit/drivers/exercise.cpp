// Calls every query and lookup of the parser on one file, and reads every byte that they return.
#include "mediakit/drivers/exercise.h"

#include <algorithm>
#include <array>
#include <vector>

namespace zdr::test {
namespace {

// P3GPP_OK and the values of P3GPP_ERR_.
constexpr int32_t kDocumented[] = {0,     -6001, -6002, -6003, -6005, -6008, -6009, -7011, -7012, -7014,
                                   -7017, -7018, -7019, -7020, -7031, -7033, -7034, -7038, -7039, -7040,
                                   -7041, -7042, -7043, -7044, -7045, -7046, -7047, -7050, -7055, -7060};

constexpr int32_t kBatchDiffers = 1;
constexpr uint32_t kBatch = 100;

class Exercise {
 public:
  Exercise(const FMGR_Descriptor& descriptor, FMGR_Context* context, uint32_t sample_limit)
      : descriptor_(descriptor), context_(context), sample_limit_(sample_limit) {
    result.statuses.reserve(10000);
    P3gppOpenError error;
    const P3gppBoxVisitor visitor{this, touch_box, touch_field};
    result.open_status = note(P3GPP_OpenTraced(&file_, &descriptor, context, &error, &visitor));
    note(error.status);
  }
  ~Exercise() {
    if (file_ != nullptr) P3GPP_Close(file_);
  }

  void run() {
    if (file_ == nullptr) return;
    P3gppMovieInfo movie{};
    if (note(P3GPP_GetMovieInfo(file_, &movie)) == P3GPP_OK) movie.release(&movie);
    inspect();
    P3gppTrackCounts counts{};
    note(P3GPP_GetTrackCounts(file_, &counts));
    // The counts exclude text tracks, but no test file has more tracks than this in all.
    std::vector<uint32_t> ids(4096);
    if (counts.total > ids.size()) return;
    for (const uint32_t type : {P3GPP_TRACK_VIDEO, P3GPP_TRACK_AUDIO, P3GPP_TRACK_HINT, P3GPP_TRACK_TEXT}) {
      uint32_t count = 0;
      note(P3GPP_GetTrackIds(file_, type, ids.data(), &count));
      for (uint32_t i = 0; i < std::min(count, 16u); ++i) describe(ids[i]);
    }
  }

  ExerciseResult result;

 private:
  int32_t note(int32_t status) {
    const bool is_documented = std::ranges::count(kDocumented, status) > 0;
    if (!is_documented && result.undocumented_status == 0) result.undocumented_status = status;
    result.statuses.push_back(status);
    return status;
  }

  void inspect() {
    for (uint32_t code = 1; code <= P3GPP_TAG_COUNT; ++code) {
      P3gppTag tag{};
      if (note(P3GPP_GetTag(file_, code, &tag)) != P3GPP_OK) continue;
      ++result.tags;
      sum_with_nul(tag.text);
    }
    P3gppId3Location location{};
    note(P3GPP_GetId3Location(file_, &location));
    const P3gppBoxVisitor visitor{this, touch_box, touch_field};
    note(P3GPP_WalkBoxes(file_, &visitor));
  }

  static void touch_box(void* caller, const P3gppBox* box) {
    static_cast<Exercise*>(caller)->add(static_cast<unsigned char>(box->path[0]));
  }
  static void touch_field(void* caller, const P3gppBoxField* field) {
    static_cast<Exercise*>(caller)->sum(field->bytes);
  }

  void describe(uint32_t id) {
    ++result.tracks;
    P3gppHintInfo hint{};
    note(P3GPP_GetHintInfo(file_, id, &hint));
    for (const uint64_t value : hint.value) add(value);
    sum_with_nul(hint.sdp);
    sum_with_nul(hint.payload_type);
    P3gppTrackInfo* info = nullptr;
    note(P3GPP_GetTrackInfo(file_, id, &info));
    const uint32_t sample_count = info == nullptr ? 0 : info->sample_count;
    if (info != nullptr) info->release(info);
    for (uint32_t index = 0; index < 4; ++index) {
      P3gppDecoderInfo* decoder = nullptr;
      note(P3GPP_GetDecoderInfo(file_, id, &decoder, index));
      if (decoder == nullptr) continue;
      touch(*decoder);
      decoder->release(decoder);
    }
    P3gppTrack* track = nullptr;
    if (note(P3GPP_OpenTrack(file_, &track, id, 8192)) != P3GPP_OK) return;
    play(track, sample_count);
    note(P3GPP_CloseTrack(track));
    // With a small limit the caller makes calls fail, which would strike one of the two ways.
    if (sample_limit_ >= kBatch) compare_batch(id, sample_count);
  }

  // Samples that are located together must be those that are located one by one. Each way has a file of its
  // own, because times depend on earlier lookups in the same file.
  void compare_batch(uint32_t id, uint32_t sample_count) {
    P3gppFile* files[2] = {};
    P3gppTrack* tracks[2] = {};
    bool are_open = true;
    for (int i = 0; i < 2; ++i) {
      are_open = are_open && note(P3GPP_Open(&files[i], &descriptor_, context_)) == P3GPP_OK &&
                 note(P3GPP_OpenTrack(files[i], &tracks[i], id, 8192)) == P3GPP_OK;
    }
    if (are_open && !are_batches_equal(tracks[0], tracks[1], 1 + sample_count / 3))
      result.undocumented_status = kBatchDiffers;
    for (int i = 0; i < 2; ++i) {
      if (tracks[i] != nullptr) P3GPP_CloseTrack(tracks[i]);
      if (files[i] != nullptr) P3GPP_Close(files[i]);
    }
  }
  bool are_batches_equal(P3gppTrack* batched, P3gppTrack* single, uint32_t first) {
    std::vector<P3gppSample> batch(kBatch);
    batch[0].number = first;
    P3gppSample one = batch[0];
    uint32_t located = 0;
    const int32_t status =
        note(P3GPP_LocateSamples(batched, batch.data(), static_cast<uint32_t>(batch.size()), &located));
    int32_t expected = P3GPP_OK;
    for (uint32_t i = 0; i < batch.size() && expected == P3GPP_OK; ++i, ++one.number) {
      expected = P3GPP_ReadSample(single, &one);
      if ((expected == P3GPP_OK) != (i < located)) return false;
      if (expected == P3GPP_OK && location_of(one) != location_of(batch[i])) return false;
    }
    return status == expected;
  }
  static std::array<uint64_t, 6> location_of(const P3gppSample& sample) {
    return {sample.number,        sample.size,
            sample.file_offset,   sample.description_index,
            sample.decoding_time, sample.composition_time};
  }

  // Reads the bytes that the description points to, so that a sanitizer detects a bad pointer or length.
  void touch(const P3gppDecoderInfo& info) {
    if (info.kind == P3GPP_KIND_SYSTEMS) {
      sum(info.u.systems.decoder_specific_info, info.u.systems.decoder_specific_info_length);
      sum(info.u.systems.sl_config, info.u.systems.sl_config_length);
    } else if (info.object_type == P3GPP_OTI_AVC) {
      sum(info.u.avc.sps_list, info.u.avc.sps_list_length);
      sum(info.u.avc.pps_list, info.u.avc.pps_list_length);
    } else if (info.object_type == P3GPP_OTI_EAC3 && info.u.eac3.substreams != nullptr) {
      add(info.u.eac3.substreams[info.u.eac3.independent_substreams].bsid);
    }
  }
  // A NUL follows the bytes, even if there are none.
  void sum_with_nul(const P3gppBytes& text) {
    if (text.bytes != nullptr) sum(text.bytes, size_t{text.length} + 1);
  }
  void sum(const P3gppBytes& bytes) { sum(bytes.bytes, bytes.length); }
  void sum(const uint8_t* bytes, size_t length) {
    for (size_t i = 0; i < length; ++i) add(bytes[i]);
  }
  void add(uint64_t value) { result.checksum = 31 * result.checksum + value; }

  void play(P3gppTrack* track, uint32_t sample_count) {
    uint32_t largest = 0;
    note(P3GPP_GetMaxSampleSize(track, &largest));
    float bitrate = 0;
    note(P3GPP_GetBitrate(track, &bitrate));
    for (uint32_t n = 0; n < sample_limit_ && n <= sample_count; ++n) sample(track, n);
    for (const uint32_t n : {sample_count, sample_count + 1, sample_count / 2, 1u, 0xFFFFFFFFu})
      sample(track, n);
  }

  void sample(P3gppTrack* track, uint32_t number) {
    P3gppSample sample{};
    sample.number = number;
    // The location is queried first: only samples that fit a test file are read.
    if (note(P3GPP_ReadSample(track, &sample)) == P3GPP_OK && sample.size <= buffer_.size()) {
      sample.buffer = buffer_.data();
      if (note(P3GPP_ReadSample(track, &sample)) == P3GPP_OK) sum(buffer_.data(), sample.size);
      for (const uint64_t field : {sample.file_offset, uint64_t{sample.description_index},
                                   uint64_t{sample.decoding_time}, uint64_t{sample.composition_time}}) {
        add(field);
      }
    }
    uint32_t time = sample.decoding_time;
    uint32_t composition_time = 0;
    note(P3GPP_GetSampleTime(track, number, &time, &composition_time));
    uint32_t found = 0;
    note(P3GPP_TimeToSample(track, &time, &found));
    for (const int32_t direction : {0, 1}) {
      found = number;
      note(P3GPP_FindSyncSample(track, &found, direction));
    }
    int32_t is_sync = 0;
    note(P3GPP_IsSyncSample(track, number, &is_sync));
  }

  const FMGR_Descriptor& descriptor_;
  FMGR_Context* context_;
  P3gppFile* file_ = nullptr;
  uint32_t sample_limit_;
  std::vector<uint8_t> buffer_ = std::vector<uint8_t>(1 << 16);
};

}  // namespace

ExerciseResult exercise(const FMGR_Descriptor& descriptor, FMGR_Context* context, uint32_t sample_limit) {
  Exercise run(descriptor, context, sample_limit);
  run.run();
  return run.result;
}

}  // namespace zdr::test
