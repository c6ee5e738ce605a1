// See messages.h.
#include "id3p/messages.h"

#include <atomic>
#include <cstdio>

namespace zdr::id3p {
namespace {

// Not the standard output: that carries the results of the program that uses the library.
void print(const char* message) {
  std::fputs(message, stderr);
}

std::atomic<MessageSink> message_sink{&print};

}  // namespace

void set_message_sink(MessageSink sink) {
  message_sink = sink != nullptr ? sink : &print;
}

void say(const char* message) {
  message_sink.load()(message);
}

}  // namespace zdr::id3p
