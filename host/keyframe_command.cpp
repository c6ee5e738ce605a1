// `zdr keyframe`: one key frame of the video, with what a decoder needs in front of it.
#include <filesystem>
#include <iostream>
#include <nlohmann/json.hpp>

#include "host/commands.h"
#include "host/messages.h"
#include "host/module_loader.h"
#include "host/open_diagnosis.h"
#include "host/output_file.h"
#include "host/source_clip.h"
#include "host/writers/video_writers.h"

namespace zdr::host {
namespace {

constexpr int kSchema = 1;

struct Picture {
  const char* extension;
  std::unique_ptr<StreamWriter> writer;
};

// H.263 needs nothing in front; its "configuration" is the first picture.
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
  const std::filesystem::path asked(options.output);
  std::error_code code;
  if (!asked.empty() && !std::filesystem::is_directory(asked, code)) return asked;
  const std::string stem = std::filesystem::path(options.files.front()).stem().string();
  return asked / (stem + ".keyframe" + std::to_string(options.index) + extension);
}

bool write_picture(OutputFile& output, StreamWriter& writer, Bytes frame) {
  return output.open() && writer.begin(output) && writer.write(output, frame) && writer.finish(output) &&
         output.commit();
}

void print_result(const Options& options, const mp4source::ClipInfo& info, const OutputFile& output,
                  std::ostream& out) {
  if (!options.json) {
    out << output.final_path().string() << ": " << output.size() << " bytes\n";
    return;
  }
  const nlohmann::ordered_json json{{"schema", kSchema},
                                    {"file", options.files.front()},
                                    {"index", options.index},
                                    {"codec", clip_codec_name(info.video_codec)},
                                    {"width", info.width},
                                    {"height", info.height},
                                    {"output", output.final_path().string()},
                                    {"size", output.size()}};
  out << json.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) << "\n";
}

}  // namespace

ExitCode run_keyframe(const Options& options, std::ostream& out) {
  const std::string& file = options.files.front();
  Messages messages(options.quiet);
  const auto fail = [&](ExitCode code, const std::string& reason, const std::string& status = "") {
    messages.error({file, "", reason, status});
    return code;
  };
  HRESULT hr = S_OK;
  const com::ComPtr<IBaseFilter> filter = create_source_filter(hr);
  if (!filter) return fail(ExitCode::kCannotOpen, "the filter module cannot be loaded", hresult_text(hr));
  SourceClip clip(*filter.get(), file);
  if (!clip.usable()) {
    const OpenDiagnosis diagnosis = diagnose_failed_open(file, clip.result());
    messages.error({file, diagnosis.place, diagnosis.reason, diagnosis.status});
    return diagnosis.exit_code;
  }
  mp4source::ClipInfo info{};
  if (clip.has_video()) clip.info(info);
  const Picture picture = picture_of(info.video_codec, clip.configuration());
  if (!picture.writer) return fail(ExitCode::kNotSupported, "no video of which pictures can be written");
  ClipBytes frame;
  hr = clip.key_frame(options.index, frame);
  if (FAILED(hr)) {
    return fail(ExitCode::kCannotOpen, "key frame " + std::to_string(options.index) + " cannot be read",
                hresult_text(hr));
  }
  OutputFile output(output_path(options, picture.extension), options.force);
  if (!write_picture(output, *picture.writer, frame.span())) {
    return fail(ExitCode::kCannotWrite, output.final_path().string() + ": " + output.error());
  }
  print_result(options, info, output, out);
  if (picture.writer->damaged_units() == 0) return ExitCode::kDone;
  return fail(ExitCode::kLoss, "the picture is damaged: " + picture.writer->first_damage());
}

}  // namespace zdr::host
