// The estimates that the reader makes when it opens an AAC file, which the filter does not publish.
#pragma once

#include <string>

#include "esparse/aac/aacf.h"
#include "host/json_writer.h"

namespace zdr::host {

struct AacStreamView {
  explicit AacStreamView(const std::string& file);

  int32_t status = AACF_ERR_FAILED;  // of the open; `stream` is valid for AACF_OK
  AACF_StreamInfo stream{};
};

// "about 682 frames, 120000 bit/s (estimated), 241596 bytes of audio"
std::string stream_line(const AacStreamView& view);
void write_stream(JsonWriter& json, const AacStreamView& view);

}  // namespace zdr::host
