// Reads arbitrary bytes as an ISO media file: opens it, queries everything, and reads many samples of every
// track.
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "mediakit/drivers/exercise.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FMGR_Descriptor descriptor{};
  descriptor.type = FMGR_DEV_MEMORY;
  descriptor.source.memory = {data, static_cast<uint32_t>(size)};
  FMGR_Context* context = nullptr;
  const FMGR_Config config{0, 0};
  if (FMGR_Init(&context, &config) != FMGR_OK) return 0;
  if (zdr::test::exercise(descriptor, context, 200).undocumented_status != 0) std::abort();
  FMGR_Deinit(context);
  return 0;
}
