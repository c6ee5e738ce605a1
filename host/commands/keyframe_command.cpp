// `zdr keyframe`: writes key frames of the video, each to a file of its own after the configuration that a
// decoder needs.
#include <algorithm>
#include <filesystem>
#include <memory>
#include <optional>
#include <ostream>
#include <utility>
#include <vector>

#include "host/commands/commands.h"
#include "host/formats/codec_names.h"
#include "host/graph/module_loader.h"
#include "host/graph/source_clip.h"
#include "host/inspect/diagnosis/content_hint.h"
#include "host/inspect/diagnosis/open_diagnosis.h"
#include "host/inspect/diagnosis/track_diagnosis.h"
#include "host/inspect/files/read_failure.h"
#include "host/inspect/iso/key_frames.h"
#include "host/inspect/iso/parsed_movie.h"
#include "host/json/json_report.h"
#include "host/memory.h"
#include "host/messages.h"
#include "host/terminal.h"
#include "host/text/time_text.h"
#include "host/writers/output_file.h"
#include "host/writers/standard_output.h"
#include "host/writers/video_writers.h"

namespace zdr::host {
namespace {

struct Picture {
  const char* extension;
  std::unique_ptr<StreamWriter> writer;
};

// H.263 needs no configuration; the clip reports the first picture as its configuration.
Picture picture_of(DWORD video_codec, Bytes configuration) {
  switch (video_codec) {
    case mp4source::kClipAvcVideo:
      return {".h264", std::make_unique<AnnexBWriter>(configuration)};
    case mp4source::kClipMpeg4Video:
      return {".m4v", std::make_unique<Mpeg4VisualWriter>(configuration)};
    case mp4source::kClipH263Video:
      return {".h263", std::make_unique<StreamWriter>()};
    default:
      return {"", nullptr};
  }
}

std::filesystem::path picture_path(const Options& options, uint32_t number, const std::string& extension) {
  const std::string stem = std::filesystem::path(options.files.front()).stem().string();
  return output_path(options.output, stem + ".keyframe" + std::to_string(number) + extension);
}

// Of the longest track; nothing if a header does not state it.
std::optional<int64_t> end_of(const MovieRecord& movie) {
  int64_t end = 0;
  for (const TrackRecord& track : movie.tracks) {
    if (track.duration == 0 || track.duration >= UINT32_MAX || track.time_scale == 0) return std::nullopt;
    end = std::max(end, static_cast<int64_t>(track.duration * kUnitsPerSecond / track.time_scale));
  }
  return end;
}

bool write_picture(Output& output, StreamWriter& writer, Bytes frame) {
  return output.open() && writer.begin(output) && writer.write(output, frame) && writer.finish(output) &&
         output.commit();
}

struct WrittenPicture {
  uint32_t number;
  std::optional<int64_t> time_100ns;  // unless the number was given
  std::string output;                 // its name, complete so that writing JSON takes no memory
  uint64_t size;
};

// Extracts the key frames that the options name.
class KeyFrames {
 public:
  KeyFrames(const Options& options, Messages& messages, std::ostream& out)
      : options_(options), messages_(messages), file_(options.files.front()), out_(out) {}

  ExitCode extract();
  void write(JsonWriter& json, ExitCode code) const;

 private:
  ExitCode fail(ExitCode exit_code, MessageCode code, const std::string& reason,
                const std::string& status = "") {
    return messages_.report(file_, {exit_code, code, {}, reason, status});
  }
  ExitCode extract_numbered(IBaseFilter& filter);
  ExitCode extract_at(IBaseFilter& filter, int64_t time_100ns);
  ExitCode extract_all(IBaseFilter& filter);
  ExitCode extract(IBaseFilter& filter, uint32_t number, const KeyFrameEntry* entry);
  Diagnosis diagnose_clip(int32_t result) const;
  ExitCode report_unread(uint32_t number, const KeyFrameEntry* entry, HRESULT result);
  ExitCode write_frame(Picture& picture, Bytes frame, uint32_t number, std::optional<int64_t> time_100ns);
  ExitCode write_to_stdout(Picture& picture, Bytes frame);
  ExitCode check_damage(const Picture& picture);
  void write_picture(JsonWriter& json, const WrittenPicture& picture) const;
  // The clip takes the first sample for a key frame, even if it is not one.
  uint32_t index_of(uint32_t number) const { return number + (begins_with_key_frame_ ? 0 : 1); }
  // Of the track that is played; nothing if the tables do not state it.
  std::optional<uint32_t> key_frame_count() const;

