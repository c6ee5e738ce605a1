// The command-line graph host: plays and examines media files through the source filter module.
#include <exception>
#include <iostream>

#include "aacdec/zd_aac_dec.h"
#include "host/command_line.h"
#include "host/commands/commands.h"
#include "host/messages.h"
#include "host/terminal.h"
#include "host/version.h"
#include "id3p/id3p.h"
#include "platform/win32/session.h"

namespace zdr::host {
namespace {

// A session of our own unless one is named: two runs side by side must not wake each other's workers.
bool join_session(const Options& options) {
  if (options.session.empty()) return platform::set_private_session();
  return platform::set_session(options.session.c_str());
}

ExitCode dispatch(const Options& options) {
  if (options.command == "completion") {
    std::cout << completion_script(options.shell);
    return ExitCode::kDone;
  }
  if (options.command == "man-page") {
    std::cout << man_page(kVersion);
    return ExitCode::kDone;
  }
  if (options.command == "boxes") return run_boxes(options, std::cout);
  if (options.command == "register") return run_register(options);
  if (options.command == "unregister") return run_unregister(options);
  if (options.command == "registry") return run_registry(options, std::cout);
  if (!join_session(options)) {
    Messages(false).error({"", "", "'" + options.session + "' cannot be used as a session name", ""});
    return ExitCode::kUsage;
  }
  if (options.command == "play") return run_play(options, std::cout);
  if (options.command == "keyframe") return run_keyframe(options, std::cout);
  if (options.command == "info") return run_info(options, std::cout);
  return run_samples(options, std::cout);
}

// What the libraries say of a stream comes again as a message of ours, with the file's name.
void silence_libraries() {
  Zd_AAC_Dec_SetConsole([](const char*) {});
  ID3P_SetConsole([](const char*) {});
}

int run(int argc, const char* const* argv) {
  keep_standard_streams();
  survive_failed_writes();
  silence_libraries();
  const ParsedLine line = parse_command_line(argc, argv);
  const ExitCode code = line.options ? dispatch(*line.options) : line.exit_code;
  std::cout.flush();
  if (std::cout) return static_cast<int>(code);
  // A reader that went away (a pager, `head`) has seen what it wanted; it needs no words.
  if (!stdout_reader_gone()) Messages(false).error({"", "", "standard output cannot be written", ""});
  return static_cast<int>(ExitCode::kCannotWrite);
}

}  // namespace
}  // namespace zdr::host

int main(int argc, char** argv) {
  try {
    return zdr::host::run(argc, argv);
  } catch (const std::exception& error) {
    std::cerr << "zdr: " << error.what() << "\n";
    return static_cast<int>(zdr::host::ExitCode::kCannotOpen);
  }
}
