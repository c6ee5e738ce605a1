// `zdr samples --explain-seek`: shows where each pin begins after a seek, and what the seek reads.
#include <iomanip>
#include <ostream>

#include "host/commands/commands.h"
#include "host/commands/landing_output.h"
#include "host/json/json_report.h"
#include "host/memory.h"
#include "host/seek/seek_explanation.h"
#include "host/terminal.h"
#include "host/text/time_text.h"

namespace zdr::host {
namespace {

std::string at(int64_t time) {
  return " at " + format_time(time);
}

void print_choice(std::ostream& out, const UnitChoice& choice) {
  out << "    access unit " << choice.at_target << " of " << choice.units << at(choice.target_start)
      << " holds the target";
  if (!choice.has_sync_table) {
    out << "; every unit is a sync sample\n";
  } else if (choice.begun_with == choice.at_target) {
    out << ", and is a sync sample\n";
  } else if (choice.target_is_sync) {
    out << ", and is a sync sample,\n    but the lookup by time took the unit before it, whose sync sample "
           "is unit "
        << choice.begun_with << "\n";
  } else {
    out << "; unit " << choice.begun_with << " is the sync sample before it\n";
  }
}

void print_pin(std::ostream& out, const PinSeek& pin) {
  const PinLanding& landing = pin.landing;
  out << "  " << landing.pin << ": begins" << at(landing.first) << "\n";
  if (pin.choice) print_choice(out, *pin.choice);
  if (landing.prerolled != 0)
    out << "    " << counted(landing.prerolled, "sample") << (landing.prerolled == 1 ? " is" : " are")
        << " preroll, decoded but not shown\n";
  out << "    "
      << (landing.shown ? "shows its first sample" + at(*landing.shown) : "ends before a sample is shown")
      << "\n";
}

// The filter moves both segments to the first sample of audio if video, at its sync sample, begins earlier.
void print_meeting(std::ostream& out, const SeekExplanation& seek) {
  if (seek.pins.size() < 2) return;
  const int64_t start = seek.pins.front().landing.segment_start;
  for (const PinSeek& pin : seek.pins) {
    if (pin.landing.segment_start != start) return;
  }
  out << "  together from " << format_time(start)
      << (start == seek.target ? "" : ", where audio has its first sample") << "\n";
}

void print_reads(std::ostream& out, const SeekExplanation& seek) {
  out << "  " << counted(seek.reads, "read") << " of " << counted(seek.bytes, "byte") << " in all\n";
  for (const ReadGroup& group : seek.groups) {
    out << "    ";
    if (group.table.empty()) {
      out << "media data and boxes";
    } else {
      out << group.table << " of " << (group.pin.empty() ? "another track" : group.pin);
      if (group.reads == 0) {
        out << ": in memory since the file was opened\n";
        continue;
      }
      out << ", " << (group.first_entry == group.last_entry ? "entry " : "entries ") << group.first_entry;
      if (group.first_entry != group.last_entry) out << " to " << group.last_entry;
    }
    out << ": " << counted(group.reads, "read") << ", " << counted(group.bytes, "byte") << "\n";
  }
}

void print(std::ostream& out, const std::string& file, const SeekExplanation& seek) {
  out << shown_name(file) << ": seek to " << format_time(seek.target) << "\n";
  for (const PinSeek& pin : seek.pins) print_pin(out, pin);
  print_meeting(out, seek);
  print_reads(out, seek);
}

void write_pin(JsonWriter& json, const PinSeek& pin) {
  json.begin_object();
  json.member("pin", pin.landing.pin);
  if (pin.choice) {
    json.member("access_units", pin.choice->units);
    json.member("unit_at_target", pin.choice->at_target);
    json.member("unit_at_target_start_100ns", pin.choice->target_start);
    json.member("unit_at_target_is_sync", pin.choice->target_is_sync);
    json.member("first_unit", pin.choice->begun_with);
    json.member("has_sync_table", pin.choice->has_sync_table);
  }
  add_landing(json, pin.landing);
  json.end_object();
}

void write_group(JsonWriter& json, const ReadGroup& group) {
  json.begin_object();
  if (!group.pin.empty()) json.member("pin", group.pin);
  if (!group.table.empty()) {
    json.member("table", group.table);
    if (group.reads != 0) {
      json.member("first_entry", group.first_entry);
      json.member("last_entry", group.last_entry);
    }
  }
  json.member("reads", group.reads);
  json.member("bytes", group.bytes);
  json.end_object();
}

void write(JsonWriter& json, const SeekExplanation& seek) {
  json.begin_object("seek");
  json.member("target_100ns", seek.target);
  json.begin_array("pins");
  for (const PinSeek& pin : seek.pins) write_pin(json, pin);
  json.end_array();
  json.begin_array("reads");
  for (const ReadGroup& group : seek.groups) write_group(json, group);
  json.end_array();
  json.member("read_count", seek.reads);
  json.member("read_bytes", seek.bytes);
  json.end_object();
}

}  // namespace

ExitCode explain_seek_in(const std::string& file, const Options& options, std::ostream& out) {
  Messages messages(options.quiet || options.json);
  SeekExplanation seek;
  ExitCode result =
      report_memory(file, messages, [&] { return explain_seek(file, options, messages, seek); });
  if (interrupted()) result = messages.report_interrupted(file);
  if (options.json) {
    JsonWriter json(out, JsonWriter::Layout::kOneLine);
    begin_file_json(json, file, result);
    if (!seek.pins.empty()) write(json, seek);
    end_json(json, messages);
  } else if (!seek.pins.empty()) {
    print(out, file, seek);
  }
  return result;
}

}  // namespace zdr::host
