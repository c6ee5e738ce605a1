// Threads and sleeping.
#ifndef ZDR_WIN32_THREADS_H
#define ZDR_WIN32_THREADS_H

#include "win32_types.h"

#define THREAD_PRIORITY_IDLE (-15)
#define THREAD_PRIORITY_LOWEST (-2)
#define THREAD_PRIORITY_BELOW_NORMAL (-1)
#define THREAD_PRIORITY_NORMAL 0
#define THREAD_PRIORITY_ABOVE_NORMAL 1
#define THREAD_PRIORITY_HIGHEST 2
#define THREAD_PRIORITY_TIME_CRITICAL 15

// Reasons for which a module's entry function is called.
#define DLL_PROCESS_DETACH 0u
#define DLL_PROCESS_ATTACH 1u

typedef DWORD (*LPTHREAD_START_ROUTINE)(LPVOID);

// Null on failure: 8, or 87 for a null routine or any flag. The handle becomes signalled when the thread has
// ended, after its thread-local destructors; it may be closed while the thread runs. The stack is never
// smaller than the system's default. The routine's result is dropped.
ZDR_WIN32 HANDLE CreateThread(LPSECURITY_ATTRIBUTES security, SIZE_T stack_size,
                              LPTHREAD_START_ROUTINE routine, LPVOID argument, DWORD flags,
                              LPDWORD thread_id) ZDR_NOEXCEPT;
// Checks its arguments and has no other effect: 87 for a value not listed above, 6 for a bad handle.
ZDR_WIN32 BOOL SetThreadPriority(HANDLE thread, int priority) ZDR_NOEXCEPT;

// 0 yields, INFINITE sleeps forever.
ZDR_WIN32 void Sleep(DWORD milliseconds) ZDR_NOEXCEPT;

#endif
