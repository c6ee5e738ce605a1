// AAC files opened with their reader: its estimates, which the filter does not publish.
#pragma once

#include <memory>
#include <string>

#include "esparse/aac/aacf.h"
#include "host/json/json_writer.h"

namespace zdr::host {

// A file opened with the same parameters as by the filter, so that the estimates are the same.
class AacReader {
 public:
  explicit AacReader(const std::string& file);

  int32_t status() const { return status_; }  // of the open
  AACF_File* get() const { return reader_.get(); }
  Zd_AAC_Dec_Config config() const;
  AACF_StreamInfo stream() const;

 private:
  struct CloseReader {
    void operator()(AACF_File* reader) const { AACF_Close(reader); }
  };

  int32_t status_;
  std::unique_ptr<AACF_File, CloseReader> reader_;
};

struct AacStreamView {
  explicit AacStreamView(const std::string& file) : AacStreamView(AacReader(file)) {}
  explicit AacStreamView(const AacReader& reader);

  int32_t status = AACF_ERR_FAILED;  // of the open; the others are valid for AACF_OK
  AACF_StreamInfo stream{};
  Zd_AAC_Dec_Config config{};
};

// "AAC LC, 2 ch, core 22050 Hz, output 44100 Hz, extension SBR"
std::string format_line(const AacStreamView& view);
// "about 682 frames, 120000 bit/s (estimated), 241596 bytes of audio"
std::string stream_line(const AacStreamView& view);
void write_stream(JsonWriter& json, const AacStreamView& view);

}  // namespace zdr::host
