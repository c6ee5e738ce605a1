// The consumer of a pin in `zdr play`: writes the delivered samples to a file in a standard format.
#pragma once

#include <filesystem>
#include <memory>
#include <span>
#include <string>

#include "host/graph/pin_consumer.h"
#include "host/writers/output_file.h"
#include "host/writers/writer_choice.h"

namespace zdr::host {

class StreamRecorder final : public PinConsumer {
 public:
  struct Settings {
    std::filesystem::path stem;           // of the output: its folder and the name of the media file
    bool replace = false;                 // an existing file
    bool decode = false;                  // AAC to PCM
    std::span<const std::string> inputs;  // files that must not be replaced; they outlive the object
  };
  // Writes to STEM.PIN.EXT; the extension depends on the first sample.
  StreamRecorder(std::string pin_name, DeliveryGuard& guard, Settings settings);

  bool receive(IMediaSample& sample) override;

  // Call after the run: completes the file. False if it could not be written; error() then returns the
  // reason.
  bool finish();
  // Call after the run: leaves what was written as a partial file.
  void abandon();

  const std::string& error() const { return error_; }  // of the output; empty if there is none
  bool complete() const { return complete_; }          // the file has its final name
  const OutputFile* output() const { return output_.get(); }
  const StreamWriter* writer() const { return choice_.writer.get(); }

 private:
  bool begin(Bytes first_sample);
  bool fail(std::string reason);

  Settings settings_;
  WriterChoice choice_;
  std::unique_ptr<OutputFile> output_;
  bool complete_ = false;
  std::string error_;
};

}  // namespace zdr::host
