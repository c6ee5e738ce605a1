// Locks, events and the worker thread of the base classes.
#pragma once

#include <windows.h>

#include <atomic>

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

class [[nodiscard]] CAutoLock {
 public:
  explicit CAutoLock(CCritSec* lock) noexcept : m_pLock(lock) { m_pLock->Lock(); }
  ~CAutoLock() { m_pLock->Unlock(); }
  CAutoLock(const CAutoLock&) = delete;
  CAutoLock& operator=(const CAutoLock&) = delete;

 protected:
  CCritSec* m_pLock;
};

// An unnamed event, initially not signalled. Its handle is null if it cannot be created.
class CAMEvent {
 public:
  explicit CAMEvent(BOOL manual_reset) noexcept;
  ~CAMEvent();
  CAMEvent(const CAMEvent&) = delete;
  CAMEvent& operator=(const CAMEvent&) = delete;

  operator HANDLE() const noexcept { return m_hEvent; }
  void Set() noexcept { SetEvent(m_hEvent); }
  void Reset() noexcept { ResetEvent(m_hEvent); }
  // TRUE if the event was signalled, FALSE after a time-out or an error.
  BOOL Wait(DWORD milliseconds = INFINITE) noexcept {
    return WaitForSingleObject(m_hEvent, milliseconds) == WAIT_OBJECT_0;
  }
  BOOL Check() noexcept { return Wait(0); }

 protected:
  HANDLE m_hEvent;
};

// A worker thread that executes one command at a time. Callers use Create, CallWorker and Close; the worker,
// in ThreadProc, uses GetRequest or CheckRequest and then Reply. A request stays pending until the reply.
class CAMThread {
 public:
  CAMThread() noexcept;
  // Waits for the thread to end. A derived class must have requested that before.
  virtual ~CAMThread();
  CAMThread(const CAMThread&) = delete;
  CAMThread& operator=(const CAMThread&) = delete;

  CCritSec m_AccessLock;  // serialises callers: held during Create and CallWorker

  // FALSE if a thread exists, even one that has returned, or if none can be created.
  BOOL Create() noexcept;
  // Passes the command to the worker and returns its reply, or E_FAIL as a DWORD when there is no thread. Not
  // to be called by the worker itself.
  DWORD CallWorker(DWORD parameter) noexcept;
  // Waits without limit for the thread to end, and closes its handle.
  void Close() noexcept;
  // Also TRUE for a thread that has returned but was not closed.
  BOOL ThreadExists() const noexcept { return m_hThread.load() != nullptr; }

  // An event that is signalled while a request is pending; for waits on several objects.
  HANDLE GetRequestHandle() const noexcept { return m_EventSend; }

 protected:
  virtual DWORD ThreadProc() = 0;

  // Waits for a request and returns its parameter.
  DWORD GetRequest() noexcept;
  // Does not wait. *parameter is set only when a request is pending.
  BOOL CheckRequest(DWORD* parameter) noexcept;
  // Ends the request: CallWorker returns the value.
  void Reply(DWORD value) noexcept;

  CAMEvent m_EventSend;
  CAMEvent m_EventComplete;
  DWORD m_dwParam = 0;
  DWORD m_dwReturnVal = 0;

 private:
  static DWORD WINAPI InitialThreadProc(void* self);

  std::atomic<HANDLE> m_hThread{nullptr};
};
