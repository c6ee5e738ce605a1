// Recursive mutexes, made of the mutexes of the platform.
#include <windows.h>

#include "os/os.h"

void* OS_MutexCreate(void) noexcept {
  return CreateMutexW(nullptr, FALSE, nullptr);
}

int32_t OS_MutexLock(void* mutex) noexcept {
  if (mutex == nullptr) return FMGR_ERR_BAD_ARGUMENT;
  const DWORD result = WaitForSingleObject(mutex, INFINITE);
  // Kept: an abandoned mutex counts as locked, like any other.
  return result == WAIT_FAILED || result == WAIT_TIMEOUT ? FMGR_ERR_GENERIC : FMGR_OK;
}

int32_t OS_MutexUnlock(void* mutex) noexcept {
  if (mutex == nullptr) return FMGR_ERR_BAD_ARGUMENT;
  return ReleaseMutex(mutex) ? FMGR_OK : FMGR_ERR_GENERIC;
}

int32_t OS_MutexDestroy(void* mutex) noexcept {
  if (mutex == nullptr) return FMGR_ERR_BAD_ARGUMENT;
  return CloseHandle(mutex) ? FMGR_OK : FMGR_ERR_GENERIC;
}
