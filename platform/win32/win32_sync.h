// Events, mutexes, semaphores, waits, critical sections.
// Named objects are shared between the processes of one user within one session (session.h); they end with
// their last handle in any process, also when a process is killed. They are not for children forked without
// exec.
#pragma once

#include "win32_types.h"

#define WAIT_OBJECT_0 0u
#define WAIT_ABANDONED 0x80u
#define WAIT_ABANDONED_0 0x80u
#define WAIT_TIMEOUT 0x102u
#define WAIT_FAILED 0xFFFFFFFFu
#define MAXIMUM_WAIT_OBJECTS 64

#define EVENT_MODIFY_STATE 0x0002u
#define EVENT_ALL_ACCESS 0x1F0003u
#define MUTEX_ALL_ACCESS 0x1F0001u
#define SEMAPHORE_ALL_ACCESS 0x1F0003u

// TRUE once per handle; 6 for NULL, unknown or closed handles. Serves files, threads and all objects below.
ZDR_WIN32 BOOL CloseHandle(HANDLE handle) ZDR_NOEXCEPT;

// NULL on failure. Names: case-sensitive, up to MAX_PATH, optional `Global\` or `Local\`, no other backslash
// (3); empty or NULL is unnamed. Success sets the last error: 0 created, 183 an existing object of that kind
// was opened (the other arguments are then ignored). Failures: 6 the name is another kind of object, 8 out of
// memory.
ZDR_WIN32 HANDLE CreateEventW(LPSECURITY_ATTRIBUTES security, BOOL manual_reset, BOOL initial_state,
                              LPCWSTR name) ZDR_NOEXCEPT;
ZDR_WIN32 HANDLE CreateMutexW(LPSECURITY_ATTRIBUTES security, BOOL initial_owner, LPCWSTR name) ZDR_NOEXCEPT;
ZDR_WIN32 HANDLE CreateSemaphoreW(LPSECURITY_ATTRIBUTES security, LONG initial, LONG maximum,
                                  LPCWSTR name) ZDR_NOEXCEPT;
// Only existing objects: 2 when there is none.
ZDR_WIN32 HANDLE OpenEventW(DWORD access, BOOL inherit, LPCWSTR name) ZDR_NOEXCEPT;
ZDR_WIN32 HANDLE OpenMutexW(DWORD access, BOOL inherit, LPCWSTR name) ZDR_NOEXCEPT;

// An auto-reset event hands each SetEvent to exactly one waiter, the longest-waiting; with no waiter it stays
// set until one wait consumes it. A manual-reset event passes all waiters until ResetEvent.
ZDR_WIN32 BOOL SetEvent(HANDLE event) ZDR_NOEXCEPT;
ZDR_WIN32 BOOL ResetEvent(HANDLE event) ZDR_NOEXCEPT;
// One call per successful wait; 288 when the caller does not own the mutex.
ZDR_WIN32 BOOL ReleaseMutex(HANDLE mutex) ZDR_NOEXCEPT;
// 298 and no change when the count would pass the maximum; 87 when count < 1.
ZDR_WIN32 BOOL ReleaseSemaphore(HANDLE semaphore, LONG count, LPLONG previous) ZDR_NOEXCEPT;

// WAIT_OBJECT_0 (+ index), WAIT_ABANDONED (+ index: the mutex's owner thread ended; the caller owns it now),
// WAIT_TIMEOUT (last error untouched), WAIT_FAILED with 6 or 87. wait_all consumes only when all are ready.
ZDR_WIN32 DWORD WaitForSingleObject(HANDLE handle, DWORD milliseconds) ZDR_NOEXCEPT;
ZDR_WIN32 DWORD WaitForMultipleObjects(DWORD count, const HANDLE* handles, BOOL wait_all,
                                       DWORD milliseconds) ZDR_NOEXCEPT;

// Recursive, process-local, no time-out. The storage is opaque.
typedef struct _CRITICAL_SECTION {
  uint64_t opaque[8];
} CRITICAL_SECTION, *LPCRITICAL_SECTION;

ZDR_WIN32 void InitializeCriticalSection(LPCRITICAL_SECTION section) ZDR_NOEXCEPT;
ZDR_WIN32 void EnterCriticalSection(LPCRITICAL_SECTION section) ZDR_NOEXCEPT;
ZDR_WIN32 BOOL TryEnterCriticalSection(LPCRITICAL_SECTION section) ZDR_NOEXCEPT;
ZDR_WIN32 void LeaveCriticalSection(LPCRITICAL_SECTION section) ZDR_NOEXCEPT;
ZDR_WIN32 void DeleteCriticalSection(LPCRITICAL_SECTION section) ZDR_NOEXCEPT;
