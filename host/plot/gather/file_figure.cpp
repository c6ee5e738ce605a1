// Gathers the figures of one file. A movie is drawn even if it does not open, as far as its boxes can be
// read.
#include "host/plot/gather/file_figure.h"

#include <algorithm>
#include <filesystem>
#include <memory>
#include <new>
#include <optional>
#include <utility>
#include <vector>

#include "filters/source/mp4/interfaces/source_kind.h"
#include "filters/source/mp4/interfaces/zdr_guids.h"
#include "host/graph/seek_landing.h"
#include "host/graph/source_player.h"
#include "host/inspect/diagnosis/left_out.h"
#include "host/inspect/diagnosis/open_diagnosis.h"
#include "host/inspect/iso/parsed_movie.h"
#include "host/inspect/iso/table_map.h"
#include "host/inspect/media_type_text.h"
#include "host/plot/gather/movie_figures.h"
#include "host/plot/gather/stream_figures.h"
#include "host/terminal.h"
#include "host/text/time_text.h"

namespace zdr::host::plot {
namespace {

uint64_t size_of(const std::string& file) {
  std::error_code code;
  const uintmax_t size = std::filesystem::file_size(std::filesystem::path(file), code);
  return code ? 0 : size;
}

class Gathering {
 public:
  Gathering(const FigureRequest& request, const Watch& watch, Messages& messages, FileFigure& figure)
      : file_(request.file),
        request_(request),
        watch_(watch),
        messages_(messages),
        figure_(figure),
        player_(request.file, messages, request.stall_seconds) {}

  ExitCode run();

 private:
  ExitCode refuse_late_seek();
  ExitCode add_media(bool is_loaded);
  ExitCode add_movie(bool is_loaded);
  void add_stream(bool is_aac);
  ExitCode add_landing();
  void add_fault(const Diagnosis& fault);
  std::optional<uint64_t> offset_of(const Diagnosis& fault) const;
  ExitCode report_faults();
  void summarise(bool is_loaded);
  std::vector<PinLabel> pin_labels() const;

