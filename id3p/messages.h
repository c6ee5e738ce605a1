// The few fixed texts that the parser says about pictures.
#pragma once

namespace zdr::id3p {

using MessageSink = void (*)(const char* message);

// Where messages go; null restores the default, the standard error output.
void set_message_sink(MessageSink sink);
void say(const char* message);

}  // namespace zdr::id3p
