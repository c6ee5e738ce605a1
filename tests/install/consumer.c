/* Uses the installed parser from C: prints how many tracks a movie has. */
#include <stdio.h>

#include "esparse/aac/aacf.h"
#include "esparse/amr/amrf.h"
#include "p3gpp/p3gpp.h"

int main(int argc, char** argv) {
  FMGR_Config unbuffered = {0, 0};
  FMGR_Context* context = NULL;
  FMGR_Descriptor descriptor = {0};
  P3gppFile* file = NULL;
  P3gppTrackCounts counts;
  if (argc != 2 || FMGR_Init(&context, &unbuffered) != FMGR_OK) return 1;
  descriptor.type = FMGR_DEV_FILE;
  descriptor.source.path = argv[1];
  if (P3GPP_Open(&file, &descriptor, context) != P3GPP_OK) return 1;
  if (P3GPP_GetTrackCounts(file, &counts) != P3GPP_OK) return 1;
  printf("%u audio, %u video\n", (unsigned)counts.audio, (unsigned)counts.video);
  P3GPP_Close(file);
  FMGR_Deinit(context);
  return 0;
}
