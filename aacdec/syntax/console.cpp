// Holds the console writer, the only state that instances and threads share.
#include "aacdec/syntax/console.h"

#include <atomic>
#include <cstdio>

#include "aacdec/zd_aac_dec.h"

namespace zdr::aacdec {
namespace {

std::atomic<Zd_AAC_Dec_ConsoleWriter> console_writer{nullptr};

}  // namespace

void write_console(const char* text) {
  const Zd_AAC_Dec_ConsoleWriter writer = console_writer.load();
  if (writer != nullptr) {
    writer(text);
  } else {
    std::fputs(text, stderr);
  }
}

}  // namespace zdr::aacdec

void Zd_AAC_Dec_SetConsole(Zd_AAC_Dec_ConsoleWriter writer) noexcept {
  zdr::aacdec::console_writer.store(writer);
}
