/* windows.h is valid C11, and the runtime can be linked from C. */
#include <windows.h>

BOOL c_opens_and_closes_an_event(void);

BOOL c_opens_and_closes_an_event(void) {
  const HANDLE event = CreateEventW(NULL, TRUE, TRUE, NULL);
  return event != NULL && WaitForSingleObject(event, 0) == WAIT_OBJECT_0 && CloseHandle(event) &&
         !CloseHandle(event) && GetLastError() == ERROR_INVALID_HANDLE;
}