  const Options& options_;
  Messages& messages_;
  const std::string& file_;
  std::ostream& out_;
  platform::FileSet inputs_;
  std::unique_ptr<const ParsedMovie> movie_;
  bool is_movie_ = false;             // which opened
  std::optional<KeyFrameWalk> walk_;  // none unless the video track can be read
  bool begins_with_key_frame_ = true;
  mp4source::ClipInfo info_{};
  std::vector<WrittenPicture> written_;
};

ExitCode KeyFrames::extract() {
  watch_reads(file_);
  if (const auto refused = diagnose_before_open(file_)) return messages_.report(file_, *refused);
  report_content_hint(file_, messages_);
  HRESULT hr = S_OK;
  const com::ComPtr<IBaseFilter> filter = create_source_filter(file_, messages_, hr);
  if (!filter) {
    messages_.error(module_failure(file_, hr));
    return ExitCode::kCannotOpen;
  }
  movie_ = parse_iso_media(file_);
  is_movie_ = movie_ != nullptr && movie_->is_open();
  if (is_movie_) walk_.emplace(*movie_, file_);
  if (walk_ && !walk_->is_open()) walk_.reset();
  begins_with_key_frame_ = !walk_ || walk_->begins_with_key_frame();
  if (is_movie_ && !walk_ && options_.index == 0)
    return messages_.report(file_, diagnose_missing_video(*movie_));
  // Without a walk the clip reports why.
  if (options_.index != 0 || !walk_) return extract_numbered(*filter.get());
  const std::optional<int64_t> time = parse_time(options_.at);
  return time ? extract_at(*filter.get(), *time) : extract_all(*filter.get());
}

std::optional<uint32_t> KeyFrames::key_frame_count() const {
  if (!walk_) return std::nullopt;
  const TrackRecord* const track = movie_->first_track(P3GPP_TRACK_VIDEO);
  return track->sync_samples ? track->sync_samples : std::optional(walk_->samples());
}

ExitCode KeyFrames::extract_numbered(IBaseFilter& filter) {
  const uint32_t number = std::max(options_.index, 1u);
  // For a number past the last key frame the clip returns the last one.
  if (const auto count = key_frame_count(); count && number > *count) {
    return fail(ExitCode::kNotSupported, MessageCode::kKeyFrameMissing,
                "has no key frame " + std::to_string(number) + ": it has " + counted(*count, "key frame"));
  }
  return extract(filter, number, nullptr);
}

ExitCode KeyFrames::extract_at(IBaseFilter& filter, int64_t time_100ns) {
  if (const auto end = end_of(movie_->record()); end && time_100ns >= *end)
    return messages_.report(file_, diagnose_past_end("--at", *end));
  std::optional<KeyFrameEntry> found;
  std::optional<KeyFrameEntry> entry = walk_->next();
  for (; entry && entry->time_100ns <= time_100ns; entry = walk_->next()) found = entry;
  if (found) return extract(filter, found->number, &*found);
  const std::string first = entry ? "the first is at " + format_time(entry->time_100ns) : "it has none";
  return fail(ExitCode::kNotSupported, MessageCode::kKeyFrameMissing,
              "has no key frame at or before " + format_time(time_100ns) + ": " + first);
}

ExitCode KeyFrames::extract_all(IBaseFilter& filter) {
  if (const std::string error = create_folder(options_.output); !error.empty()) {
    messages_.error({MessageCode::kOutputRefused, "", {}, options_.output + ": " + error, ""});
    return ExitCode::kCannotWrite;
  }
  catch_interrupts();
  ProgressLine progress(!options_.quiet);
  ExitCode worst = ExitCode::kDone;
  while (const std::optional<KeyFrameEntry> entry = walk_->next()) {
    const ExitCode code = extract(filter, entry->number, &*entry);
    worst = worse_of(worst, code);
    if (code != ExitCode::kDone && code != ExitCode::kLoss) return worst;
    progress.update(file_, entry->sample, walk_->samples());
    if (interrupted()) return messages_.report_interrupted(file_);
  }
  if (const std::string failure = walk_->failure(); !failure.empty())
    return worse_of(
        worst, fail(ExitCode::kLoss, MessageCode::kFileDamaged, failure, std::to_string(walk_->status())));
  if (worst == ExitCode::kDone && written_.empty())
    return fail(ExitCode::kNotSupported, MessageCode::kKeyFrameMissing, "has no key frame");
  return worst;
}

// Without an entry its time is not known. Opens the clip for each picture, because what a clip returns for a
// number may depend on the pictures before.
ExitCode KeyFrames::extract(IBaseFilter& filter, uint32_t number, const KeyFrameEntry* entry) {
  SourceClip clip(filter, file_);
  with_memory(clip.result());
  if (!clip.usable()) return messages_.report(file_, diagnose_clip(clip.result()));
  if (clip.has_video()) with_memory(clip.info(info_));
  if (const auto failure = take_read_failure(ExitCode::kLoss)) return messages_.report(file_, *failure);
  Picture picture = picture_of(info_.video_codec, clip.configuration());
  if (!picture.writer) {
    return is_movie_ ? messages_.report(file_, diagnose_missing_video(*movie_))
                     : fail(ExitCode::kNotSupported, MessageCode::kNoPlayableTrack, "has no video track");
  }
  inputs_.add(file_);
  ClipBytes frame;
  const HRESULT hr = with_memory(clip.key_frame(index_of(number), frame));
  if (const auto failure = take_read_failure(ExitCode::kLoss)) return messages_.report(file_, *failure);
  if (FAILED(hr)) return report_unread(number, entry, hr);
  const auto time_100ns = entry != nullptr ? std::optional(entry->time_100ns) : std::nullopt;
  const ExitCode written = options_.output == "-" ? write_to_stdout(picture, frame.bytes())
                                                  : write_frame(picture, frame.bytes(), number, time_100ns);
  return written == ExitCode::kDone ? check_damage(picture) : written;
}

// A clip needs no audio, so what keeps it from opening is its video.
Diagnosis KeyFrames::diagnose_clip(int32_t result) const {
  const bool has_video = is_movie_ && std::ranges::any_of(movie_->record().tracks, is_video);
  if (!has_video) return diagnose_failed_open(file_, result);
  if (const auto failure = take_read_failure(ExitCode::kCannotOpen)) return *failure;
  Diagnosis found = diagnose_missing_video(*movie_);
  if (movie_->has_fragments()) found.reason += "; movie fragments are not read";
  return found;
}

ExitCode KeyFrames::report_unread(uint32_t number, const KeyFrameEntry* entry, HRESULT result) {
  const std::string name = "key frame " + std::to_string(number);
  bool is_in_file = entry == nullptr || entry->is_in_file;
  while (entry == nullptr && walk_) {
    const std::optional<KeyFrameEntry> next = walk_->next();
    if (next && next->number < number) continue;
    is_in_file = !next || next->is_in_file;
    break;
  }
  if (!is_in_file) return fail(ExitCode::kLoss, MessageCode::kCutOff, name + " is past the end of the file");
  const std::string failure = entry == nullptr && walk_ ? walk_->failure() : "";
  if (!failure.empty())
    return fail(ExitCode::kLoss, MessageCode::kFileDamaged, failure, std::to_string(walk_->status()));
  return fail(ExitCode::kLoss, MessageCode::kKeyFrameMissing, name + " cannot be read", hresult_text(result));
}

ExitCode KeyFrames::write_to_stdout(Picture& picture, Bytes frame) {
  StandardOutput output(out_);
  if (host::write_picture(output, *picture.writer, frame)) return ExitCode::kDone;
  return ExitCode::kCannotWrite;  // reported at the end of the program, unless the reader closed the pipe
}

ExitCode KeyFrames::write_frame(Picture& picture, Bytes frame, uint32_t number,
                                std::optional<int64_t> time_100ns) {
  OutputFile output(picture_path(options_, number, picture.extension), options_.force, &inputs_);
  if (!host::write_picture(output, *picture.writer, frame)) {
    return fail(ExitCode::kCannotWrite, MessageCode::kOutputFailed,
                output.final_path().string() + ": " + output.failure());
  }
  written_.push_back({number, time_100ns, output.final_path().native(), output.size()});
  if (!options_.json) {
    out_ << shown_name(output.final_path().string()) << ": " << counted(output.size(), "byte");
    if (time_100ns) out_ << ", key frame " << number << " at " << format_time(*time_100ns);
    out_ << "\n";
  }
  return ExitCode::kDone;
}

ExitCode KeyFrames::check_damage(const Picture& picture) {
  if (picture.writer->damaged_units() == 0) return ExitCode::kDone;
  return fail(ExitCode::kLoss, MessageCode::kUnitsDamaged,
              "damaged picture: " + picture.writer->first_damage());
}

void KeyFrames::write_picture(JsonWriter& json, const WrittenPicture& picture) const {
  json.member("index", picture.number);
  if (picture.time_100ns) json.member("time_100ns", *picture.time_100ns);
  json.member("codec", codec_of_clip(info_.video_codec));
  json.member("width", info_.width);
  json.member("height", info_.height);
  add_name(json, "output", picture.output);
  json.member("size", picture.size);
}

void KeyFrames::write(JsonWriter& json, ExitCode code) const {
  begin_file_json(json, file_, code);
  if (options_.all_key_frames) {
    json.begin_array("key_frames");
    for (const WrittenPicture& picture : written_) {
      json.begin_object();
      write_picture(json, picture);
      json.end_object();
    }
    json.end_array();
  } else if (!written_.empty()) {
    write_picture(json, written_.front());
  } else if (options_.index != 0) {
    json.member("index", options_.index);
  }
  end_json(json, messages_);
}

}  // namespace

ExitCode run_keyframe(const Options& options, std::ostream& out) {
  Messages messages(options.quiet);
  if (options.output == "-" && refuse_terminal(messages)) return ExitCode::kCannotWrite;
  KeyFrames key_frames(options, messages, out);
  const ExitCode code = report_memory(options.files.front(), messages, [&] { return key_frames.extract(); });
  if (options.json) {
    JsonWriter json(out);
    key_frames.write(json, code);
  }
  return code;
}

}  // namespace zdr::host
