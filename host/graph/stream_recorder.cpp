// Passes a pin's samples to the writer for their type and the writer's bytes to the output file.
#include "host/graph/stream_recorder.h"

#include <algorithm>
#include <string_view>
#include <utility>
#include <vector>

#include "filters/source/mp4/interfaces/zdr_guids.h"
#include "host/formats/aac_format.h"
#include "host/inspect/media_type_text.h"
#include "host/writers/standard_output.h"

namespace zdr::host {
namespace {

// The pins of other filters may have any name.
bool can_be_in_file_name(std::string_view name) {
  constexpr std::string_view kEndOrSeparator{"\0/", 2};
  return !name.empty() && name.find_first_of(kEndOrSeparator) == std::string_view::npos;
}

// How many access units the filter puts into one media sample.
uint64_t units_per_sample(const CMediaType& type) {
  const bool is_single = type.majortype == MEDIATYPE_Video || type.subtype == mp4source::kSubtypeQcelp ||
                         type.subtype == mp4source::kSubtypeEvrc;
  return is_single ? 1 : kAacUnitsPerSample;
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
  writer_trims_ = shown_ && choice_.writer->trim(*shown_);
  if (!open_output()) return false;
  if (!output_->open() || !choice_.writer->begin(*output_)) return fail(output_->error());
  return true;
}

bool StreamRecorder::open_output() {
  if (settings_.standard_output != nullptr) {
    output_ = std::make_unique<StandardOutput>(*settings_.standard_output);
    return true;
  }
  if (!can_be_in_file_name(pin_name())) return fail("the name of this pin cannot be part of a file name");
  std::filesystem::path path = settings_.stem;
  path += "." + pin_name() + "." + choice_.extension;
  auto file = std::make_unique<OutputFile>(path, settings_.replace, settings_.inputs);
  file_ = file.get();
  output_ = std::move(file);
  return true;
}

bool StreamRecorder::write(Bytes sample) {
  return shown_ && !writer_trims_ ? write_shown_units(sample) : choice_.writer->write(*output_, sample);
}

bool StreamRecorder::write_shown_units(Bytes sample) {
  const bool is_aac = is_aac_access_units(type());
  const std::vector<Bytes> units = is_aac ? split_aac_sample(sample) : std::vector<Bytes>{sample};
  if (units.empty()) return choice_.writer->write(*output_, sample);
  const uint64_t count = is_aac ? units.size() : units_per_sample(type());
  const uint64_t before = std::exchange(units_, units_ + count);
  const uint64_t first = std::max<uint64_t>(shown_->first_unit, before + 1) - before - 1;
  const uint64_t last =
      std::min<uint64_t>(shown_->last_unit, before + count) - std::min<uint64_t>(shown_->last_unit, before);
  if (first >= last) return true;
  if (!is_aac || last - first == count) return choice_.writer->write(*output_, sample);
  const std::span shown(units.begin() + static_cast<std::ptrdiff_t>(first),
                        units.begin() + static_cast<std::ptrdiff_t>(last));
  return choice_.writer->write(*output_, join_aac_units(shown));
}

const ShownMedia* StreamRecorder::untrimmed() const {
  const bool has_rest = shown_ && !writer_trims_ && (shown_->rest_before != 0 || shown_->rest_after != 0);
  return output_ && has_rest ? &*shown_ : nullptr;
}

bool StreamRecorder::receive(IMediaSample& sample) {
  const auto bytes = bytes_of(sample);
  if (!bytes) return fail("a sample without a buffer");
  if (samples() == 0 && !begin(*bytes)) return false;
  if (!count_bytes(*bytes)) return false;
  if (!write(*bytes)) return fail(output_->error());
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
