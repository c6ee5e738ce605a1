// See messages.h.
#include "id3p/messages.h"

#include <atomic>
#include <cstdio>

#include "id3p/id3p.h"

namespace zdr::id3p {
namespace {

std::atomic<ID3P_ConsoleWriter> console_writer{nullptr};

}  // namespace

void say(const char* message) {
  if (const ID3P_ConsoleWriter writer = console_writer.load()) {
    writer(message);
    return;
  }
  // Not the standard output: that carries the results of the program that uses the library.
  std::fputs(message, stderr);
}

}  // namespace zdr::id3p

void ID3P_SetConsole(ID3P_ConsoleWriter writer) noexcept {
  zdr::id3p::console_writer.store(writer);
}
