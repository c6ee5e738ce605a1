// Reads the properties of each sample and formats its row.
#include "host/commands/row_recorder.h"

#include <array>
#include <ostream>

#include "host/formats/digest.h"
#include "host/json/json_writer.h"
#include "host/terminal.h"

namespace zdr::host {
namespace {

struct SampleRow {
  uint64_t index;
  REFERENCE_TIME start;
  REFERENCE_TIME stop;
  size_t size;
  bool sync;
  bool discontinuity;
  bool preroll;
  uint32_t crc;
};

using RowText = std::array<char, 200>;

// Formats the rest of a row and returns its length.
int format_row(RowText& text, const SampleRow& row, bool json) {
  const char* const format = json ? "\"index\":%llu,\"start\":%lld,\"stop\":%lld,\"size\":%zu,"
                                    "\"sync\":%s,\"discontinuity\":%s,\"preroll\":%s,\"crc32\":\"%08x\"}\n"
                                  : "%llu,%lld,%lld,%zu,%s,%s,%s,%08x\n";
  const auto flag = [json](bool set) { return json ? (set ? "true" : "false") : (set ? "1" : "0"); };
  return std::snprintf(text.data(), text.size(), format, static_cast<unsigned long long>(row.index),
                       static_cast<long long>(row.start), static_cast<long long>(row.stop), row.size,
                       flag(row.sync), flag(row.discontinuity), flag(row.preroll), row.crc);
}

}  // namespace

const char* const kRowHeader = "pin,index,start,stop,size,sync,discontinuity,preroll,crc32\n";

std::string csv_field(const std::string& text) {
  if (text.find_first_of(",\"\r\n") == std::string::npos) return text + ",";
  std::string quoted = "\"";
  for (const char c : text) quoted.append(c == '"' ? 2 : 1, c);
  return quoted + "\",";
}

// The name of the pin is escaped, since the pins of other filters may have any name.
RowRecorder::RowRecorder(const std::string& pin_name, DeliveryGuard& guard, bool json,
                         const std::string& leading_fields)
    : PinConsumer(pin_name, guard),
      row_prefix_(json ? "{\"pin\":" + json_string(pin_name) + "," : leading_fields + csv_field(pin_name)),
      json_(json),
      rows_(std::tmpfile()) {}

bool RowRecorder::receive(IMediaSample& sample) {
  const auto bytes = bytes_of(sample);
  if (!rows_ || !bytes) return fail();
  SampleRow row{};
  row.index = samples();
  sample.GetTime(&row.start, &row.stop);
  row.size = bytes->size();
  row.sync = sample.IsSyncPoint() == S_OK;
  row.discontinuity = sample.IsDiscontinuity() == S_OK;
  row.preroll = sample.IsPreroll() == S_OK;
  row.crc = crc32_of(*bytes);
  if (!count_bytes(*bytes)) return false;
  count_sample(row.start);
  RowText text;
  const int length = format_row(text, row, json_);
  written_ = written_ && write(row_prefix_) && write({text.data(), static_cast<size_t>(length)});
  return written_ || fail();
}

bool RowRecorder::write(std::string_view text) {
  return std::fwrite(text.data(), 1, text.size(), rows_.get()) == text.size();
}

bool RowRecorder::print(std::ostream& out) {
  if (!rows_ || !written_ || std::fflush(rows_.get()) != 0) return false;
  std::rewind(rows_.get());
  const bool was_interrupted = interrupted();
  std::array<char, 65536> block{};
  while (was_interrupted || !interrupted()) {
    const size_t got = std::fread(block.data(), 1, block.size(), rows_.get());
    if (got == 0) break;
    out.write(block.data(), static_cast<std::streamsize>(got));
  }
  return std::ferror(rows_.get()) == 0;
}

}  // namespace zdr::host
