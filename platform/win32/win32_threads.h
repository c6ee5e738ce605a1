// Threads, sleeping, clocks.
#pragma once

#include "win32_types.h"

#define THREAD_PRIORITY_IDLE (-15)
#define THREAD_PRIORITY_LOWEST (-2)
#define THREAD_PRIORITY_BELOW_NORMAL (-1)
#define THREAD_PRIORITY_NORMAL 0
#define THREAD_PRIORITY_ABOVE_NORMAL 1
#define THREAD_PRIORITY_HIGHEST 2
#define THREAD_PRIORITY_TIME_CRITICAL 15
#define THREAD_PRIORITY_ERROR_RETURN 0x7FFFFFFF
#define CREATE_SUSPENDED 0x00000004u
#define STACK_SIZE_PARAM_IS_A_RESERVATION 0x00010000u
#define STILL_ACTIVE 259u

#define DLL_PROCESS_DETACH 0u
#define DLL_PROCESS_ATTACH 1u
#define DLL_THREAD_ATTACH 2u
#define DLL_THREAD_DETACH 3u

typedef DWORD (*LPTHREAD_START_ROUTINE)(LPVOID);

// NULL on failure (8, or 87 for a NULL routine or unknown flags). The handle becomes signalled when the
// thread has ended, after its thread-local destructors; it may be closed while the thread runs. The stack is
// never smaller than the system's default.
ZDR_WIN32 HANDLE CreateThread(LPSECURITY_ATTRIBUTES security, SIZE_T stack_size,
                              LPTHREAD_START_ROUTINE routine, LPVOID argument, DWORD flags,
                              LPDWORD thread_id) ZDR_NOEXCEPT;
// For threads made with CREATE_SUSPENDED: previous suspend count (1 or 0), 0xFFFFFFFF on failure.
ZDR_WIN32 DWORD ResumeThread(HANDLE thread) ZDR_NOEXCEPT;
ZDR_WIN32 BOOL GetExitCodeThread(HANDLE thread, LPDWORD code) ZDR_NOEXCEPT;
// Advisory: the value is kept and given back, the scheduler is not told. 87 for a value not listed above.
ZDR_WIN32 BOOL SetThreadPriority(HANDLE thread, int priority) ZDR_NOEXCEPT;
ZDR_WIN32 int GetThreadPriority(HANDLE thread) ZDR_NOEXCEPT;

ZDR_WIN32 HANDLE GetCurrentThread(void) ZDR_NOEXCEPT;   // pseudo handle -2, not to be closed
ZDR_WIN32 HANDLE GetCurrentProcess(void) ZDR_NOEXCEPT;  // pseudo handle -1, not to be closed
ZDR_WIN32 DWORD GetCurrentThreadId(void) ZDR_NOEXCEPT;
ZDR_WIN32 DWORD GetCurrentProcessId(void) ZDR_NOEXCEPT;

// 0 yields, INFINITE sleeps for ever.
ZDR_WIN32 void Sleep(DWORD milliseconds) ZDR_NOEXCEPT;
// Milliseconds of the monotonic clock; the first wraps at 2^32.
ZDR_WIN32 DWORD GetTickCount(void) ZDR_NOEXCEPT;
ZDR_WIN32 ULONGLONG GetTickCount64(void) ZDR_NOEXCEPT;
// The monotonic clock in units of 1 / frequency seconds.
ZDR_WIN32 BOOL QueryPerformanceCounter(PLARGE_INTEGER count) ZDR_NOEXCEPT;
ZDR_WIN32 BOOL QueryPerformanceFrequency(PLARGE_INTEGER frequency) ZDR_NOEXCEPT;
