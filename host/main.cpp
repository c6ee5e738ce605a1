// The command-line graph host: plays and examines media files through the source filter module.
#include <cstdlib>
#include <exception>
#include <iostream>
#include <new>
#include <string>

#include "aacdec/zd_aac_dec.h"
#include "host/command_line/command_line.h"
#include "host/graph/source_player.h"
#include "host/memory.h"
#include "host/messages.h"
#include "host/terminal.h"
#include "host/text/printable_output.h"
#include "id3p/id3p.h"
#include "platform/com/class_modules.h"

namespace zdr::host {
namespace {

void discard(const char* /*text*/) {}

// Suppresses the console output of the libraries: the program's own messages report the same with the name of
// the file.
void silence_libraries() {
  Zd_AAC_Dec_SetConsole(discard);
  ID3P_SetConsole(discard);
}

// By now all objects of the module should be released; any that is left has leaked. Without memory for the
// note the exit code stays: the results are printed already.
void report_held_module(const Options& options) try {
  if (SourcePlayer::has_abandoned_filter()) return;
  CoFreeUnusedLibraries();
  if (!com::modules_hold_objects()) return;
  Messages(options.quiet)
      .note({MessageCode::kModuleFailed, "", {}, "a filter module still holds objects", ""});
} catch (const std::bad_alloc&) {
}

int run(int argc, const char* const* argv) {
  reserve_standard_streams();
  ignore_write_signals();
  silence_libraries();
  const ParsedLine line = parse_command_line(argc, argv);
  limit_memory(line.options.files);
  const PrintableOutput printable_output(std::cout, stdout_is_terminal());
  const ExitCode code = line.command != nullptr ? line.command->run(line.options, std::cout) : line.exit_code;
  std::cout.flush();
  report_held_module(line.options);
  if (std::cout) return static_cast<int>(code);
  // No message if the reader (a pager, `head`) has closed its end: it has read all it wanted.
  if (!stdout_reader_gone())
    Messages(false).error({MessageCode::kOutputFailed, "", {}, "standard output cannot be written", ""});
  return static_cast<int>(ExitCode::kCannotWrite);
}

}  // namespace
}  // namespace zdr::host

// The destructors of the program must not run while threads of an abandoned filter may use its objects.
static int end(int code) {
  if (zdr::host::SourcePlayer::has_abandoned_filter()) std::_Exit(code);
  return code;
}

int main(int argc, char** argv) {
  try {
    return end(zdr::host::run(argc, argv));
  } catch (const std::bad_alloc&) {
    zdr::host::print_line_to_terminal("zdr: error: out of memory");
  } catch (const std::exception& error) {
    zdr::host::print_line_to_terminal(zdr::host::error_line(error.what()));
  }
  return end(static_cast<int>(zdr::host::ExitCode::kCannotOpen));
}
