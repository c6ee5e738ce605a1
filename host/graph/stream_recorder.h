// The consumer of a pin in `zdr play`: writes the delivered samples to a file in a standard format.
#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <ostream>
#include <string>

#include "host/formats/shown_media.h"
#include "host/graph/pin_consumer.h"
#include "host/writers/output_file.h"
#include "host/writers/writer_choice.h"

namespace zdr::host {

class StreamRecorder final : public PinConsumer {
 public:
  struct Settings {
    std::filesystem::path stem;                 // of the output: its folder and the name of the media file
    bool replace = false;                       // an existing file
    bool decode = false;                        // AAC to PCM
    const platform::FileSet* inputs = nullptr;  // files that must not be replaced; they outlive the object
    std::ostream* standard_output = nullptr;    // gets the stream in place of a file; outlives the object
  };
  // Writes to STEM.PIN.EXT, whose extension depends on the first sample, or to standard output.
  StreamRecorder(std::string pin_name, DeliveryGuard& guard, Settings settings);

  // Call before the run: leaves out what is not shown. Access units are left out whole.
  void trim(const ShownMedia& shown) { shown_ = shown; }

  bool receive(IMediaSample& sample) override;

  // Call after the run: completes the file. False if it could not be written; error() then returns the
  // reason.
  bool finish();
  // Call after the run: leaves what was written as a partial file.
  void abandon();

  const std::string& error() const { return error_; }  // of the output; empty if there is none
  bool complete() const { return complete_; }          // the file has its final name
  // Null before the first sample, and with standard output.
  const OutputFile* file() const { return file_; }
  // Null unless whole access units were written where only a part of their media is shown.
  const ShownMedia* untrimmed() const;
  const StreamWriter* writer() const { return choice_.writer.get(); }

 private:
  bool decodes_aac() const override { return settings_.decode; }
  bool begin(Bytes first_sample);
  bool open_output();
  bool write(Bytes sample);
  bool write_shown_units(Bytes sample);
  bool fail(std::string reason);

  Settings settings_;
  WriterChoice choice_;
  std::unique_ptr<Output> output_;
  OutputFile* file_ = nullptr;  // output_, if it is a file
  std::optional<ShownMedia> shown_;
  bool writer_trims_ = false;
  uint64_t units_ = 0;  // received so far
  bool complete_ = false;
  std::string error_;
};

}  // namespace zdr::host
