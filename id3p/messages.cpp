// Holds the writer of messages, which ID3P_SetConsole replaces.
#include "id3p/messages.h"

#include <atomic>
#include <cstdio>

#include "id3p/id3p.h"

namespace zdr::id3p {
namespace {

std::atomic<ID3P_ConsoleWriter> console_writer{nullptr};

}  // namespace

void print(const char* message) {
  if (const ID3P_ConsoleWriter writer = console_writer.load(); writer != nullptr) {
    writer(message);
    return;
  }
  // Kept: narrow text on standard error. Wide text would make the whole stream wide, and standard output
  // carries the results of the program.
  std::fputs(message, stderr);
}

}  // namespace zdr::id3p

void ID3P_SetConsole(ID3P_ConsoleWriter writer) noexcept {
  zdr::id3p::console_writer.store(writer);
}
