// Events, mutexes, waits, critical sections.
#ifndef ZDR_WIN32_SYNC_H
#define ZDR_WIN32_SYNC_H

#include "win32_types.h"

#define WAIT_OBJECT_0 0u
#define WAIT_ABANDONED 0x80u
#define WAIT_TIMEOUT 0x102u
#define WAIT_FAILED 0xFFFFFFFFu
#define MAXIMUM_WAIT_OBJECTS 64

// TRUE once per handle; 6 for null, unknown or closed handles. Closes files, threads, events and mutexes.
ZDR_WIN32 BOOL CloseHandle(HANDLE handle) ZDR_NOEXCEPT;

// Null on failure. A named event is shared between the processes of one user within one session (session.h).
// It ends with its last handle in any process, even when a process is killed. A child forked without exec
// must not use it. Names are case-sensitive and have up to MAX_PATH characters; `Global\` or `Local\` may
// precede one, any other backslash is refused (3). An empty or null name means no name. Success sets the last
// error: 0 created, 183 opened, in which case the other arguments have no effect. Failure: 8 out of memory.
ZDR_WIN32 HANDLE CreateEventW(LPSECURITY_ATTRIBUTES security, BOOL manual_reset, BOOL initial_state,
                              LPCWSTR name) ZDR_NOEXCEPT;
// As CreateEventW, but for this process alone and without an initial owner: 50 for a name or an owner.
ZDR_WIN32 HANDLE CreateMutexW(LPSECURITY_ATTRIBUTES security, BOOL initial_owner, LPCWSTR name) ZDR_NOEXCEPT;

// A set auto-reset event ends one wait, which resets it; setting a set event again has no effect. A
// manual-reset event ends all waits until it is reset.
ZDR_WIN32 BOOL SetEvent(HANDLE event) ZDR_NOEXCEPT;
ZDR_WIN32 BOOL ResetEvent(HANDLE event) ZDR_NOEXCEPT;
// To be called once for each wait that succeeded; 288 when the caller does not own the mutex.
ZDR_WIN32 BOOL ReleaseMutex(HANDLE mutex) ZDR_NOEXCEPT;

// Waits for an event, a thread or a mutex. WAIT_OBJECT_0, WAIT_ABANDONED (the mutex's owner thread ended; the
// caller owns it now), WAIT_TIMEOUT (the last error is unchanged), or WAIT_FAILED with 6.
ZDR_WIN32 DWORD WaitForSingleObject(HANDLE handle, DWORD milliseconds) ZDR_NOEXCEPT;
// Waits for any one of up to MAXIMUM_WAIT_OBJECTS events and threads: WAIT_OBJECT_0 + the lowest index that
// is ready, WAIT_TIMEOUT, or WAIT_FAILED with 6 (also for mutexes), 87 bad count, 50 `wait_all`.
ZDR_WIN32 DWORD WaitForMultipleObjects(DWORD count, const HANDLE* handles, BOOL wait_all,
                                       DWORD milliseconds) ZDR_NOEXCEPT;

// Recursive, for one process, without time-out. The storage is opaque.
typedef struct _CRITICAL_SECTION {
  uint64_t opaque[8];
} CRITICAL_SECTION, *LPCRITICAL_SECTION;

ZDR_WIN32 void InitializeCriticalSection(LPCRITICAL_SECTION section) ZDR_NOEXCEPT;
ZDR_WIN32 void EnterCriticalSection(LPCRITICAL_SECTION section) ZDR_NOEXCEPT;
ZDR_WIN32 void LeaveCriticalSection(LPCRITICAL_SECTION section) ZDR_NOEXCEPT;
ZDR_WIN32 void DeleteCriticalSection(LPCRITICAL_SECTION section) ZDR_NOEXCEPT;

#endif
