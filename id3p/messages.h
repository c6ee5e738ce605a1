// The few fixed texts that the parser says about pictures.
#pragma once

namespace zdr::id3p {

// To the standard error, or wherever the application wants it (ID3P_SetConsole).
void say(const char* message);

}  // namespace zdr::id3p
