// The pin list of a source filter, and the worker loop that fills and delivers samples.
#include "source.h"

#include <com_ptr.h>

#include <algorithm>
#include <charconv>
#include <utility>

#include "evcode.h"
#include "nothrow_new.h"

using zdr::com::ComPtr;

// --- CSource ---

CSource::CSource(CObjectName name, IUnknown* outer, CLSID clsid, HRESULT* /*phr*/)
    : CBaseFilter(name, outer, &m_cStateLock, clsid) {}

CSource::~CSource() {
  // Each pin removes itself.
  while (!m_paStreams.empty()) delete m_paStreams.back();
}

int CSource::GetPinCount() {
  CAutoLock lock(&m_cStateLock);
  return static_cast<int>(m_paStreams.size());
}

CBasePin* CSource::GetPin(int index) {
  CAutoLock lock(&m_cStateLock);
  const bool in_range = index >= 0 && static_cast<std::size_t>(index) < m_paStreams.size();
  return in_range ? m_paStreams[static_cast<std::size_t>(index)] : nullptr;
}

HRESULT CSource::AddPin(CSourceStream* pin) {
  CAutoLock lock(&m_cStateLock);
  return zdr::dshow::append_or_fail(m_paStreams, pin) ? S_OK : E_OUTOFMEMORY;
}

HRESULT CSource::RemovePin(CSourceStream* pin) {
  return std::erase(m_paStreams, pin) != 0 ? S_OK : S_FALSE;
}

HRESULT CSource::FindPin(LPCWSTR id, IPin** pin) {
  CheckPointer(pin, E_POINTER);
  *pin = nullptr;
  const int number = id == nullptr ? 0 : _wtoi(id);
  if (number <= 0) return VFW_E_NOT_FOUND;
  CBasePin* const found = GetPin(number - 1);
  CheckPointer(found, VFW_E_NOT_FOUND);
  found->AddRef();
  *pin = found;
  return S_OK;
}

int CSource::FindPinNumber(IPin* pin) {
  const auto found = std::find(m_paStreams.begin(), m_paStreams.end(), pin);
  return found == m_paStreams.end() ? -1 : static_cast<int>(found - m_paStreams.begin());
}

// --- CSourceStream: the pin ---

CSourceStream::CSourceStream(CObjectName object_name, HRESULT* phr, CSource* filter, LPCWSTR name)
    : CBaseOutputPin(object_name, filter, filter->pStateLock(), phr, name), m_pFilter(filter) {
  *phr = m_pFilter->AddPin(this);
}

CSourceStream::~CSourceStream() {
  m_pFilter->RemovePin(this);
}

HRESULT CSourceStream::QueryId(LPWSTR* id) {
  CheckPointer(id, E_POINTER);
  *id = nullptr;
  const int number = m_pFilter->FindPinNumber(this) + 1;
  if (number == 0) return VFW_E_NOT_FOUND;
  constexpr std::size_t kReserved = 12;  // any 32-bit number with its sign and NUL
  auto* const text = static_cast<LPWSTR>(CoTaskMemAlloc(kReserved * sizeof(WCHAR)));
  CheckPointer(text, E_OUTOFMEMORY);
  char digits[kReserved] = {};
  std::to_chars(digits, digits + kReserved - 1, number);
  std::copy(digits, digits + kReserved, text);
  *id = text;
  return S_OK;
}

HRESULT CSourceStream::Active() {
  CAutoLock lock(m_pFilter->pStateLock());
  if (m_pFilter->IsActive()) return S_FALSE;
  if (!IsConnected()) return S_OK;
  if (const HRESULT hr = CBaseOutputPin::Active(); FAILED(hr)) return hr;
  if (!Create()) return E_FAIL;
  if (const HRESULT hr = Init(); FAILED(hr)) return hr;
  return Pause();
}

HRESULT CSourceStream::Inactive() {
  CAutoLock lock(m_pFilter->pStateLock());
  if (!IsConnected()) return S_OK;
  // Decommits first: a worker that waits for a buffer cannot take a command.
  if (const HRESULT hr = CBaseOutputPin::Inactive(); FAILED(hr)) return hr;
  if (!ThreadExists()) return S_OK;
  if (const HRESULT hr = Stop(); FAILED(hr)) return hr;
  if (const HRESULT hr = Exit(); FAILED(hr)) return hr;
  Close();
  return S_OK;
}

// --- CSourceStream: the worker ---

BOOL CSourceStream::CheckRequest(Command* command) noexcept {
  DWORD parameter = 0;
  if (!CAMThread::CheckRequest(&parameter)) return FALSE;
  *command = static_cast<Command>(parameter);
  return TRUE;
}

DWORD CSourceStream::ThreadProc() {
  while (GetRequest() != CMD_INIT) Reply(static_cast<DWORD>(E_UNEXPECTED));
  if (const HRESULT hr = OnThreadCreate(); FAILED(hr)) {
    // Kept: the ended thread still counts as the pin's worker until Close; no other can start before that.
    OnThreadDestroy();
    Reply(static_cast<DWORD>(hr));
    return 1;
  }
  Reply(S_OK);
  take_commands_until_exit();
  return FAILED(OnThreadDestroy()) ? 1 : 0;
}

void CSourceStream::take_commands_until_exit() {
  for (;;) {
    switch (GetRequest()) {
      case CMD_EXIT:
        Reply(S_OK);
        return;
      case CMD_RUN:
      case CMD_PAUSE:
        Reply(S_OK);
        DoBufferProcessingLoop();
        break;
      case CMD_STOP:
        Reply(S_OK);
        break;
      default:
        Reply(static_cast<DWORD>(E_NOTIMPL));
        break;
    }
  }
}

HRESULT CSourceStream::DoBufferProcessingLoop() {
  OnThreadStartPlay();
  for (;;) {
    Command command = CMD_STOP;
    while (!CheckRequest(&command)) {
      ComPtr<IMediaSample> sample;
      if (FAILED(GetDeliveryBuffer(sample.out(), nullptr, nullptr, 0))) {
        // Usually the allocator was decommitted, and a command follows.
        Sleep(1);
        continue;
      }
      HRESULT result = S_OK;
      if (!fill_and_deliver(std::move(sample), &result)) return result;
    }
    // No reply: the command loop sees the same request again and replies to it.
    if (command == CMD_STOP) return S_FALSE;
    Reply(static_cast<DWORD>(command == CMD_RUN || command == CMD_PAUSE ? S_OK : E_UNEXPECTED));
  }
}

bool CSourceStream::fill_and_deliver(ComPtr<IMediaSample> sample, HRESULT* result) {
  const HRESULT filled = FillBuffer(sample.get());
  if (filled == S_OK) {
    // The receiver has already ended its stream by refusing the sample: no end of stream is sent.
    *result = S_OK;
    return Deliver(sample.get()) == S_OK;
  }
  sample.reset();
  DeliverEndOfStream();
  *result = filled == S_FALSE ? S_OK : filled;
  if (filled != S_FALSE) m_pFilter->NotifyEvent(EC_ERRORABORT, filled, 0);
  return false;
}
