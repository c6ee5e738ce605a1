// `zdr info`: describes a file, its tracks, its pins with their media types, and its tags.
#include <algorithm>
#include <memory>
#include <optional>
#include <ostream>
#include <span>
#include <utility>
#include <vector>

#include "filters/source/mp4/interfaces/source_kind.h"
#include "host/commands/commands.h"
#include "host/commands/exact_count.h"
#include "host/commands/movie_report.h"
#include "host/commands/track_output.h"
#include "host/graph/source_clip.h"
#include "host/graph/source_player.h"
#include "host/inspect/aac/aac_stream_view.h"
#include "host/inspect/diagnosis/left_out.h"
#include "host/inspect/diagnosis/open_diagnosis.h"
#include "host/inspect/diagnosis/track_diagnosis.h"
#include "host/inspect/files/read_failure.h"
#include "host/inspect/iso/parsed_movie.h"
#include "host/inspect/media_type_text.h"
#include "host/inspect/tags/file_tags.h"
#include "host/json/json_report.h"
#include "host/memory.h"
#include "host/terminal.h"
#include "host/text/decoded_text.h"
#include "host/text/time_text.h"
#include "host/writers/output_file.h"
#include "platform/win32/read_failures.h"

namespace zdr::host {
namespace {

constexpr const char* kNoType = "offers no media type";

struct ClipInformation {
  HRESULT result;  // E_NOINTERFACE: the filter has no clip interface
  std::optional<mp4source::ClipInfo> info;
};

std::string no_clip_reason(const std::string& file, HRESULT result) {
  if (result == E_NOINTERFACE) return "the registered filter does not have this interface";
  if (mp4source::source_kind_of(file) != mp4source::SOURCE_KIND_MP4) return "its stream cannot be measured";
  const ParsedMovie movie(file);
  return movie.is_open() && movie.record().time_scale == 0
             ? kNoMovieHeader
             : "its first video or audio track cannot be described";
}

ClipInformation read_clip(const SourcePlayer& player, const std::string& file) {
  SourceClip clip(player.source(), file);
  mp4source::ClipInfo info{};
  const HRESULT result = with_memory(clip.usable() ? clip.info(info) : clip.result());
  with_memory(result, FMGR_ERR_GENERIC);  // of an open without memory for a file manager
  if (clip.usable() && SUCCEEDED(result)) return {result, info};
  return {result, std::nullopt};
}

// Returns the clip's information. If it has none, reports the reason as a note. The module also returns
// E_FAIL when memory is exhausted for a moment, so the failure counts only if it recurs.
ClipInformation clip_information(const SourcePlayer& player, const std::string& file, Messages& messages) {
  ClipInformation clip = read_clip(player, file);
  if (clip.result == E_FAIL) clip = read_clip(player, file);
  if (!clip.info) {
    messages.note({MessageCode::kClipNotDescribed,
                   file,
                   {},
                   "no clip information: " + no_clip_reason(file, clip.result),
                   hresult_text(clip.result)});
  }
  return clip;
}

// What the command shows of a file that the filter has opened.
struct FileReport {
  int64_t duration_100ns;
  std::span<const PinEntry> pins;  // of the player
  ClipInformation clip;
  std::optional<AacStreamView> stream;  // of an AAC file
  std::optional<ExactCount> exact;      // of an AAC or AMR file, with --exact
};

// What the parsers read of a file. `tags` are views of `movie` and `tag_source`.
struct FileContent {
  std::unique_ptr<const ParsedMovie> movie;  // null unless it is an ISO media file
  std::optional<FileTags> tag_source;
  std::vector<TagRecord> tags;
  std::optional<MovieDescription> tracks;  // of an ISO media file that can be parsed
  std::optional<FileReport> report;        // none if the file has no usable track, or cannot be described
};

FileReport describe(const std::string& file, const SourcePlayer& player, Messages& messages) {
  FileReport report{player.duration(), player.pins(), clip_information(player, file, messages), {}, {}};
  if (mp4source::source_kind_of(file) == mp4source::SOURCE_KIND_AAC) report.stream.emplace(file);
  return report;
}

// The filter has opened the AAC file already, so a second open fails because the file can no longer be read,
// memory is exhausted, or the file was changed. The reader does not report which.
ExitCode check_stream(const std::string& file, FileReport& report, Messages& messages) {
  const bool is_foreign = report.clip.result == E_NOINTERFACE;  // which may open other files than the reader
  if (!report.stream || (report.clip.info && report.stream->status == AACF_OK)) return ExitCode::kDone;
  const std::string status = std::to_string(report.stream->status);
  if (report.stream->status != AACF_OK) report.stream.reset();
  if (is_foreign) return ExitCode::kDone;
  platform::ReadFailure failure{};
  if (platform::first_read_failure(failure)) return ExitCode::kLoss;  // which is reported at the end
  messages.error({MessageCode::kFileNotReadable, file, {}, "cannot be opened a second time", status});
  return ExitCode::kLoss;
}

// Counts the frames of a file without tables.
void count_exactly(const std::string& file, const Options& options, FileReport& report) {
  ProgressLine progress(!options.quiet);
  const auto watch = [&](uint64_t offset, uint64_t end) {
    progress.update(file, offset, end);
    return true;
  };
  const bool is_amr = mp4source::source_kind_of(file) == mp4source::SOURCE_KIND_AMR;
  if (report.stream) report.exact = count_aac_exactly(file, *report.stream, watch);
  if (!is_amr || report.pins.empty() || report.pins.front().types.empty()) return;
  const bool is_wide_band = codec_name(report.pins.front().types.front()) == "AMR-WB";
  report.exact = count_amr_exactly(file, is_wide_band, watch);
}

ExitCode report_count(const std::string& file, const ExactCount& count, Messages& messages) {
  ExitCode code = count.fault ? messages.report(file, *count.fault) : ExitCode::kDone;
  for (const Diagnosis& remark : count.remarks) code = worse_of(code, messages.report(file, remark));
  return code;
}

void print_report(const FileReport& report, bool has_tracks, bool is_full, std::ostream& out) {
  if (has_tracks && !report.pins.empty()) out << "  media types, with rates over the longest stream:\n";
  for (const PinEntry& pin : report.pins) {
    out << "  " << pin.name << ": " << (pin.types.empty() ? kNoType : media_type_line(pin.types.front()))
        << "\n";
    if (is_full && !pin.types.empty())
      out << "    format block: " << hex_text(format_block(pin.types.front())) << "\n";
  }
  if (report.stream)
    out << "  stream: " << format_line(*report.stream) << "\n    " << stream_line(*report.stream) << "\n";
  if (report.exact) out << "  counted: " << exact_line(*report.exact) << "\n";
}

void print_text(const std::string& file, const FileContent& content, bool is_full, std::ostream& out) {
  if (!content.report && !content.tracks) return;
  out << shown_name(file) << "\n";
  if (content.report) out << "  duration " << format_time(content.report->duration_100ns) << "\n";
  if (content.tracks) print_movie(*content.tracks, is_full, out);
  if (content.report) print_report(*content.report, content.tracks.has_value(), is_full, out);
  for (const TagRecord& tag : content.tags) {
    out << "  ";
    print_tag(tag, out);
    out << "\n";
  }
}

void write_pin(JsonWriter& json, const PinEntry& pin, bool is_full) {
  json.begin_object();
  json.member("name", pin.name);
  json.begin_array("media_types");
  for (const CMediaType& type : pin.types) write_media_type(json, type, is_full);
  json.end_array();
  json.end_object();
}

void add_report(JsonWriter& json, const FileReport& report, bool is_full) {
  json.member("duration_100ns", report.duration_100ns);
  json.key("clip");
  if (report.clip.info) {
    write_clip(json, *report.clip.info);
  } else {
    json.value(nullptr);
  }
  json.begin_array("pins");
  for (const PinEntry& pin : report.pins) write_pin(json, pin, is_full);
  json.end_array();
  if (report.stream) {
    json.key("stream");
    write_stream(json, *report.stream);
  }
  if (!report.exact) return;
  json.begin_object("exact");
  json.member("frames", report.exact->frames);
  json.member("duration_100ns", report.exact->duration_100ns);
  json.member("bytes", report.exact->bytes);
  json.member("bit_rate", report.exact->bit_rate());
  json.member("whole", !report.exact->fault);
  json.end_object();
}

void add_content(JsonWriter& json, const FileContent& content, bool is_full) {
  if (content.report) add_report(json, *content.report, is_full);
  if (content.tracks) add_movie(json, *content.tracks);
  if (content.report || content.tracks) add_tags(json, content.tags);
}

// Sizes that the file cannot hold, in a track that the other checks have found undamaged.
ExitCode check_sizes(const std::string& file, const FileContent& content, Messages& messages) {
  ExitCode code = ExitCode::kDone;
  for (const TrackRecord& record : content.movie->record().tracks) {
    const auto& tracks = content.tracks->tracks;
    const auto track = std::ranges::find(tracks, record.number, &TrackDescription::number);
    const uint64_t bytes = track != tracks.end() && !track->pin.empty() ? track->media_bytes.value_or(0) : 0;
    if (bytes <= content.tracks->size || content.movie->has_external_data(record)) continue;
    code = messages.report(file, {ExitCode::kLoss, MessageCode::kTablesOverlap, place_of(record),
                                  "damaged: the sizes in its size table (stsz) add up to " +
                                      counted(bytes, "byte") + ", more than the file has",
                                  ""});
  }
  return code;
}

// Writes the cover image to options.cover unless that is empty.
ExitCode save_cover(const std::string& file, const FileTags& tags, const Options& options,
                    Messages& messages) {
  if (options.cover.empty()) return ExitCode::kDone;
  const Bytes image = tags.cover();
  if (image.empty()) {
    messages.error({MessageCode::kCoverMissing, file, {}, "has no cover image", ""});
    return ExitCode::kNotSupported;
  }
  platform::FileSet inputs;
  inputs.add(file);
  const std::string name = std::filesystem::path(file).stem().string() + ".cover" + tags.cover_extension();
  OutputFile output(output_path(options.cover, name), options.force, &inputs);
  if (output.open() && output.write(image) && output.commit()) return ExitCode::kDone;
  messages.error({MessageCode::kOutputFailed, output.final_path().string(), {}, output.failure(), ""});
  return ExitCode::kCannotWrite;
}

// Fills `content`. A file without a usable track may still have a cover. Reads the tags last, because each
// reader holds a copy of them while it is open.
ExitCode examine(const std::string& file, const Options& options, SourcePlayer& player, Messages& messages,
                 FileContent& content) {
  ExitCode code = player.load();
  if (code == ExitCode::kCannotOpen) return code;
  content.movie = parse_iso_media(file);
  const bool is_parsed = content.movie != nullptr && content.movie->is_open();
  if (code != ExitCode::kDone && options.cover.empty() && !is_parsed) return code;
  std::optional<FileReport> report;
  if (code == ExitCode::kDone) {
    const PlayableKinds kinds = player.playable_kinds();
    code = report_left_out(file, content.movie.get(), kinds, LeftOutUse::kDescription, messages);
    if (content.movie != nullptr && content.movie->is_open() && !kinds.any())
      code = messages.report(file, diagnose_unplayable(*content.movie));
    report = describe(file, player, messages);
    code = worse_of(code, check_stream(file, *report, messages));
    if (options.exact) count_exactly(file, options, *report);
    if (report->exact) code = worse_of(code, report_count(file, *report->exact, messages));
  }
  if (is_parsed) {
    ProgressLine progress(!options.quiet);
    content.tracks =
        report_movie(file, *content.movie, player.pins(), options.full, [&](uint64_t done, uint64_t total) {
          progress.update(file, done, total);
          return true;
        });
    if (code == ExitCode::kDone) code = check_sizes(file, content, messages);
    if (!content.tracks->is_complete)
      messages.note({MessageCode::kNotShown, file, {}, "not all of its tracks are described", ""});
  }
  content.tag_source.emplace(file, content.movie.get());
  content.tags = content.tag_source->records();
  content.report = std::move(report);
  return worse_of(code, save_cover(file, *content.tag_source, options, messages));
}

// Shows one file: adds it to `report`, or prints it as text if `report` is null.
ExitCode show_file(const std::string& file, const Options& options, Messages& messages, JsonReport* report,
                   std::ostream& out) {
  SourcePlayer player(file, messages, options.stall_seconds);
  FileContent content;
  ExitCode code =
      report_memory(file, messages, [&] { return examine(file, options, player, messages, content); });
  if (report == nullptr) print_text(file, content, options.full, out);
  code = worse_of(code, report_read_failure(file, messages));
  if (report == nullptr) return code;
  JsonWriter& json = report->begin_file(file, code);
  add_content(json, content, options.full);
  end_json(json, messages);
  return code;
}

}  // namespace

ExitCode run_info(const Options& options, std::ostream& out) {
  if (!options.cover.empty() && options.files.size() > 1) {
    Messages(false).error({MessageCode::kUsage, "", {}, "--cover needs exactly one file", ""});
    return ExitCode::kUsage;
  }
  return show_each_file(options, out, show_file);
}

}  // namespace zdr::host
