// Formats verdicts as text and as JSON.
#include "host/verify/verdict_report.h"

#include <algorithm>
#include <iterator>
#include <ostream>
#include <string>
#include <string_view>

#include "host/terminal.h"
#include "host/text/decoded_text.h"
#include "host/text/time_text.h"
#include "host/verify/digest_manifest.h"

namespace zdr::host {
namespace {

std::string text_of(const Message& message) {
  return printable(message.text()) + (message.status.empty() ? "" : " [" + message.status + "]");
}

std::string line_of(const StreamVerdict& stream, const DamagedUnit& unit) {
  return printable(stream.pin) + ": access unit " + std::to_string(unit.number) + " at " +
         format_time(unit.time) + ", offset " + std::to_string(unit.offset) + ": " + unit.reason;
}

// "lost: Video0: delivered only ...". A reason of its own need not say again that it is damage.
std::string line_of(const FileVerdict& verdict) {
  const std::string word(word_of(verdict.verdict));
  std::string reason;
  if (!verdict.errors.empty()) {
    Message error = verdict.errors.front();
    constexpr std::string_view kDamaged = "damaged: ";
    if (error.reason.starts_with(kDamaged)) error.reason.erase(0, kDamaged.size());
    reason = text_of(error);
  }
  if (reason.empty() || reason == word) return word;
  return reason.starts_with(word + ": ") ? reason : word + ": " + reason;
}

bool is_of_track(const Message& note) {
  return note.code == MessageCode::kTrackNotPlayed;
}

// True for a note that says that a part of the file was not verified. What these exceptions are about is
// verified as it is stored.
bool limits_verdict(const Message& note) {
  return note.code != MessageCode::kEditsNotApplied && note.code != MessageCode::kStereoDuplicated;
}

void write_unit(JsonWriter& json, const DamagedUnit& unit) {
  json.begin_object();
  json.member("number", unit.number);
  json.member("time_100ns", unit.time);
  json.member("offset", unit.offset);
  json.member("reason", unit.reason);
  json.end_object();
}

void write_stream(JsonWriter& json, const StreamVerdict& stream) {
  json.begin_object();
  json.member("pin", stream.pin);
  json.member("samples", stream.samples);
  json.member("payload_bytes", stream.payload_bytes);
  json.member("decoded", stream.is_decoded);
  if (!stream.digest.empty()) {
    add_name(json, "digest_name", stream.name);
    json.member("digest", stream.digest);
  }
  json.begin_array("damaged_units");
  for (const DamagedUnit& unit : stream.damaged_units) write_unit(json, unit);
  json.end_array();
  if (stream.has_more_damage) json.member("more_damaged_units", true);
  json.end_object();
}

}  // namespace

VerdictReport::VerdictReport(const Options& options, bool is_list, std::ostream& out)
    : options_(options), is_list_(is_list), out_(out), prefix_(options.hash.empty() ? "" : "# ") {
  if (options.json) json_ = std::make_unique<JsonReport>(out, options, is_list);
}

void VerdictReport::add(const FileVerdict& verdict) {
  ++all_;
  ++counts_[static_cast<size_t>(verdict.verdict)];
  partly_played_ += std::ranges::any_of(verdict.notes, is_of_track) ? 1 : 0;
  worst_ = worse_of(worst_, verdict.exit_code);
  json_ ? print_json(verdict) : print(verdict);
  out_.flush();
}

void VerdictReport::print(const FileVerdict& verdict) {
  for (const StreamVerdict& stream : verdict.streams) {
    if (!options_.hash.empty() && !stream.digest.empty())
      out_ << manifest_line(stream.digest, stream.name) << "\n";
  }
  // In a manifest, a name must not break the line.
  const std::string name = options_.hash.empty() ? shown_name(verdict.file) : printable(verdict.file);
  out_ << prefix_ << name << ": " << line_of(verdict) << "\n";
  for (size_t i = 1; i < verdict.errors.size(); ++i)
    out_ << prefix_ << "  " << text_of(verdict.errors[i]) << "\n";
  for (const StreamVerdict& stream : verdict.streams) {
    for (const DamagedUnit& unit : stream.damaged_units)
      out_ << prefix_ << "  " << line_of(stream, unit) << "\n";
    if (stream.has_more_damage)
      out_ << prefix_ << "  " << printable(stream.pin) << (stream.damaged_units.empty() ? ": " : ": more ")
           << "access units are damaged (--all lists them)\n";
  }
  if (options_.quiet) return;
  for (const Message& note : verdict.notes) {
    if (limits_verdict(note)) out_ << prefix_ << "  note: " << text_of(note) << "\n";
  }
}

void VerdictReport::print_json(const FileVerdict& verdict) {
  Messages messages(Messages::Shown::kErrors);
  for (const Message& error : verdict.errors) messages.error(error);
  for (const Message& note : verdict.notes) messages.note(note);
  JsonWriter& json = json_->begin_file(verdict.file, verdict.exit_code);
  json.member("verdict", word_of(verdict.verdict));
  json.begin_array("streams");
  for (const StreamVerdict& stream : verdict.streams) write_stream(json, stream);
  json.end_array();
  end_json(json, messages);
}

ExitCode VerdictReport::finish(uint64_t not_begun) {
  if (json_ || !is_list_) return worst_;
  std::string total;
  const auto add = [&total](uint64_t count, std::string_view what) {
    if (count != 0) total += (total.empty() ? "" : ", ") + std::to_string(count) + " " + std::string(what);
  };
  for (size_t i = 0; i < counts_.size(); ++i) add(counts_[i], word_of(Verdict(i)));
  add(not_begun, "not begun");
  out_ << prefix_ << "total: " << (total.empty() ? "no files" : total);
  if (partly_played_ != 0)
    out_ << "; " << counted(partly_played_, "file") << " with tracks that are not played";
  out_ << "\n";
  return worst_;
}

}  // namespace zdr::host
