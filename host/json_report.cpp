#include "host/json_report.h"

#include <ostream>

namespace zdr::host {

void JsonReport::print(std::ostream& out) const {
  if (one_file_ && files_.empty()) return;
  const nlohmann::ordered_json whole =
      one_file_ ? files_.front() : nlohmann::ordered_json{{"schema", kJsonSchema}, {"files", files_}};
  out << whole.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) << "\n";
}

nlohmann::ordered_json begin_file_json(const std::string& file, ExitCode code) {
  return {{"schema", kJsonSchema}, {"file", file}, {"exit_code", static_cast<int>(code)}};
}

void end_file_json(nlohmann::ordered_json& json, Messages& messages) {
  json["errors"] = messages.take_errors();
  json["warnings"] = messages.take_notes();
}

}  // namespace zdr::host
