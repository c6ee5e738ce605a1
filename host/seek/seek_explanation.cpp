// Plays the part to find what is missing. Then runs the seek with an observer of reads, and finds the sample
// tables and entries that were read.
#include "host/seek/seek_explanation.h"

#include <algorithm>
#include <list>
#include <memory>
#include <new>

#include "host/graph/file_run.h"
#include "host/inspect/files/read_failure.h"
#include "host/inspect/iso/parsed_movie.h"
#include "host/inspect/iso/table_map.h"
#include "host/inspect/iso/unit_lookup.h"
#include "host/seek/read_trace.h"
#include "host/terminal.h"
#include "host/text/time_text.h"

namespace zdr::host {
namespace {

// A media time in units of a track.
uint64_t to_track_units(int64_t time, uint64_t time_scale) {
  return static_cast<uint64_t>(std::max<double>(
      0, static_cast<double>(time) * static_cast<double>(time_scale) / static_cast<double>(kUnitsPerSecond)));
}

class Explainer {
 public:
  Explainer(const std::string& file, SeekExplanation& explanation) : file_(file), explanation_(explanation) {}

  void parse() {
    movie_ = parse_iso_media(file_, &tables_.visitor());
    if (!tables_.is_complete()) throw std::bad_alloc();
  }

  void add_pin(PinLanding landing) {
    std::optional<UnitChoice> choice = find_choice(landing);
    explanation_.pins.push_back({std::move(landing), std::move(choice)});
  }

  void add_reads(const ReadTrace& trace) {
    explanation_.reads = trace.count();
    explanation_.bytes = trace.bytes();
    for (const ReadTrace::Read& read : trace.reads()) add_read(read);
    for (const SampleTable& table : tables_.tables()) add_cached(table);
    const auto is_table = [](const ReadGroup& group) { return !group.table.empty(); };
    std::stable_partition(explanation_.groups.begin(), explanation_.groups.end(), is_table);
  }

 private:
  const TrackRecord* track_of(bool is_audio) const {
    return movie_ ? movie_->first_track(track_type(is_audio)) : nullptr;
  }

  std::optional<UnitChoice> find_choice(const PinLanding& landing) const {
    const TrackRecord* const track = track_of(landing.is_audio);
    TrackFacts facts;
    if (track == nullptr || movie_->get_facts(*track->id, facts) != P3GPP_OK || facts.time_scale == 0)
      return std::nullopt;
    const OpenTrack opened = movie_->open_track(*track->id);
    if (!opened) return std::nullopt;
    UnitLookup lookup(opened.get(), facts.samples);
    UnitChoice choice;
    choice.units = facts.samples;
    choice.at_target = lookup.unit_at(to_track_units(explanation_.target, facts.time_scale));
    choice.target_start = static_cast<int64_t>(static_cast<double>(lookup.decoding_time(choice.at_target)) *
                                               kUnitsPerSecond / facts.time_scale);
    choice.target_is_sync = lookup.decodable_from(choice.at_target, false) == choice.at_target;
    // The filter stamps whole milliseconds, with the shift by empty edits.
    const uint64_t first = to_track_units(landing.first + kUnitsPerMillisecond - 1, facts.time_scale);
    choice.begun_with = lookup.unit_at(first - std::min<uint64_t>(first, lookup.shift()));
    choice.has_sync_table = track->sync_samples.has_value();
    return lookup.is_usable() ? std::optional(choice) : std::nullopt;
  }

  std::string pin_of(const SampleTable& table) const {
    for (const PinSeek& pin : explanation_.pins) {
      const TrackRecord* const track = track_of(pin.landing.is_audio);
      if (track != nullptr && track->number == table.track) return pin.landing.pin;
    }
    return {};
  }

  void add_read(const ReadTrace::Read& read) {
    const SampleTable* const table = read.bytes != 0 ? tables_.find(read.offset) : nullptr;
    ReadGroup group;
    group.reads = 1;
    group.bytes = read.bytes;
    if (table != nullptr) {
      group.pin = pin_of(*table);
      group.table = table->type;
      group.first_entry = table->entry_at(read.offset);
      group.last_entry = table->entry_at(std::min(read.offset + read.bytes, table->end) - 1);
    }
    merge(group);
  }

