// Runs scripted operations on the streams of a descriptor and compares them with the plain model of the
// tests.
//
// Input: device type, content size, buffer size, then four bytes per operation.
#include <cstdio>
#include <cstdlib>

#include "mediakit/drivers/stream_model.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 3) return 0;
  const uint32_t type = data[0] % 2 == 0 ? FMGR_DEV_MEMORY : FMGR_DEV_CALLBACK;
  zdr::test::ScriptedStreams streams(type, data[1], data[2] % 70);
  if (const auto disagreement = streams.run({data + 3, size - 3})) {
    std::fprintf(stderr, "%s\n", disagreement->c_str());
    std::abort();
  }
  return 0;
}
