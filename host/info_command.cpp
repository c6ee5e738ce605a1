// `zdr info`: the pins of a file, what they offer and how long they are.
#include <iostream>
#include <nlohmann/json.hpp>

#include "host/commands.h"
#include "host/media_type_text.h"
#include "host/parsed_file.h"
#include "host/source_player.h"
#include "host/time_text.h"

namespace zdr::host {
namespace {

constexpr int kSchema = 1;
constexpr const char* kNoType = "offers no media type: its codec or configuration is not supported";

void print_text(const std::string& file, const SourcePlayer& player, const std::vector<std::string>& notes,
                std::ostream& out) {
  out << file << "\n  duration " << format_time(player.duration()) << "\n";
  for (const PinEntry& pin : player.pins()) {
    out << "  " << pin.name << ": " << (pin.types.empty() ? kNoType : media_type_line(pin.types[0])) << "\n";
  }
  for (const std::string& note : notes) out << "  note: " << note << "\n";
}

nlohmann::ordered_json file_json(const std::string& file, const SourcePlayer& player,
                                 const std::vector<std::string>& notes) {
  nlohmann::ordered_json json{{"schema", kSchema}, {"file", file}, {"duration_100ns", player.duration()}};
  json["pins"] = nlohmann::ordered_json::array();
  for (const PinEntry& pin : player.pins()) {
    nlohmann::ordered_json entry{{"name", pin.name}, {"media_types", nlohmann::ordered_json::array()}};
    for (const CMediaType& type : pin.types) entry["media_types"].push_back(media_type_json(type));
    json["pins"].push_back(entry);
  }
  json["warnings"] = notes;
  return json;
}

}  // namespace

ExitCode run_info(const Options& options, std::ostream& out) {
  ExitCode worst = ExitCode::kDone;
  Messages messages(options.quiet);
  for (const std::string& file : options.files) {
    SourcePlayer player(file, messages);
    const ExitCode loaded = player.load();
    worst = worse_of(worst, loaded);
    if (loaded != ExitCode::kDone) continue;
    const std::vector<std::string> notes = left_out_notes(file);
    if (options.json) {
      out << file_json(file, player, notes).dump(2, ' ', false, nlohmann::json::error_handler_t::replace)
          << "\n";
    } else {
      print_text(file, player, notes, out);
    }
  }
  return worst;
}

}  // namespace zdr::host