  const std::string& file_;
  const FigureRequest& request_;
  const Watch& watch_;
  Messages& messages_;
  FileFigure& figure_;
  SourcePlayer player_;
  TableMap tables_;
};

ExitCode Gathering::run() {
  figure_.name = std::filesystem::path(file_).filename().string();
  figure_.grid = make_grid(size_of(file_), 0, 0);
  const ExitCode loaded = player_.load();
  const bool is_loaded = loaded == ExitCode::kDone;
  const bool is_movie = mp4source::source_kind_of(file_) == mp4source::SOURCE_KIND_MP4;
  if (!is_loaded && (!is_movie || interrupted() || player_.has_given_up() || figure_.grid.file_size == 0))
    return loaded;
  if (is_loaded) {
    if (const ExitCode refused = refuse_late_seek(); refused != ExitCode::kDone) return refused;
  }
  ExitCode code = worse_of(loaded, add_media(is_loaded));
  summarise(is_loaded);
  if (!watch_(0, 0)) return ExitCode::kInterrupted;
  code = worse_of(code, report_faults());
  if (is_loaded && request_.seek_100ns) code = worse_of(code, add_landing());
  return interrupted() ? ExitCode::kInterrupted : code;
}

ExitCode Gathering::refuse_late_seek() {
  return request_.seek_100ns ? player_.refuse_past_end(*request_.seek_100ns, "--seek") : ExitCode::kDone;
}

// What `zdr info` says of the streams that are played.
void Gathering::summarise(bool is_loaded) {
  std::string text = is_loaded ? format_time(player_.duration()) : "cannot be played";
  for (const TrackFigure& track : figure_.tracks) {
    const auto plays = [&](const PinEntry& pin) { return pin.name == track.name; };
    if (std::ranges::any_of(player_.pins(), plays)) text += " · " + track.codec;
  }
  figure_.summary = text + " · " + counted(figure_.grid.file_size, "byte");
}

std::vector<PinLabel> Gathering::pin_labels() const {
  std::vector<PinLabel> labels;
  for (const PinEntry& pin : player_.pins()) {
    if (pin.types.empty()) continue;
    labels.push_back({track_type(pin.is_audio()), pin.name});
  }
  return labels;
}

ExitCode Gathering::add_media(bool is_loaded) {
  const mp4source::SourceKind kind = mp4source::source_kind_of(file_);
  if (kind == mp4source::SOURCE_KIND_MP4) return add_movie(is_loaded);
  add_stream(kind == mp4source::SOURCE_KIND_AAC);
  return ExitCode::kDone;
}

ExitCode Gathering::add_movie(bool is_loaded) {
  const std::unique_ptr<const ParsedMovie> movie = parse_iso_media(file_, &tables_.visitor());
  if (!tables_.is_complete()) throw std::bad_alloc();
  add_boxes(file_, figure_);
  std::optional<Diagnosis> damage;
  if (movie->is_open()) {
    damage = find_damage(*movie);
    add_tracks(file_, *movie, pin_labels(), watch_, figure_);
  } else {
    damage = diagnose_parse(file_, *movie);
  }
  if (damage) add_fault(*damage);
  if (!is_loaded) return ExitCode::kDone;
  ExitCode worst = ExitCode::kDone;
  for (const Diagnosis& entry :
       find_left_out(file_, movie.get(), player_.playable_kinds(), LeftOutUse::kPicture)) {
    worst = worse_of(worst, messages_.report(file_, entry));
    if (entry.exit_code == ExitCode::kLoss) add_fault(entry);
  }
  return worst;
}

// Of a fault that is reported elsewhere.
void Gathering::add_fault(const Diagnosis& fault) {
  const std::string place = fault.place.text();
  const std::string text = (place.empty() ? "" : place + ": ") + fault.reason;
  if (std::ranges::find(figure_.faults, text, &Fault::text) != figure_.faults.end()) return;
  figure_.faults.push_back({text, offset_of(fault), false});
}

// Of a track, the offset of the table that the reason names, else of its first one.
std::optional<uint64_t> Gathering::offset_of(const Diagnosis& fault) const {
  if (fault.place.kind == Place::Kind::kBox) return fault.place.number;
  if (fault.place.kind != Place::Kind::kTrack) return std::nullopt;
  std::optional<uint64_t> offset;
  for (const SampleTable& table : tables_.tables()) {
    if (table.track != fault.place.number) continue;
    if (fault.reason.find("(" + table.type + ")") != std::string::npos) return table.begin;
    if (!offset) offset = table.begin;
  }
  return offset;
}

void Gathering::add_stream(bool is_aac) {
  if (player_.pins().empty() || player_.pins().front().types.empty()) return;
  const PinEntry& pin = player_.pins().front();
  const CMediaType& type = pin.types.front();
  TrackFigure label{.name = pin.name, .codec = media_type_line(type), .unit = "frame"};
  if (is_aac) return add_aac(file_, label, watch_, figure_);
  const double duration = static_cast<double>(player_.duration()) / kUnitsPerSecond;
  add_speech(file_, {label, type.subtype == mp4source::kSubtypeAmrWideBand, duration}, figure_);
}

// Reports the faults that only the gathering has found.
ExitCode Gathering::report_faults() {
  ExitCode worst = ExitCode::kDone;
  const auto report = [&](MessageCode code, const Place& place, const std::string& text) {
    worst = worse_of(worst, messages_.report(file_, {ExitCode::kLoss, code, place, text, ""}));
  };
  for (const Fault& fault : figure_.faults) {
    if (fault.is_loss) report(fault.code, {}, fault.text);
  }
  for (const TrackFigure& track : figure_.tracks) {
    const Place place = track.number == 0 ? Place::pin(track.name) : Place::track(track.name, track.number);
    for (const TrackFault& fault : faults_of(track)) report(fault.code, place, fault.text);
  }
  return worst;
}

ExitCode Gathering::add_landing() {
  SeekFigure& seek = figure_.seek.emplace(SeekFigure{*request_.seek_100ns, {}});
  return find_landings(player_, seek.target, {{}, [] { return !interrupted(); }, {}}, seek.pins);
}

}  // namespace

ExitCode gather_figure(const FigureRequest& request, const Watch& watch, Messages& messages,
                       FileFigure& figure) {
  return Gathering(request, watch, messages, figure).run();
}

}  // namespace zdr::host::plot
