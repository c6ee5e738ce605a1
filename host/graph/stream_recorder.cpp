// Joins a pin's samples, the writer for their type and the output file.
#include "host/graph/stream_recorder.h"

#include "host/inspect/media_type_text.h"
#include "host/writers/adts_writer.h"

namespace zdr::host {

StreamRecorder::StreamRecorder(std::filesystem::path stem_path, std::string pin_name, Wishes wishes,
                               DeliveryGuard& guard)
    : stem_path_(std::move(stem_path)), pin_name_(std::move(pin_name)), wishes_(wishes), guard_(guard) {}

bool StreamRecorder::fail(std::string reason) {
  error_ = std::move(reason);
  return false;
}

bool StreamRecorder::begin(Bytes first_sample) {
  choice_ = choose_writer(type_, first_sample, wishes_.decode);
  if (!choice_.writer) {
    return fail(wishes_.decode && is_aac_access_units(type_) ? "the decoder does not support this AAC stream"
                                                             : "no file format for " + codec_name(type_));
  }
  std::filesystem::path path = stem_path_;
  path += "." + pin_name_ + "." + choice_.extension;
  output_ = std::make_unique<OutputFile>(path, wishes_.replace);
  if (!output_->open() || !choice_.writer->begin(*output_)) return fail(output_->error());
  return true;
}

bool StreamRecorder::receive(IMediaSample& sample) {
  BYTE* data = nullptr;
  if (sample.GetPointer(&data) != S_OK) return fail("a sample without a buffer");
  const Bytes bytes(data, static_cast<size_t>(sample.GetActualDataLength()));
  if (samples_ == 0 && !begin(bytes)) return false;
  payload_bytes_ += bytes.size();
  if (is_aac_access_units(type_) && bytes.size() >= kAacSizeTableBytes) payload_bytes_ -= kAacSizeTableBytes;
  // Decoded audio is larger than its file by nature.
  const bool is_decoded = type_.subtype == MEDIASUBTYPE_PCM;
  if (!is_decoded && !guard_.allows(payload_bytes_)) return false;
  if (!choice_.writer->write(*output_, bytes)) return fail(output_->error());
  ++samples_;
  REFERENCE_TIME start = 0;
  REFERENCE_TIME stop = 0;
  if (SUCCEEDED(sample.GetTime(&start, &stop))) position_ = segment_start_ + start;
  return true;
}

void StreamRecorder::new_segment(REFERENCE_TIME start, REFERENCE_TIME) {
  segment_start_ = start;
}

bool StreamRecorder::finish() {
  if (!error_.empty()) return false;
  if (!output_) return true;
  complete_ = choice_.writer->finish(*output_) && output_->commit();
  return complete_ || fail(output_->error());
}

void StreamRecorder::abandon() {
  if (output_) output_->abandon();
}

}  // namespace zdr::host
