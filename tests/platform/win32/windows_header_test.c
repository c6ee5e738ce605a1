/* windows.h is valid C11, and the runtime links from C. */
#include <windows.h>

/* Called by windows.h users written in C; the handle goes stale like any other. */
BOOL c_opens_and_closes_an_event(void) {
  const HANDLE event = CreateEventW(NULL, TRUE, TRUE, NULL);
  LONG count = 1;
  return event != NULL && WaitForSingleObject(event, 0) == WAIT_OBJECT_0 &&
         InterlockedIncrement(&count) == 2 && CloseHandle(event) && !CloseHandle(event) &&
         GetLastError() == ERROR_INVALID_HANDLE;
}
