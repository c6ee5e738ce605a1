// Locks, events and the worker thread of the base classes.
#pragma once

#include <windows.h>

#include <atomic>

// A failure whatever the code is, 0 included.
constexpr HRESULT AmHresultFromWin32(DWORD error) noexcept {
  return static_cast<HRESULT>(0x80070000u | (error & 0xFFFFu));
}
// The reason of a call that failed; E_FAIL when it left none.
inline HRESULT AmGetLastErrorToHResult() noexcept {
  const DWORD error = GetLastError();
  return error == NO_ERROR ? E_FAIL : HRESULT_FROM_WIN32(error);
}

// A recursive lock of this process. One Unlock for each Lock, by the same thread.
class CCritSec {
 public:
  CCritSec() noexcept { InitializeCriticalSection(&section_); }
  ~CCritSec() { DeleteCriticalSection(&section_); }
  CCritSec(const CCritSec&) = delete;
  CCritSec& operator=(const CCritSec&) = delete;

  void Lock() noexcept { EnterCriticalSection(&section_); }
  void Unlock() noexcept { LeaveCriticalSection(&section_); }

 private:
  CRITICAL_SECTION section_;
};

// Of use in assertions only, which a release build does not have.
constexpr BOOL CritCheckIn(const CCritSec*) noexcept {
  return TRUE;
}
constexpr BOOL CritCheckOut(const CCritSec*) noexcept {
  return TRUE;
}

class [[nodiscard]] CAutoLock {
 public:
  explicit CAutoLock(CCritSec* lock) noexcept : m_pLock(lock) { m_pLock->Lock(); }
  ~CAutoLock() { m_pLock->Unlock(); }
  CAutoLock(const CAutoLock&) = delete;
  CAutoLock& operator=(const CAutoLock&) = delete;

 protected:
  CCritSec* m_pLock;
};

// An unnamed event, not signalled at first. When it cannot be made *phr becomes E_OUTOFMEMORY, unless *phr is
// a failure already.
class CAMEvent {
 public:
  explicit CAMEvent(BOOL manual_reset = FALSE, HRESULT* phr = nullptr) noexcept;
  explicit CAMEvent(HRESULT* phr) noexcept;
  ~CAMEvent();
  CAMEvent(const CAMEvent&) = delete;
  CAMEvent& operator=(const CAMEvent&) = delete;

  operator HANDLE() const noexcept { return m_hEvent; }
  void Set() noexcept { SetEvent(m_hEvent); }
  void Reset() noexcept { ResetEvent(m_hEvent); }
  // TRUE only when the event was signalled, not after a time-out or an error.
  BOOL Wait(DWORD milliseconds = INFINITE) noexcept {
    return WaitForSingleObject(m_hEvent, milliseconds) == WAIT_OBJECT_0;
  }
  BOOL Check() noexcept { return Wait(0); }

 protected:
  HANDLE m_hEvent;
};

// A worker thread that takes one command at a time. Callers use Create, CallWorker and Close; the worker, in
// ThreadProc, uses GetRequest or CheckRequest and then Reply. A request stays visible until it is replied to.
class CAMThread {
 public:
  CAMThread(HRESULT* phr = nullptr) noexcept;
  // Closes the thread, which must have been told to end: the derived class sees to that before.
  virtual ~CAMThread();
  CAMThread(const CAMThread&) = delete;
  CAMThread& operator=(const CAMThread&) = delete;

  CCritSec m_AccessLock;  // serialises callers: held during Create and CallWorker
  CCritSec m_WorkerLock;  // for derived classes

  // FALSE when a thread exists, even one that has returned, or none can be made.
  BOOL Create() noexcept;
  // Hands the command to the worker and returns its reply; E_FAIL as a DWORD when there is no thread.
  // Must not be called by the worker itself.
  DWORD CallWorker(DWORD parameter) noexcept;
  // Waits without limit for the thread to end and forgets it.
  void Close() noexcept;
  // Also TRUE for a thread that has returned and was not closed.
  BOOL ThreadExists() const noexcept { return m_hThread.load() != nullptr; }

  // Signalled while a request is pending; for waits on several objects.
  HANDLE GetRequestHandle() const noexcept { return m_EventSend; }
  DWORD GetRequestParam() const noexcept { return m_dwParam; }

  // CoInitializeEx as every worker of the base classes needs it: any apartment, no data exchange window.
  static HRESULT CoInitializeHelper() noexcept;

 protected:
  virtual DWORD ThreadProc() = 0;

  // Waits for a request and returns its parameter.
  DWORD GetRequest() noexcept;
  // Does not wait. *parameter (may be NULL) is set only when a request is pending.
  BOOL CheckRequest(DWORD* parameter) noexcept;
  // Ends the request and lets its caller go on.
  void Reply(DWORD value) noexcept;

  CAMEvent m_EventSend;
  CAMEvent m_EventComplete;
  DWORD m_dwParam = 0;
  DWORD m_dwReturnVal = 0;

 private:
  static DWORD WINAPI InitialThreadProc(void* self);

  std::atomic<HANDLE> m_hThread{nullptr};
};
