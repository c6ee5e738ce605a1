// `zdr info`: what a file is as a clip, its pins, what they offer and how long they are.
#include <iostream>
#include <optional>

#include "host/commands/commands.h"
#include "host/graph/source_clip.h"
#include "host/graph/source_player.h"
#include "host/inspect/aac_file_view.h"
#include "host/inspect/file_tags.h"
#include "host/inspect/left_out.h"
#include "host/inspect/media_type_text.h"
#include "host/inspect/parsed_file.h"
#include "host/json_report.h"
#include "host/time_text.h"

namespace zdr::host {
namespace {

constexpr const char* kNoType = "offers no media type: its codec or configuration is not supported";

using ClipInformation = std::optional<mp4source::ClipInfo>;  // nothing: the clip does not tell

std::string why_no_clip(const std::string& file, HRESULT result) {
  if (result == E_NOINTERFACE) return "the registered filter has none to tell";
  if (result == E_OUTOFMEMORY) return "out of memory";
  return is_iso_media(file) ? "its first video or audio track cannot be described"
                            : "its stream cannot be measured";
}

// A note says why when there is none.
ClipInformation clip_information(const SourcePlayer& player, const std::string& file, Messages& messages) {
  SourceClip clip(player.source(), file);
  mp4source::ClipInfo info{};
  const HRESULT result = clip.usable() ? clip.info(info) : clip.result();
  if (clip.usable() && SUCCEEDED(result)) return info;
  messages.note({file, "", "no clip information: " + why_no_clip(file, result), hresult_text(result)});
  return std::nullopt;
}

void print_text(const std::string& file, const SourcePlayer& player, const ClipInformation& clip,
                std::ostream& out) {
  out << file << "\n  duration " << format_time(player.duration()) << "\n";
  if (clip) out << "  clip: " << clip_line(*clip) << "\n";
  for (const PinEntry& pin : player.pins()) {
    out << "  " << pin.name << ": " << (pin.types.empty() ? kNoType : media_type_line(pin.types[0])) << "\n";
  }
  if (is_aac_file(file)) out << "  stream: " << stream_line(AacFileView(file)) << "\n";
  for (const std::string& line : tag_lines(tags_json(file))) out << "  " << line << "\n";
}

void add_file_json(nlohmann::ordered_json& json, const SourcePlayer& player, const ClipInformation& clip) {
  json["duration_100ns"] = player.duration();
  json["clip"] = clip ? clip_json(*clip) : nlohmann::ordered_json();
  json["pins"] = nlohmann::ordered_json::array();
  for (const PinEntry& pin : player.pins()) {
    nlohmann::ordered_json entry{{"name", pin.name}, {"media_types", nlohmann::ordered_json::array()}};
    for (const CMediaType& type : pin.types) entry["media_types"].push_back(media_type_json(type));
    json["pins"].push_back(entry);
  }
}

// One file. `report` is null when words are wanted.
ExitCode show_file(const std::string& file, const Options& options, Messages& messages, JsonReport* report,
                   std::ostream& out) {
  SourcePlayer player(file, messages);
  const ExitCode loaded = player.load();
  const bool open = loaded == ExitCode::kDone;
  if (open) tell_left_out(file, messages);
  const ClipInformation clip = open ? clip_information(player, file, messages) : std::nullopt;
  if (open && report == nullptr) print_text(file, player, clip, out);
  // A file without a pin may have a cover all the same.
  const bool readable = loaded != ExitCode::kCannotOpen;
  const ExitCode code = readable ? worse_of(loaded, save_cover(file, options, messages)) : loaded;
  if (report == nullptr) return code;
  nlohmann::ordered_json json = begin_file_json(file, code);
  if (open) add_file_json(json, player, clip);
  if (open && is_aac_file(file)) json["stream"] = stream_json(AacFileView(file));
  if (open) json["tags"] = tags_json(file);
  end_json(json, messages);
  report->add(std::move(json));
  return code;
}

}  // namespace

ExitCode run_info(const Options& options, std::ostream& out) {
  if (!options.cover.empty() && options.files.size() > 1) {
    Messages(false).error({"", "", "--cover takes the image of one file; name one", ""});
    return ExitCode::kUsage;
  }
  ExitCode worst = ExitCode::kDone;
  Messages messages(options.quiet || options.json);
  JsonReport report(options.files.size());
  for (const std::string& file : options.files) {
    worst = worse_of(worst, show_file(file, options, messages, options.json ? &report : nullptr, out));
  }
  if (options.json) report.print(out);
  return worst;
}

}  // namespace zdr::host