  // Delivering a sample takes entries of all tables of its track, which are in the cache if none was read.
  void add_cached(const SampleTable& table) {
    const ReadGroup group{.pin = pin_of(table), .table = table.type};
    if (!group.pin.empty() && find_group(group) == explanation_.groups.end())
      explanation_.groups.push_back(group);
  }

  std::vector<ReadGroup>::iterator find_group(const ReadGroup& sought) {
    return std::ranges::find_if(explanation_.groups, [&](const ReadGroup& group) {
      return group.pin == sought.pin && group.table == sought.table;
    });
  }

  void merge(const ReadGroup& read) {
    const auto known = find_group(read);
    if (known == explanation_.groups.end()) {
      explanation_.groups.push_back(read);
      return;
    }
    known->first_entry = std::min(known->first_entry, read.first_entry);
    known->last_entry = std::max(known->last_entry, read.last_entry);
    known->reads += read.reads;
    known->bytes += read.bytes;
  }

  const std::string& file_;
  SeekExplanation& explanation_;
  TableMap tables_;
  std::unique_ptr<const ParsedMovie> movie_;
};

// Takes what the seek delivers, for the check of what is missing.
class PartConsumer final : public PinConsumer {
 public:
  using PinConsumer::PinConsumer;

  bool receive(IMediaSample& sample) override {
    const auto bytes = bytes_of(sample);
    if (!bytes) return fail();
    if (!count_bytes(*bytes)) return false;
    REFERENCE_TIME start = 0;
    REFERENCE_TIME stop = 0;
    sample.GetTime(&start, &stop);
    count_sample(start);
    return true;
  }
};

class PartOwner final : public ConsumerOwner {
 public:
  PinConsumer& add_consumer(const std::string& pin_name, DeliveryGuard& guard) override {
    return consumers_.emplace_back(pin_name, guard);
  }
  void drop_last_consumer() override { consumers_.pop_back(); }

 private:
  std::list<PartConsumer> consumers_;
};

// Reports what is missing from the target on. Only a play to the end tells that.
ExitCode check_part(const std::string& file, const Options& options, Messages& messages) {
  PartOwner owner;
  FileRun run(file, options, FileRun::Use::kCheck, messages, owner);
  const ExitCode prepared = run.prepare();
  return prepared == ExitCode::kDone ? run.play("play it") : prepared;
}

ExitCode observe_seek(const std::string& file, uint32_t stall_seconds, Messages& messages,
                      SeekExplanation& explanation) {
  SourcePlayer player(file, messages, stall_seconds);
  if (const ExitCode loaded = player.load(); loaded != ExitCode::kDone) return loaded;
  Explainer explainer(file, explanation);
  explainer.parse();
  std::vector<PinLanding> landings;
  ReadTrace trace;
  const LandingWatch watch{[&trace] { trace.begin(); }, [] { return !interrupted(); },
                           [&trace] { trace.end(); }};
  const ExitCode played = find_landings(player, explanation.target, watch, landings);
  trace.end();
  for (PinLanding& landing : landings) explainer.add_pin(std::move(landing));
  explainer.add_reads(trace);
  return worse_of(played, report_read_failure(file, messages));
}

}  // namespace

ExitCode explain_seek(const std::string& file, const Options& options, Messages& messages,
                      SeekExplanation& explanation) {
  explanation.target = parse_time(options.explain_seek).value_or(0);
  const ExitCode checked = check_part(file, options, messages);
  const bool has_played = checked == ExitCode::kDone || checked == ExitCode::kLoss;
  if (!has_played || interrupted() || SourcePlayer::has_abandoned_filter()) return checked;
  Messages repeated(Messages::Shown::kNothing);
  const ExitCode sought = observe_seek(file, options.stall_seconds, repeated, explanation);
  if (checked == ExitCode::kDone) {
    for (const Message& message : repeated.take_errors()) messages.error(message);
  }
  return worse_of(checked, sought);
}

}  // namespace zdr::host
