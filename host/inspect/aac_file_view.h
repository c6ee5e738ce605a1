// An AAC file seen through its reader alone, for what the filter's interfaces do not tell: what opening
// estimated of the stream, and why a file was refused.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>

#include "esparse/aac/aacf.h"
#include "host/inspect/open_diagnosis.h"

namespace zdr::host {

struct AacFileView {
  explicit AacFileView(const std::string& file);

  int32_t status = AACF_ERR_FAILED;  // of the open; the rest is valid for AACF_OK
  AACF_StreamInfo stream{};
};

// "about 682 frames, 120000 bit/s (estimated), 241596 bytes of audio"
std::string stream_line(const AacFileView& view);
nlohmann::ordered_json stream_json(const AacFileView& view);

// Why the reader refuses the file.
OpenDiagnosis diagnose_aac_file(const std::string& file, int32_t load_result);

}  // namespace zdr::host
