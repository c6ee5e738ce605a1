// Events, and the command protocol of the worker thread.
#include "wxutil.h"

#include <objbase.h>

CAMEvent::CAMEvent(BOOL manual_reset) noexcept
    : m_hEvent(CreateEventW(nullptr, manual_reset, FALSE, nullptr)) {}

CAMEvent::~CAMEvent() {
  if (m_hEvent != nullptr) CloseHandle(m_hEvent);
}

CAMThread::CAMThread() noexcept : m_EventSend(TRUE), m_EventComplete(FALSE) {}

CAMThread::~CAMThread() {
  Close();
}

BOOL CAMThread::Create() noexcept {
  const CAutoLock lock(&m_AccessLock);
  if (ThreadExists()) return FALSE;
  m_hThread = CreateThread(nullptr, 0, &CAMThread::InitialThreadProc, this, 0, nullptr);
  return ThreadExists();
}

DWORD CAMThread::CallWorker(DWORD parameter) noexcept {
  const CAutoLock lock(&m_AccessLock);
  if (!ThreadExists()) return static_cast<DWORD>(E_FAIL);
  m_dwParam = parameter;
  m_EventSend.Set();
  m_EventComplete.Wait();
  return m_dwReturnVal;
}

void CAMThread::Close() noexcept {
  HANDLE thread = m_hThread.exchange(nullptr);
  if (thread == nullptr) return;
  WaitForSingleObject(thread, INFINITE);
  CloseHandle(thread);
}

DWORD CAMThread::GetRequest() noexcept {
  m_EventSend.Wait();
  return m_dwParam;
}

BOOL CAMThread::CheckRequest(DWORD* parameter) noexcept {
  if (!m_EventSend.Check()) return FALSE;
  *parameter = m_dwParam;
  return TRUE;
}

void CAMThread::Reply(DWORD value) noexcept {
  m_dwReturnVal = value;
  // Reset first: the caller may send its next request as soon as it sees this one complete.
  m_EventSend.Reset();
  m_EventComplete.Set();
}

DWORD CAMThread::InitialThreadProc(void* self) {
  const HRESULT hr = CoInitializeEx(nullptr, COINIT_DISABLE_OLE1DDE);
  const DWORD exit_code = static_cast<CAMThread*>(self)->ThreadProc();
  if (SUCCEEDED(hr)) CoUninitialize();
  return exit_code;
}
