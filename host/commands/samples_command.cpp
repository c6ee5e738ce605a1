// `zdr samples`: one row for each delivered media sample, one pin after the other, the same in every run.
#include <algorithm>
#include <array>
#include <atomic>
#include <cstdio>
#include <iostream>
#include <list>
#include <memory>
#include <string_view>

#include "host/commands/commands.h"
#include "host/commands/crc32.h"
#include "host/graph/delivery_guard.h"
#include "host/graph/play_range.h"
#include "host/graph/source_player.h"
#include "host/inspect/left_out.h"
#include "host/json_report.h"
#include "host/messages.h"
#include "host/terminal.h"

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

using RowText = std::array<char, 200>;

constexpr const char* kHeader = "pin,index,start,stop,size,sync,discontinuity,preroll,crc32\n";

// What each row of a pin begins with. Another filter than ours may name its pins as it likes.
std::string row_begin(const std::string& pin, bool json) {
  if (json) return "{\"schema\":" + std::to_string(kJsonSchema) + ",\"pin\":" + json_text(pin) + ",";
  if (pin.find_first_of(",\"\r\n") == std::string::npos) return pin + ",";
  std::string quoted = "\"";
  for (const char c : pin) quoted.append(c == '"' ? 2 : 1, c);
  return quoted + "\",";
}

// What comes behind. Returns its length.
int format_row(RowText& text, const SampleRow& row, bool json) {
  const char* format = json ? "\"index\":%llu,\"start\":%lld,\"stop\":%lld,\"size\":%zu,"
                              "\"sync\":%d,\"discontinuity\":%d,\"preroll\":%d,\"crc32\":\"%08x\"}\n"
                            : "%llu,%lld,%lld,%zu,%d,%d,%d,%08x\n";
  return std::snprintf(text.data(), text.size(), format, static_cast<unsigned long long>(row.index),
                       static_cast<long long>(row.start), static_cast<long long>(row.stop), row.size,
                       row.sync, row.discontinuity, row.preroll, row.crc);
}

// Both workers deliver at once, so each pin's rows go to a temporary file first.
class RowRecorder final : public SampleConsumer {
 public:
  RowRecorder(std::string pin, bool json, DeliveryGuard& guard)
      : pin_(std::move(pin)),
        row_begin_(row_begin(pin_, json)),
        json_(json),
        guard_(guard),
        rows_(std::tmpfile()) {}

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
    position_ = segment_start_ + row.start;
    RowText text;
    const int length = format_row(text, row, json_);
    written_ = written_ && write(row_begin_) && write({text.data(), static_cast<size_t>(length)});
    return written_;
  }

  void new_segment(REFERENCE_TIME start, REFERENCE_TIME) override { segment_start_ = start; }

  // After the run. A Ctrl-C that comes now ends it; one before has ended the run, the rows of which are
  // shown. False when the temporary file failed.
  bool print(std::ostream& out) {
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

  const std::string& pin() const { return pin_; }
  int64_t position() const { return position_; }  // 100 ns; any thread

 private:
  bool write(std::string_view text) {
    return std::fwrite(text.data(), 1, text.size(), rows_.get()) == text.size();
  }

  std::string pin_;
  std::string row_begin_;
  bool json_;
  DeliveryGuard& guard_;
  TemporaryFile rows_;
  uint64_t index_ = 0;
  uint64_t total_ = 0;
  bool written_ = true;
  int64_t segment_start_ = 0;
  std::atomic<int64_t> position_{0};
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
  if (!play_range(options).is_whole) return false;
  return std::count_if(pins.begin(), pins.end(), [&](const PinEntry& pin) { return wanted(options, pin); }) >
         1;
}

// One file whose samples are listed.
class Listing {
 public:
  Listing(const Options& options, Messages& messages)
      : options_(options),
        messages_(messages),
        file_(options.files.front()),
        range_(play_range(options)),
        guard_(delivery_limit(options, file_)),
        player_(file_, messages) {}

  ExitCode run();
  ExitCode print(std::ostream& out);

 private:
  ExitCode connect();
  ExitCode play();
  bool on_slice(ProgressLine& progress);

  const Options& options_;
  Messages& messages_;
  const std::string& file_;
  const PlayRange range_;
  DeliveryGuard guard_;
  Gates gates_;
  std::list<RowRecorder> recorders_;
  SourcePlayer player_;
};

ExitCode Listing::run() {
  if (const ExitCode loaded = player_.load(); loaded != ExitCode::kDone) return loaded;
  tell_left_out(file_, messages_);
  if (const ExitCode connected = connect(); connected != ExitCode::kDone) return connected;
  if (const ExitCode sought = player_.seek(range_); sought != ExitCode::kDone) return sought;
  return play();
}

ExitCode Listing::connect() {
  const bool gated = needs_gate(options_, player_.pins());
  for (const PinEntry& pin : player_.pins()) {
    if (!wanted(options_, pin)) continue;
    RowRecorder& recorder = recorders_.emplace_back(pin.name, options_.json, guard_);
    const HRESULT hr =
        player_.connect(pin, recorder, gates_.opened_by(pin, gated), gates_.waited_for_by(pin, gated));
    if (SUCCEEDED(hr)) continue;
    messages_.error(
        {file_, pin.name, "cannot be connected: " + std::string(hresult_name(hr)), hresult_text(hr)});
    recorders_.pop_back();
    gates_.gate.open();
  }
  if (!recorders_.empty()) return ExitCode::kDone;
  messages_.error({file_, "", "no stream that can be played", ""});
  return ExitCode::kNotSupported;
}

bool Listing::on_slice(ProgressLine& progress) {
  int64_t position = 0;
  for (const RowRecorder& recorder : recorders_) position = std::max(position, recorder.position());
  show_progress(progress, file_, range_, position, player_.duration());
  return !interrupted() && !guard_.tripped();
}

ExitCode Listing::play() {
  ProgressLine progress(!options_.quiet);
  const ExitCode result = player_.play([&] { return on_slice(progress); });
  if (!guard_.tripped()) return result;
  messages_.error(
      {file_, "", "the tables describe more data than the file holds (--allow-overlap goes on)", ""});
  return worse_of(result, ExitCode::kLoss);
}

ExitCode Listing::print(std::ostream& out) {
  if (!options_.json && !recorders_.empty()) out << kHeader;
  ExitCode result = ExitCode::kDone;
  for (RowRecorder& recorder : recorders_) {
    if (recorder.print(out)) continue;
    messages_.error({file_, recorder.pin(), "the rows could not be kept in a temporary file", ""});
    result = ExitCode::kCannotWrite;
  }
  return result;
}

}  // namespace

ExitCode run_samples(const Options& options, std::ostream& out) {
  catch_interrupts();
  Messages messages(options.quiet);
  Listing listing(options, messages);
  ExitCode result = listing.run();
  const bool has_played = result == ExitCode::kDone || result == ExitCode::kLoss;
  if (has_played) result = worse_of(result, listing.print(out));
  return interrupted() ? ExitCode::kInterrupted : result;
}

}  // namespace zdr::host
