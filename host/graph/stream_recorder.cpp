// Passes a pin's samples to the writer for their type and the writer's bytes to the output file.
#include "host/graph/stream_recorder.h"

#include <string_view>
#include <utility>

#include "host/formats/aac_format.h"
#include "host/inspect/media_type_text.h"

namespace zdr::host {
namespace {

// The pins of other filters may have any name.
bool can_be_in_file_name(std::string_view name) {
  constexpr std::string_view kEndOrSeparator{"\0/", 2};
  return !name.empty() && name.find_first_of(kEndOrSeparator) == std::string_view::npos;
}

}  // namespace

StreamRecorder::StreamRecorder(std::string pin_name, DeliveryGuard& guard, Settings settings)
    : PinConsumer(std::move(pin_name), guard), settings_(std::move(settings)) {}

bool StreamRecorder::fail(std::string reason) {
  error_ = std::move(reason);
  return PinConsumer::fail();
}

bool StreamRecorder::begin(Bytes first_sample) {
  choice_ = choose_writer(type(), first_sample, settings_.decode);
  if (!choice_.writer) {
    return fail(settings_.decode && is_aac_access_units(type())
                    ? "the decoder does not support this AAC stream"
                    : "no file format for " + codec_name(type()));
  }
  if (!can_be_in_file_name(pin_name())) return fail("the name of this pin cannot be part of a file name");
  std::filesystem::path path = settings_.stem;
  path += "." + pin_name() + "." + choice_.extension;
  output_ = std::make_unique<OutputFile>(path, settings_.replace, settings_.inputs);
  if (!output_->open() || !choice_.writer->begin(*output_)) return fail(output_->error());
  return true;
}

bool StreamRecorder::receive(IMediaSample& sample) {
  const auto bytes = bytes_of(sample);
  if (!bytes) return fail("a sample without a buffer");
  if (samples() == 0 && !begin(*bytes)) return false;
  if (!count_bytes(*bytes)) return false;
  if (!choice_.writer->write(*output_, *bytes)) return fail(output_->error());
  REFERENCE_TIME start = 0;
  REFERENCE_TIME stop = 0;
  sample.GetTime(&start, &stop);
  count_sample(start);
  return true;
}

bool StreamRecorder::finish() {
  if (!error_.empty()) return false;
  if (!output_) return true;
  complete_ = choice_.writer->finish(*output_) && output_->commit();
  return complete_ || fail(output_->error());
}

void StreamRecorder::abandon() {
  if (!output_) return;
  // A failure to complete the header is not reported: the file is partial anyway.
  choice_.writer->seal(*output_);
  output_->abandon();
}

}  // namespace zdr::host
