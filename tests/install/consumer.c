/* Uses the installed parser from C: prints how many tracks a movie has. */
#include <stdio.h>

#include "esparse/aac/aacf.h"
#include "esparse/amr/amrf.h"
#include "p3gpp/p3gpp.h"

static int count_tracks(FMGR_Context* context, const char16_t* path) {
  FMGR_Descriptor descriptor = {0};
  P3gppFile* file = NULL;
  P3gppTrackCounts counts;
  descriptor.type = FMGR_DEV_FILE_W;
  descriptor.source.wide_path = path;
  if (P3GPP_Open(&file, &descriptor, context) != P3GPP_OK) return 1;
  if (P3GPP_GetTrackCounts(file, &counts) == P3GPP_OK) {
    printf("%u audio, %u video\n", (unsigned)counts.audio, (unsigned)counts.video);
  }
  P3GPP_Close(file);
  return 0;
}

int main(int argc, char** argv) {
  FMGR_Config unbuffered = {0, 0};
  FMGR_Context* context = NULL;
  char16_t path[4096] = {0};
  int i;
  if (argc != 2) return 2;
  for (i = 0; argv[1][i] != '\0' && i < 4095; ++i) path[i] = (unsigned char)argv[1][i];
  if (FMGR_Init(&context, &unbuffered) != FMGR_OK) return 1;
  i = count_tracks(context, path);
  FMGR_Deinit(context);
  return i;
}
