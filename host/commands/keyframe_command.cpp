// `zdr keyframe`: writes one key frame of the video, preceded by the configuration that a decoder needs.
#include <filesystem>
#include <memory>
#include <optional>
#include <ostream>

#include "host/commands/commands.h"
#include "host/formats/codec_names.h"
#include "host/graph/module_loader.h"
#include "host/graph/source_clip.h"
#include "host/inspect/diagnosis/open_diagnosis.h"
#include "host/inspect/files/read_failure.h"
#include "host/inspect/iso/parsed_movie.h"
#include "host/json/json_report.h"
#include "host/memory.h"
#include "host/messages.h"
#include "host/terminal.h"
#include "host/writers/output_file.h"
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

std::filesystem::path output_path(const Options& options, const std::string& extension) {
  const std::filesystem::path named(options.output);
  std::error_code code;
  if (!named.empty() && !std::filesystem::is_directory(named, code)) return named;
  const std::string stem = std::filesystem::path(options.files.front()).stem().string();
  return named / (stem + ".keyframe" + std::to_string(options.index) + extension);
}

bool write_picture(OutputFile& output, StreamWriter& writer, Bytes frame) {
  return output.open() && writer.begin(output) && writer.write(output, frame) && writer.finish(output) &&
         output.commit();
}

// Extracts one key frame.
class KeyFrame {
 public:
  KeyFrame(const Options& options, Messages& messages)
      : options_(options), messages_(messages), file_(options.files.front()) {}

  ExitCode extract();
  void write(JsonWriter& json, ExitCode code);
  // Null unless the picture has been written.
  const OutputFile* output() const { return is_written_ ? &*output_ : nullptr; }

 private:
  ExitCode fail(ExitCode exit_code, MessageCode code, const std::string& reason,
                const std::string& status = "") {
    return messages_.report(file_, {exit_code, code, {}, reason, status});
  }
  ExitCode extract_from(SourceClip& clip);
  // Of the track that is played; nothing if the tables do not state it.
  std::optional<uint32_t> key_frame_count() const;

  const Options& options_;
  Messages& messages_;
  const std::string& file_;
  mp4source::ClipInfo info_{};
  std::optional<OutputFile> output_;  // created once there is a picture to write
  bool is_written_ = false;
};

ExitCode KeyFrame::extract() {
  watch_reads(file_);
  if (const auto refused = diagnose_before_open(file_)) return messages_.report(file_, *refused);
  HRESULT hr = S_OK;
  const com::ComPtr<IBaseFilter> filter = create_source_filter(file_, messages_, hr);
  if (!filter)
    return fail(ExitCode::kCannotOpen, MessageCode::kModuleFailed,
                "the filter module cannot be loaded: " + own_module_path(), hresult_text(hr));
  SourceClip clip(*filter.get(), file_);
  with_memory(clip.result());
  return clip.usable() ? extract_from(clip)
                       : messages_.report(file_, diagnose_failed_open(file_, clip.result()));
}

std::optional<uint32_t> KeyFrame::key_frame_count() const {
  const std::unique_ptr<const ParsedMovie> movie = parse_iso_media(file_);
  const TrackRecord* const track =
      movie != nullptr && movie->is_open() ? movie->first_track(P3GPP_TRACK_VIDEO) : nullptr;
  if (track == nullptr) return std::nullopt;
  TrackFacts facts;
  if (track->sync_samples) return track->sync_samples;
  return movie->get_facts(*track->id, facts) == P3GPP_OK ? std::optional(facts.samples) : std::nullopt;
}

ExitCode KeyFrame::extract_from(SourceClip& clip) {
  if (clip.has_video()) with_memory(clip.info(info_));
  if (const auto failure = take_read_failure(ExitCode::kLoss)) return messages_.report(file_, *failure);
  const Picture picture = picture_of(info_.video_codec, clip.configuration());
  if (!picture.writer)
    return fail(ExitCode::kNotSupported, MessageCode::kNoPlayableTrack,
                "has no video track whose pictures can be written");
  // For a number past the last key frame the clip returns the last one.
  if (const auto count = key_frame_count(); count && options_.index > *count) {
    return fail(
        ExitCode::kCannotOpen, MessageCode::kKeyFrameMissing,
        "has no key frame " + std::to_string(options_.index) + ": it has " + counted(*count, "key frame"));
  }
  ClipBytes frame;
  const HRESULT hr = with_memory(clip.key_frame(options_.index, frame));
  if (const auto failure = take_read_failure(ExitCode::kLoss)) return messages_.report(file_, *failure);
  if (FAILED(hr)) {
    return fail(ExitCode::kCannotOpen, MessageCode::kKeyFrameMissing,
                "key frame " + std::to_string(options_.index) + " cannot be read", hresult_text(hr));
  }
  output_.emplace(output_path(options_, picture.extension), options_.force, options_.files);
  if (!write_picture(*output_, *picture.writer, frame.bytes())) {
    return fail(ExitCode::kCannotWrite, MessageCode::kOutputFailed,
                output_->final_path().string() + ": " + output_->failure());
  }
  is_written_ = true;
  if (picture.writer->damaged_units() == 0) return ExitCode::kDone;
  return fail(ExitCode::kLoss, MessageCode::kUnitsDamaged,
              "damaged picture: " + picture.writer->first_damage());
}

void KeyFrame::write(JsonWriter& json, ExitCode code) {
  begin_file_json(json, file_, code);
  json.member("index", options_.index);
  if (is_written_) {
    json.member("codec", codec_of_clip(info_.video_codec));
    json.member("width", info_.width);
    json.member("height", info_.height);
    add_name(json, "output", output_->final_path().native());
    json.member("size", output_->size());
  }
  end_json(json, messages_);
}

}  // namespace

ExitCode run_keyframe(const Options& options, std::ostream& out) {
  Messages messages(options.quiet);
  KeyFrame key_frame(options, messages);
  const ExitCode code = report_memory(options.files.front(), messages, [&] { return key_frame.extract(); });
  if (options.json) {
    JsonWriter json(out);
    key_frame.write(json, code);
  } else if (key_frame.output() != nullptr) {
    out << shown_name(key_frame.output()->final_path().string()) << ": "
        << counted(key_frame.output()->size(), "byte") << "\n";
  }
  return code;
}

}  // namespace zdr::host
