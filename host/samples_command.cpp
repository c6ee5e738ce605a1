// `zdr samples`: one row for each delivered media sample, one pin after the other, the same in every run.
#include <array>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <list>
#include <memory>

#include "host/commands.h"
#include "host/crc32.h"
#include "host/delivery_guard.h"
#include "host/messages.h"
#include "host/source_player.h"
#include "host/terminal.h"
#include "host/time_text.h"

namespace zdr::host {
namespace {

struct FileCloser {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using TemporaryFile = std::unique_ptr<std::FILE, FileCloser>;

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

using RowText = std::array<char, 320>;

// Pin names are made of letters and digits, so they need no quoting in either form.
int format_row(RowText& text, const std::string& pin, const SampleRow& row, bool json) {
  const char* format =
      json ? "{\"schema\":1,\"pin\":\"%s\",\"index\":%llu,\"start\":%lld,\"stop\":%lld,\"size\":%zu,"
             "\"sync\":%d,\"discontinuity\":%d,\"preroll\":%d,\"crc32\":\"%08x\"}\n"
           : "%s,%llu,%lld,%lld,%zu,%d,%d,%d,%08x\n";
  return std::snprintf(text.data(), text.size(), format, pin.c_str(),
                       static_cast<unsigned long long>(row.index), static_cast<long long>(row.start),
                       static_cast<long long>(row.stop), row.size, row.sync, row.discontinuity, row.preroll,
                       row.crc);
}

// Both workers deliver at once, so each pin's rows go to a temporary file first.
class RowRecorder final : public SampleConsumer {
 public:
  RowRecorder(std::string pin, bool json, DeliveryGuard& guard)
      : pin_(std::move(pin)), json_(json), guard_(guard), rows_(std::tmpfile()) {}

  bool receive(IMediaSample& sample) override {
    BYTE* data = nullptr;
    if (!rows_ || sample.GetPointer(&data) != S_OK) return false;
    SampleRow row{};
    row.index = index_++;
    sample.GetTime(&row.start, &row.stop);
    row.size = static_cast<size_t>(sample.GetActualDataLength());
    row.sync = sample.IsSyncPoint() == S_OK;
    row.discontinuity = sample.IsDiscontinuity() == S_OK;
    row.preroll = sample.IsPreroll() == S_OK;
    row.crc = crc32({data, row.size});
    total_ += row.size;
    if (!guard_.allows(total_)) return false;
    RowText text;
    const int length = format_row(text, pin_, row, json_);
    written_ = written_ && std::fwrite(text.data(), 1, static_cast<size_t>(length), rows_.get()) ==
                               static_cast<size_t>(length);
    return written_;
  }

  // After the run. False when the temporary file failed.
  bool print(std::ostream& out) {
    if (!rows_ || !written_ || std::fflush(rows_.get()) != 0) return false;
    std::rewind(rows_.get());
    std::array<char, 65536> block{};
    while (const size_t got = std::fread(block.data(), 1, block.size(), rows_.get())) {
      out.write(block.data(), static_cast<std::streamsize>(got));
    }
    return std::ferror(rows_.get()) == 0;
  }

  const std::string& pin() const { return pin_; }

 private:
  std::string pin_;
  bool json_;
  DeliveryGuard& guard_;
  TemporaryFile rows_;
  uint64_t index_ = 0;
  uint64_t total_ = 0;
  bool written_ = true;
};

bool wanted(const Options& options, const PinEntry& pin) {
  return !pin.types.empty() && (options.only.empty() || (options.only == "audio") == pin.is_audio());
}

// The first samples of a process are marked; which pin's they are must not depend on the faster worker. So at
// a start without a seek the audio pin goes first. After a seek every pin is marked, and the workers wait for
// each other.
struct Gates {
  StartGate gate;
  StartGate* opened_by(const PinEntry& pin, bool in_use) {
    return in_use && pin.is_audio() ? &gate : nullptr;
  }
  StartGate* waited_for_by(const PinEntry& pin, bool in_use) {
    return in_use && !pin.is_audio() ? &gate : nullptr;
  }
};

bool needs_gate(const Options& options, const std::vector<PinEntry>& pins) {
  if (!options.start.empty() || !options.stop.empty()) return false;
  return std::count_if(pins.begin(), pins.end(), [&](const PinEntry& pin) { return wanted(options, pin); }) >
         1;
}

}  // namespace

ExitCode run_samples(const Options& options, std::ostream& out) {
  const std::string& file = options.files.front();
  Messages messages(options.quiet);
  std::error_code code;
  const uintmax_t size = std::filesystem::file_size(std::filesystem::path(file), code);
  DeliveryGuard guard(options.allow_overlap || code ? 0 : size);
  Gates gates;
  std::list<RowRecorder> recorders;
  SourcePlayer player(file, messages);
  if (const ExitCode loaded = player.load(); loaded != ExitCode::kDone) return loaded;
  const bool gated = needs_gate(options, player.pins());
  for (const PinEntry& pin : player.pins()) {
    if (!wanted(options, pin)) continue;
    RowRecorder& recorder = recorders.emplace_back(pin.name, options.json, guard);
    const HRESULT hr =
        player.connect(pin, recorder, gates.opened_by(pin, gated), gates.waited_for_by(pin, gated));
    if (SUCCEEDED(hr)) continue;
    messages.error(
        {file, pin.name, "cannot be connected: " + std::string(hresult_name(hr)), hresult_text(hr)});
    recorders.pop_back();
    gates.gate.open();
  }
  if (recorders.empty()) {
    messages.error({file, "", "no stream that can be played", ""});
    return ExitCode::kNotSupported;
  }
  if (!options.start.empty() || !options.stop.empty()) {
    const int64_t start = options.start.empty() ? 0 : *parse_time(options.start);
    const HRESULT hr = player.seek(start, options.stop.empty() ? -1 : *parse_time(options.stop));
    if (FAILED(hr)) {
      messages.error({file, "", "cannot be sought: " + std::string(hresult_name(hr)), hresult_text(hr)});
      return ExitCode::kNotSupported;
    }
  }
  ExitCode result = player.play([&] { return !interrupted() && !guard.tripped(); });
  if (guard.tripped()) {
    messages.error(
        {file, "", "the tables describe more data than the file holds (--allow-overlap goes on)", ""});
    result = worse_of(result, ExitCode::kLoss);
  }
  if (!options.json) out << "pin,index,start,stop,size,sync,discontinuity,preroll,crc32\n";
  for (RowRecorder& recorder : recorders) {
    if (recorder.print(out)) continue;
    messages.error({file, recorder.pin(), "the rows could not be kept in a temporary file", ""});
    result = worse_of(result, ExitCode::kCannotWrite);
  }
  return interrupted() ? ExitCode::kInterrupted : result;
}

}  // namespace zdr::host
