// Consumer of one pin for `zdr play`: writes what is delivered to a file in a standard format.
#pragma once

#include <atomic>
#include <filesystem>
#include <memory>
#include <string>

#include "host/graph/delivery_guard.h"
#include "host/graph/media_sink.h"
#include "host/graph/source_player.h"
#include "host/writers/output_file.h"
#include "host/writers/stream_writer.h"

namespace zdr::host {

class StreamRecorder final : public SampleConsumer {
 public:
  // Writes STEM.PIN.EXT; the extension is known with the first sample.
  struct Wishes {
    bool replace = false;  // a file that exists
    bool decode = false;   // AAC to PCM
  };
  StreamRecorder(std::filesystem::path stem_path, std::string pin_name, Wishes wishes, DeliveryGuard& guard);

  // After the connection, before the first sample.
  void set_type(const CMediaType& type) { type_ = type; }

  bool receive(IMediaSample& sample) override;
  void new_segment(REFERENCE_TIME start, REFERENCE_TIME stop) override;

  // After the run: completes the file. False when it could not be written; the reason is in error().
  bool finish();
  // After the run: leaves what was written as a partial file.
  void abandon();

  const std::string& pin_name() const { return pin_name_; }
  uint64_t samples() const { return samples_; }
  uint64_t payload_bytes() const { return payload_bytes_; }  // size tables not counted
  int64_t position() const { return position_; }             // 100 ns; any thread
  const std::string& error() const { return error_; }        // of the output; empty while all is well
  bool complete() const { return complete_; }                // the file stands under its name
  const OutputFile* output() const { return output_.get(); }
  const StreamWriter* writer() const { return choice_.writer.get(); }

 private:
  bool begin(Bytes first_sample);
  bool fail(std::string reason);

  std::filesystem::path stem_path_;
  std::string pin_name_;
  Wishes wishes_;
  DeliveryGuard& guard_;
  CMediaType type_;
  WriterChoice choice_;
  std::unique_ptr<OutputFile> output_;
  bool complete_ = false;
  uint64_t samples_ = 0;
  uint64_t payload_bytes_ = 0;
  int64_t segment_start_ = 0;
  std::atomic<int64_t> position_{0};
  std::string error_;
};

}  // namespace zdr::host
