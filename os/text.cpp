// Text of the ANSI code page.
#include <windows.h>

#include "os/os.h"

void OS_AnsiToWide(const char* text, char16_t* wide, uint32_t size) noexcept {
  // A size of 0 would ask the platform for the length.
  if (!text || !wide || size == 0) return;
  const int room = size > INT32_MAX ? INT32_MAX : static_cast<int>(size);
  // When the text is too long the platform fails, but has written what fits.
  MultiByteToWideChar(CP_ACP, 0, text, -1, wide, room);
}
