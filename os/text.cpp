// Conversion of text from the ANSI code page.
#include <windows.h>

#include "os/os.h"

void OS_AnsiToWide(const char* text, char16_t* wide, uint32_t size) noexcept {
  // The platform takes a size of 0 as a request for the length.
  if (text == nullptr || wide == nullptr || size == 0) return;
  const int capacity = size > INT32_MAX ? INT32_MAX : static_cast<int>(size);
  // For text that does not fit, the call fails after it has written what fits.
  MultiByteToWideChar(CP_ACP, 0, text, -1, wide, capacity);
}
