// Describes arbitrary bytes as `zdr boxes` and `zdr info` do, as JSON, which must be valid, or as text, which
// must be printable. The first byte of the script chooses the command, the form and whether the cover is
// saved.
#include <algorithm>
#include <cstdlib>
#include <sstream>
#include <string>

#include "aacdec/zd_aac_dec.h"
#include "fuzz/engine_option.h"
#include "fuzz/json_checker.h"
#include "fuzz/media_input.h"
#include "fuzz/require.h"
#include "host/commands/commands.h"
#include "host/graph/module_loader.h"
#include "id3p/id3p.h"
#include "platform/win32/session.h"

namespace zdr::fuzz {
namespace {

using host::ExitCode;

bool is_printable(const std::string& text) {
  return std::none_of(text.begin(), text.end(),
                      [](char c) { return (static_cast<uint8_t>(c) < 0x20 && c != '\n') || c == 0x7F; });
}

void check_json(const std::string& text, ExitCode code) {
  require(is_json(text), "the document is JSON");
  const std::string member = "\"exit_code\": " + std::to_string(static_cast<int>(code)) + ",";
  require(text.find(member) != std::string::npos, "the document has the exit code");
}

void describe(const std::filesystem::path& file, uint8_t choice) {
  host::Options options;
  options.files = {file.string()};
  options.json = (choice & 1) == 0;
  const bool shows_boxes = (choice & 2) == 0;
  if (!shows_boxes && (choice & 12) == 12) options.cover = (output_folder() / "cover").string();
  if (shows_boxes && (choice & 4) != 0) options.entries = "stts";
  if (shows_boxes && (choice & 8) != 0) options.path = "moov/trak";
  options.force = true;
  std::ostringstream out;
  const ExitCode code = shows_boxes ? host::run_boxes(options, out) : host::run_info(options, out);
  require(code == ExitCode::kDone || code == ExitCode::kCannotOpen || code == ExitCode::kLoss ||
              code == ExitCode::kNotSupported,
          "the exit code is that of a file that opens or not");
  if (options.json) return check_json(out.str(), code);
  require(is_printable(out.str()), "text has no control characters");
}

}  // namespace
}  // namespace zdr::fuzz

// Discards the messages of the commands.
extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv) {
  static char discard[] = "-close_fd_mask=2";
  zdr::fuzz::add_engine_option(argc, argv, discard);
  zdr::fuzz::require(zdr::platform::set_private_session(), "the session is private");
  // The module next to the program, whatever is registered.
  setenv("ZDR_MODULE", zdr::host::own_module_path().c_str(), 0);
  Zd_AAC_Dec_SetConsole([](const char*) {});
  ID3P_SetConsole([](const char*) {});
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace zdr::fuzz;
  MediaInput input = split_input({data, size});
  describe(write_media(input.file), input.script.next());
  return 0;
}
