// Formats the description of a movie. Values that are not known are left out.
#include "host/commands/track_output.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <numeric>
#include <ostream>
#include <string>
#include <vector>

#include "host/inspect/iso/colour_names.h"
#include "host/messages.h"
#include "host/text/decoded_text.h"
#include "host/text/time_text.h"

namespace zdr::host {
namespace {

using Number = std::optional<uint64_t>;
constexpr uint64_t kUnspecifiedColour = 2;

std::string type_of(std::string_view four_characters) {
  return printable(type_text(four_characters));
}

// In 100 ns units; 0 if the time scale is 0.
int64_t time_of(uint64_t units, uint64_t time_scale) {
  if (time_scale == 0) return 0;
  const uint64_t whole = units / time_scale;
  if (whole > static_cast<uint64_t>(INT64_MAX / kUnitsPerSecond) - 1) return INT64_MAX;
  const double rest = static_cast<double>(units % time_scale) / static_cast<double>(time_scale);
  return static_cast<int64_t>(whole) * kUnitsPerSecond + static_cast<int64_t>(rest * kUnitsPerSecond + 0.5);
}

std::string text_of(Number number) {
  return number ? std::to_string(*number) : "-";
}

// "1.023 s"; "1024/44100 s" if it is not a whole number of milliseconds.
std::string seconds(uint64_t units, uint64_t time_scale) {
  constexpr uint64_t kMilliseconds = 1000;
  if (time_scale != 0 && units <= UINT64_MAX / kMilliseconds && units * kMilliseconds % time_scale == 0) {
    const uint64_t time = units * kMilliseconds / time_scale;
    const std::string fraction = std::to_string(kMilliseconds + time % kMilliseconds).substr(1);
    return std::to_string(time / kMilliseconds) + "." + fraction + " s";
  }
  return std::to_string(units) + "/" + std::to_string(time_scale) + " s";
}

// The bytes that are not media data; nothing if they cannot be counted, or the tables claim more media data
// than the file has.
Number overhead_of(const MovieDescription& movie) {
  uint64_t media_bytes = 0;
  for (const TrackDescription& track : movie.tracks) {
    if (!track.media_bytes || *track.media_bytes > movie.size - media_bytes) return std::nullopt;
    media_bytes += *track.media_bytes;
  }
  return movie.is_complete && movie.movie_size != 0 && !movie.has_fragments ? Number(movie.size - media_bytes)
                                                                            : std::nullopt;
}

Number bit_rate_of(const MovieDescription& movie) {
  const int64_t duration = time_of(movie.duration, movie.time_scale);
  if (duration <= 0) return std::nullopt;
  return static_cast<uint64_t>(static_cast<double>(movie.size) * 8 * kUnitsPerSecond /
                               static_cast<double>(duration));
}

// --- Text ---

constexpr size_t kLineWidth = 79;

// Prints the pieces after the heading, separated by commas, in as many lines as they need.
void print_pieces(const std::string& heading, const std::vector<std::string>& pieces, std::ostream& out) {
  if (pieces.empty()) return;
  const size_t text = heading.find_first_not_of(' ');
  const std::string indent(text == heading.npos ? heading.size() : text + 2, ' ');
  std::string line = heading;
  bool is_first = true;
  for (const std::string& piece : pieces) {
    const bool is_last = &piece == &pieces.back();
    const std::string word = piece + (is_last ? "" : ",");
    if (!is_first && line.size() + 1 + word.size() > kLineWidth) {
      out << line << "\n";
      line = indent;
      is_first = true;
    }
    line += (is_first ? "" : " ") + word;
    is_first = false;
  }
  out << line << "\n";
}

std::string overhead_text(uint64_t overhead, uint64_t size) {
  std::array<char, 64> percent{};
  std::snprintf(percent.data(), percent.size(), " (%.1f %%)",
                100 * static_cast<double>(overhead) / static_cast<double>(size));
  return "overhead " + counted(overhead, "byte") + percent.data();
}

void print_file(const MovieDescription& movie, std::ostream& out) {
  std::vector<std::string> pieces;
  DateDigits digits;
  const std::string_view created = format_date(movie.creation_time, digits);
  if (!movie.brand.empty()) pieces.push_back("brand " + printable(movie.brand));
  if (!movie.tool.empty()) pieces.push_back("written by " + printable(movie.tool));
  pieces.push_back(counted(movie.size, "byte"));
  if (const Number rate = bit_rate_of(movie)) pieces.push_back(std::to_string(*rate) + " bit/s");
  if (const Number overhead = overhead_of(movie)) pieces.push_back(overhead_text(*overhead, movie.size));
  print_pieces("  file: ", pieces, out);
  if (movie.movie_size == 0) return;
  pieces = {counted(movie.movie_size, "byte") + " at offset " + std::to_string(movie.movie_offset),
            std::string(movie.is_movie_first ? "before" : "after") + " the media data"};
  if (!created.empty()) pieces.push_back("created " + std::string(created));
  print_pieces("  moov: ", pieces, out);
}

void print_row(const TrackDescription& track, std::ostream& out) {
  const std::string duration =
      track.has_duration() ? format_time(time_of(*track.duration, *track.time_scale)) : "-";
  std::array<char, 256> row{};
  std::snprintf(
      row.data(), row.size(), "%4u %4s %-8s %-5s %-7s %-4s %11s %9s %9s %9s\n", track.number,
      text_of(track.id).c_str(), kind_of(track.handler).c_str(),
      track.entry_type.empty() ? "-" : type_of(track.entry_type).c_str(),
      track.pin.empty() ? "-" : track.pin.c_str(), track.language.empty() ? "-" : track.language.c_str(),
      duration.c_str(), text_of(track.samples).c_str(),
      track.samples ? std::to_string(track.key_frames()).c_str() : "-", text_of(track.bit_rate()).c_str());
  out << row.data();
}

std::string codec_of(const TrackDescription& track) {
  const std::string level = track.level.empty() ? "" : "level " + track.level;
  std::string profile = track.profile;
  if (track.codec == "H.263" && !profile.empty()) profile = "profile " + profile;
  const std::string details = profile + (profile.empty() || level.empty() ? "" : ", ") + level;
  const std::string name = track.codec.empty() ? "codec not known" : track.codec;
  return name + (details.empty() ? "" : " (" + details + ")");
}

// "bt709" if all three are the same, else "bt470bg/smpte170m/-".
std::string colours_of(const PictureFormat& format) {
  const auto name = [](const ColourNames& names, Number code) {
    return code.value_or(kUnspecifiedColour) == kUnspecifiedColour ? "-" : colour_name(names, *code);
  };
  const std::string primaries = name(kPrimaries, format.primaries);
  const std::string transfer = name(kTransfers, format.transfer);
  const std::string matrix = name(kMatrices, format.matrix);
  return primaries == transfer && transfer == matrix ? primaries : primaries + "/" + transfer + "/" + matrix;
}

void add_format_pieces(const PictureFormat& format, std::vector<std::string>& pieces) {
  if (!format.chroma.empty()) pieces.push_back(format.chroma);
  if (format.bit_depth) pieces.push_back(counted(*format.bit_depth, "bit"));
  if (format.is_full_range) pieces.emplace_back(*format.is_full_range ? "full range" : "limited range");
  if (const std::string colours = colours_of(format); colours != "-") pieces.push_back("colours " + colours);
  if (format.has_frames_only) pieces.emplace_back(*format.has_frames_only ? "progressive" : "fields allowed");
  if (format.reference_frames) pieces.push_back(counted(*format.reference_frames, "reference frame"));
}

std::vector<std::string> media_pieces(const TrackDescription& track, bool is_full) {
  std::vector<std::string> pieces{codec_of(track)};
  if (track.width && track.height)
    pieces.push_back(std::to_string(*track.width) + "x" + std::to_string(*track.height));
  if (track.width && track.rotation_degrees.value_or(0) != 0)
    pieces.push_back("rotated by " + std::to_string(*track.rotation_degrees) + " degrees");
  if (const uint64_t part = std::gcd(track.h_spacing.value_or(0), track.v_spacing.value_or(0)); part != 0)
    pieces.push_back("pixel aspect " + std::to_string(track.h_spacing.value_or(0) / part) + ":" +
                     std::to_string(track.v_spacing.value_or(0) / part));
  add_format_pieces(track.format, pieces);
  if (track.channels)
    pieces.push_back(
        counted(*track.channels, "channel") +
        (*track.channels > 2 && !track.channel_layout.empty() ? " (" + track.channel_layout + ")" : ""));
  if (track.sample_rate)
    pieces.push_back(std::to_string(*track.sample_rate) + " Hz" +
                     (track.core_rate ? " (core " + std::to_string(*track.core_rate) + " Hz)" : ""));
  if (const int64_t start = track.start_100ns.value_or(0); start != 0)
    pieces.push_back("begins at " + std::string(start < 0 ? "-" : "") + format_time(std::abs(start)));
  if (is_full && track.peak_bit_rate)
    pieces.push_back("peak second " + std::to_string(*track.peak_bit_rate) + " bit/s");
  return pieces;
}

std::vector<std::string> edit_pieces(const TrackDescription& track, uint64_t movie_time_scale) {
  const EditRecord& edits = track.edits;
  std::vector<std::string> pieces;
  if (edits.delay != 0) pieces.push_back("starts " + seconds(edits.delay, movie_time_scale) + " late");
  if (edits.count > 1) pieces.push_back("plays " + counted(edits.count, "part") + " of the media");
  const uint64_t time_scale = track.time_scale.value_or(0);
  if (track.skipped_start.value_or(0) != 0)
    pieces.push_back("skips the first " + seconds(*track.skipped_start, time_scale));
  if (track.skipped_end.value_or(0) != 0)
    pieces.push_back("skips the last " + seconds(*track.skipped_end, time_scale));
  return pieces;
}

// --- JSON ---

void add_number(JsonWriter& json, std::string_view name, Number number) {
  if (number) json.member(name, *number);
}

void add_text(JsonWriter& json, std::string_view name, const std::string& text) {
  if (!text.empty()) json.member(name, text);
}

void add_container(JsonWriter& json, const MovieDescription& movie) {
  json.begin_object("container");
  add_text(json, "major_brand", movie.brand);
  add_text(json, "writing_application", movie.tool);
  json.member("size", movie.size);
  add_number(json, "bit_rate", bit_rate_of(movie));
  DateDigits digits;
  const std::string_view created = format_date(movie.creation_time, digits);
  if (!created.empty()) json.member("creation_time_utc", created);
  if (movie.movie_size != 0) {
    json.member("moov_offset", movie.movie_offset);
    json.member("moov_size", movie.movie_size);
    json.member("moov_first", movie.is_movie_first);
  }
  add_number(json, "overhead_bytes", overhead_of(movie));
  json.end_object();
}

void add_edits(JsonWriter& json, const TrackDescription& track, uint64_t movie_time_scale) {
  const EditRecord& edits = track.edits;
  if (edits.count == 0 && edits.delay == 0) return;
  json.begin_object("edits");
  json.member("parts", edits.count);
  json.member("delay", edits.delay);
  json.member("movie_time_scale", movie_time_scale);
  if (edits.count != 0) json.member("media_time", edits.first_media_time);
  add_number(json, "skipped_start", track.skipped_start);
  add_number(json, "skipped_end", track.skipped_end);
  json.end_object();
}

void add_colour(JsonWriter& json, std::string_view name, const ColourNames& names, Number code) {
  if (code.value_or(kUnspecifiedColour) != kUnspecifiedColour) json.member(name, colour_name(names, *code));
}

void add_format(JsonWriter& json, const PictureFormat& format) {
  add_text(json, "chroma", format.chroma);
  add_number(json, "bit_depth", format.bit_depth);
  if (format.is_full_range) json.member("colour_range", *format.is_full_range ? "full" : "limited");
  add_colour(json, "colour_primaries", kPrimaries, format.primaries);
  add_colour(json, "transfer_characteristics", kTransfers, format.transfer);
  add_colour(json, "matrix_coefficients", kMatrices, format.matrix);
  if (format.has_frames_only) json.member("frames_only", *format.has_frames_only);
  add_number(json, "reference_frames", format.reference_frames);
}

void add_picture(JsonWriter& json, const TrackDescription& track) {
  if (!track.width || !track.height) return;
  json.member("width", *track.width);
  json.member("height", *track.height);
  add_format(json, track.format);
  add_number(json, "rotation_degrees", track.rotation_degrees);
  if (!track.h_spacing || !track.v_spacing) return;
  json.begin_row("pixel_aspect");
  json.value(*track.h_spacing);
  json.value(*track.v_spacing);
  json.end_array();
}

void add_track(JsonWriter& json, const TrackDescription& track, uint64_t movie_time_scale) {
  json.begin_object();
  json.member("number", track.number);
  add_number(json, "id", track.id);
  json.member("kind", kind_of(track.handler));
  if (!track.entry_type.empty()) json.member("type", type_text(track.entry_type));
  add_text(json, "codec", track.codec);
  add_text(json, "profile", track.profile);
  add_text(json, "level", track.level);
  add_text(json, "pin", track.pin);
  add_text(json, "not_played", track.not_played);
  add_text(json, "language", track.language);
  add_number(json, "time_scale", track.time_scale);
  add_number(json, "duration", track.duration);
  if (track.start_100ns) json.member("start_100ns", *track.start_100ns);
  add_number(json, "samples", track.samples);
  if (track.samples) json.member("key_frames", track.key_frames());
  add_number(json, "media_bytes", track.media_bytes);
  add_number(json, "bit_rate", track.bit_rate());
  add_number(json, "peak_bit_rate", track.peak_bit_rate);
  add_picture(json, track);
  add_number(json, "channels", track.channels);
  add_text(json, "channel_layout", track.channel_layout);
  add_number(json, "sample_rate", track.sample_rate);
  add_number(json, "core_rate", track.core_rate);
  add_edits(json, track, movie_time_scale);
  json.end_object();
}

}  // namespace

void print_movie(const MovieDescription& movie, bool is_full, std::ostream& out) {
  print_file(movie, out);
  if (!movie.tracks.empty())
    out << "  no   ID kind     codec pin     lang    duration   samples      keys     bit/s\n";
  const std::string indent(10, ' ');
  for (const TrackDescription& track : movie.tracks) {
    print_row(track, out);
    print_pieces(indent, media_pieces(track, is_full), out);
    const std::vector<std::string> edits = edit_pieces(track, movie.time_scale);
    if (!edits.empty()) print_pieces(indent + "edit list: ", edits, out);
    if (!track.not_played.empty()) print_pieces(indent + "not played: ", {track.not_played}, out);
  }
}

void add_movie(JsonWriter& json, const MovieDescription& movie) {
  add_container(json, movie);
  json.begin_array("tracks");
  for (const TrackDescription& track : movie.tracks) add_track(json, track, movie.time_scale);
  json.end_array();
}

}  // namespace zdr::host
