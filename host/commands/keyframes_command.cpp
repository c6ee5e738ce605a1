// `zdr keyframes`: lists the key frames of the video, without the module. As JSON, each is a line, between
// one that names the file and one with the result.
#include <array>
#include <cstdio>
#include <ostream>

#include "host/commands/commands.h"
#include "host/inspect/diagnosis/content_hint.h"
#include "host/inspect/diagnosis/left_out.h"
#include "host/inspect/diagnosis/open_diagnosis.h"
#include "host/inspect/diagnosis/track_diagnosis.h"
#include "host/inspect/files/read_failure.h"
#include "host/inspect/iso/key_frames.h"
#include "host/json/json_report.h"
#include "host/memory.h"
#include "host/terminal.h"
#include "host/text/time_text.h"

namespace zdr::host {
namespace {

constexpr const char* kHeading = "  number    sample           time       size        offset\n";

class KeyFrameList {
 public:
  KeyFrameList(const Options& options, Messages& messages, std::ostream& out)
      : options_(options), messages_(messages), file_(options.files.front()), out_(out) {}

  ExitCode list();
  uint32_t count() const { return count_; }

 private:
  ExitCode list_movie(const ParsedMovie& movie);
  ExitCode list_track(KeyFrameWalk& walk);
  ExitCode report_faults(const ParsedMovie& movie, uint32_t samples);
  void add(const KeyFrameEntry& entry);
  void print(const KeyFrameEntry& entry);
  ExitCode fail(ExitCode exit_code, MessageCode code, const std::string& reason,
                const std::string& status = "") {
    return messages_.report(file_, {exit_code, code, {}, reason, status});
  }

  const Options& options_;
  Messages& messages_;
  const std::string& file_;
  std::ostream& out_;
  bool is_end_explained_ = false;  // the cause of an early end has been reported
  uint32_t count_ = 0;
  uint32_t lost_ = 0;       // past the end of the file
  std::string first_lost_;  // its number and time
};

ExitCode KeyFrameList::list() {
  watch_reads(file_);
  if (const auto refused = diagnose_before_open(file_)) return messages_.report(file_, *refused);
  report_content_hint(file_, messages_);
  const std::unique_ptr<const ParsedMovie> movie = parse_iso_media(file_);
  if (movie == nullptr) {
    if (const auto refused = diagnose_access(file_, "")) return messages_.report(file_, *refused);
    if (const auto unknown = diagnose_extension(file_, "")) return messages_.report(file_, *unknown);
    return fail(ExitCode::kNotSupported, MessageCode::kNoPlayableTrack, "has no video track");
  }
  if (!movie->is_open()) return messages_.report(file_, diagnose_parse(file_, *movie));
  ExitCode code = report_left_out(file_, movie.get(), std::nullopt, LeftOutUse::kPlay, messages_);
  code = worse_of(code, list_movie(*movie));
  return worse_of(code, report_read_failure(file_, messages_));
}

ExitCode KeyFrameList::list_movie(const ParsedMovie& movie) {
  KeyFrameWalk walk(movie, file_);
  if (!walk.is_open()) return messages_.report(file_, diagnose_missing_video(movie));
  const ExitCode faults = report_faults(movie, walk.samples());
  return worse_of(faults, list_track(walk));
}

// Faults of the tables, which may have cost key frames.
ExitCode KeyFrameList::report_faults(const ParsedMovie& movie, uint32_t samples) {
  const TrackRecord* const track = movie.first_track(P3GPP_TRACK_VIDEO);
  if (track == nullptr) return ExitCode::kDone;
  ExitCode code = ExitCode::kDone;
  for (const std::string& fault : faults_of(movie, *track)) {
    code = messages_.report(file_, {ExitCode::kLoss, MessageCode::kFileDamaged, place_of(*track), fault, ""});
  }
  const auto missing = find_missing_sizes(movie, *track, samples);
  is_end_explained_ = track->overfull_table || (missing && samples == 0);
  return missing ? worse_of(code, messages_.report(file_, *missing)) : code;
}

ExitCode KeyFrameList::list_track(KeyFrameWalk& walk) {
  constexpr uint32_t kEntriesPerUpdate = 1024;
  ProgressLine progress(!options_.quiet && !stdout_is_terminal());
  if (!options_.json) out_ << kHeading;
  while (const std::optional<KeyFrameEntry> entry = walk.next()) {
    add(*entry);
    if (entry->number % kEntriesPerUpdate != 0) continue;
    progress.update(file_, entry->sample, walk.samples());
    if (interrupted()) return messages_.report_interrupted(file_);
  }
  ExitCode code = ExitCode::kDone;
  if (lost_ != 0) {
    code = fail(ExitCode::kLoss, MessageCode::kCutOff,
                lost_ == 1 ? "key frame " + first_lost_ + ", is past the end of the file"
                           : std::to_string(lost_) +
                                 " key frames are past the end of the file, the first of them number " +
                                 first_lost_);
  }
  const std::string failure = is_end_explained_ ? "" : walk.failure();
  if (!failure.empty())
    code = fail(ExitCode::kLoss, MessageCode::kFileDamaged, failure, std::to_string(walk.status()));
  return code;
}

// Lists the key frame only if `zdr keyframe` can write it.
void KeyFrameList::add(const KeyFrameEntry& entry) {
  if (entry.is_in_file) {
    print(entry);
    ++count_;
  } else if (lost_++ == 0) {
    first_lost_ = std::to_string(entry.number) + ", at " + format_time(entry.time_100ns);
  }
}

void KeyFrameList::print(const KeyFrameEntry& entry) {
  std::array<char, 200> row{};
  if (options_.json) {
    std::snprintf(row.data(), row.size(),
                  "{\"number\":%u,\"sample\":%u,\"time_100ns\":%lld,\"size\":%u,\"offset\":%llu}\n",
                  entry.number, entry.sample, static_cast<long long>(entry.time_100ns), entry.size,
                  static_cast<unsigned long long>(entry.offset));
  } else {
    std::snprintf(row.data(), row.size(), "%8u %9u %14s %10u %13llu\n", entry.number, entry.sample,
                  format_time(entry.time_100ns).c_str(), entry.size,
                  static_cast<unsigned long long>(entry.offset));
  }
  out_ << row.data();
}

}  // namespace

ExitCode run_keyframes(const Options& options, std::ostream& out) {
  catch_interrupts();
  Messages messages(options.quiet || options.json);
  if (options.json) print_file_line(options.files.front(), out);
  KeyFrameList list(options, messages, out);
  const ExitCode code = report_memory(options.files.front(), messages, [&] { return list.list(); });
  if (options.json) {
    JsonWriter json(out, JsonWriter::Layout::kOneLine);
    json.begin_object();
    json.member("exit_code", static_cast<int>(code));
    json.member("key_frames", list.count());
    end_json(json, messages);
  }
  return code;
}

}  // namespace zdr::host
