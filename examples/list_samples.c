/* Lists the samples of the audio and video tracks of a movie, with the parser alone: list_samples MOVIE. One
 * row for each: track, number, decoding time in ms, size, whether it is a sync sample, offset in the file. */
#include <stdio.h>

#include "p3gpp/p3gpp.h"

enum { kMaxTracks = 64, kCacheBytes = 64 * 1024 };

static int list_track(P3gppFile* file, uint32_t id) {
  P3gppTrackInfo* info = NULL;
  P3gppTrack* track = NULL;
  int32_t status = P3GPP_GetTrackInfo(file, id, &info);
  if (status == P3GPP_OK) status = P3GPP_OpenTrack(file, &track, id, kCacheBytes);
  for (uint32_t number = 1; status == P3GPP_OK && number <= info->sample_count; ++number) {
    P3gppSample sample = {0}; /* without a buffer, a sample is located but not read */
    int32_t is_sync = 0;
    sample.number = number;
    status = P3GPP_ReadSample(track, &sample);
    if (status == P3GPP_OK) status = P3GPP_IsSyncSample(track, number, &is_sync);
    if (status != P3GPP_OK) break;
    printf("%u,%u,%.3f,%u,%d,%llu\n", (unsigned)id, (unsigned)number,
           1000.0 * sample.decoding_time / info->time_scale, (unsigned)sample.size, (int)is_sync,
           (unsigned long long)sample.file_offset);
  }
  if (status != P3GPP_OK) fprintf(stderr, "track %u: status %d\n", (unsigned)id, (int)status);
  if (track != NULL) P3GPP_CloseTrack(track);
  if (info != NULL) info->release(info);
  return status != P3GPP_OK;
}

static int list_tracks(P3gppFile* file, uint32_t type, uint32_t count) {
  uint32_t ids[kMaxTracks];
  int failures = 0;
  if (count > kMaxTracks || P3GPP_GetTrackIds(file, type, ids, &count) != P3GPP_OK) return 1;
  for (uint32_t i = 0; i < count; ++i) failures += list_track(file, ids[i]);
  return failures;
}

int main(int argc, char** argv) {
  const FMGR_Config buffers = {0, 0}; /* no read buffer: the parser has caches of its own */
  FMGR_Context* context = NULL;
  FMGR_Descriptor movie = {0};
  P3gppFile* file = NULL;
  P3gppTrackCounts counts;
  int failures = 1;
  if (argc != 2 || FMGR_Init(&context, &buffers) != FMGR_OK) return 2;
  movie.type = FMGR_DEV_FILE;
  movie.source.path = argv[1];
  if (P3GPP_Open(&file, &movie, context) == P3GPP_OK && P3GPP_GetTrackCounts(file, &counts) == P3GPP_OK) {
    failures = list_tracks(file, P3GPP_TRACK_AUDIO, counts.audio) +
               list_tracks(file, P3GPP_TRACK_VIDEO, counts.video);
  }
  if (file != NULL) P3GPP_Close(file);
  FMGR_Deinit(context);
  return failures != 0;
}
