// Events and the worker thread's command protocol.
#include "wxutil.h"

#include <objbase.h>

namespace {

HANDLE create_event(BOOL manual_reset, HRESULT* phr) noexcept {
  HANDLE event = CreateEventW(nullptr, manual_reset, FALSE, nullptr);
  if (event == nullptr && phr != nullptr && SUCCEEDED(*phr)) *phr = E_OUTOFMEMORY;
  return event;
}

}  // namespace

CAMEvent::CAMEvent(BOOL manual_reset, HRESULT* phr) noexcept : m_hEvent(create_event(manual_reset, phr)) {}

CAMEvent::CAMEvent(HRESULT* phr) noexcept : CAMEvent(FALSE, phr) {}

CAMEvent::~CAMEvent() {
  if (m_hEvent != nullptr) CloseHandle(m_hEvent);
}

CAMThread::CAMThread(HRESULT* phr) noexcept : m_EventSend(TRUE, phr), m_EventComplete(FALSE, phr) {}

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
  if (parameter != nullptr) *parameter = m_dwParam;
  return TRUE;
}

void CAMThread::Reply(DWORD value) noexcept {
  m_dwReturnVal = value;
  // Reset first: the caller may send its next request as soon as it sees this one complete.
  m_EventSend.Reset();
  m_EventComplete.Set();
}

HRESULT CAMThread::CoInitializeHelper() noexcept {
  return CoInitializeEx(nullptr, COINIT_DISABLE_OLE1DDE);
}

DWORD CAMThread::InitialThreadProc(void* self) {
  const HRESULT hr = CoInitializeHelper();
  const DWORD exit_code = static_cast<CAMThread*>(self)->ThreadProc();
  if (SUCCEEDED(hr)) CoUninitialize();
  return exit_code;
}
