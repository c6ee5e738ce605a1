// What every file source does: its name, its state changes, its events.
#include <cstring>
#include <new>
#include <string_view>

#include "filters/source/mp4/filter/mp4_source.h"
#include "filters/source/mp4/interfaces/zdr_guids.h"

namespace zdr::mp4source {
namespace {

// The names are shared by all filters of the session; see seek_sync.h.
UniqueHandle create_shared_event(LPCWSTR name) {
  return UniqueHandle(CreateEventW(nullptr, FALSE, FALSE, name));
}

size_t bytes_with_terminator(LPCOLESTR text) {
  return (std::u16string_view(text).size() + 1) * sizeof(WCHAR);
}

}  // namespace

CZanBaseSourceFilter::CZanBaseSourceFilter(CObjectName name, IUnknown* outer, HRESULT* phr)
    : CSource(name, outer, kClsidSourceFilter, phr),
      seek_handling_event_(create_shared_event(u"SeekHandlingEvent")),
      av_data_available_event_(create_shared_event(u"AVDataAvailableEvent")) {}

HRESULT CZanBaseSourceFilter::NonDelegatingQueryInterface(REFIID riid, void** ppv) {
  CheckPointer(ppv, E_POINTER);
  if (riid == kIidZandorVideoSource) return GetInterface(static_cast<IAMZandorVideoSource*>(this), ppv);
  if (riid == IID_IFileSourceFilter) return GetInterface(static_cast<IFileSourceFilter*>(this), ppv);
  return CSource::NonDelegatingQueryInterface(riid, ppv);
}

LPAMOVIESETUP_FILTER CZanBaseSourceFilter::GetSetupData() {
  return const_cast<LPAMOVIESETUP_FILTER>(&kFilterSetup);
}

HRESULT CZanBaseSourceFilter::Load(LPCOLESTR file_name, const AM_MEDIA_TYPE* media_type) {
  CheckPointer(file_name, E_POINTER);
  const std::lock_guard control(control_mutex_);
  // Nobody finds a pin that may yet be given up.
  const CAutoLock state(pStateLock());
  if (loaded_) return E_UNEXPECTED;
  CloseSource();
  if (!keep_file_name(file_name)) return E_OUTOFMEMORY;

  loaded_ = OpenSource(file_name_.get(), media_type) != FALSE;
  if (loaded_) {
    IncrementPinVersion();
    return S_OK;
  }
  // What the failing open has left: a file that is there but cannot be used leaves no error.
  const DWORD error = GetLastError();
  return error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND ? VFW_E_NOT_FOUND
                                                                        : VFW_E_INVALID_FILE_FORMAT;
}

// Without memory no name is left.
bool CZanBaseSourceFilter::keep_file_name(LPCOLESTR file_name) {
  const size_t bytes = bytes_with_terminator(file_name);
  std::unique_ptr<WCHAR[]> copy(new (std::nothrow) WCHAR[bytes / sizeof(WCHAR)]);
  if (copy) std::memcpy(copy.get(), file_name, bytes);
  const CAutoLock lock(&position_lock_);
  file_name_ = std::move(copy);
  return file_name_ != nullptr;
}

// A sink may ask while a stop or a seek waits for its worker, so no lock but a leaf is taken.
HRESULT CZanBaseSourceFilter::GetCurFile(LPOLESTR* file_name, AM_MEDIA_TYPE* media_type) {
  CheckPointer(file_name, E_POINTER);
  *file_name = nullptr;
  GetCurFileMediaType(media_type);
  const CAutoLock lock(&position_lock_);
  if (file_name_) {
    const size_t bytes = bytes_with_terminator(file_name_.get());
    *file_name = static_cast<LPOLESTR>(CoTaskMemAlloc(bytes));
    // Without memory there is no name, and no error either.
    if (*file_name != nullptr) std::memcpy(*file_name, file_name_.get(), bytes);
  }
  return S_OK;
}

void CZanBaseSourceFilter::set_events() {
  SetEvent(seek_handling_event_.get());
  SetEvent(av_data_available_event_.get());
}

void CZanBaseSourceFilter::reset_events() {
  ResetEvent(av_data_available_event_.get());
  ResetEvent(seek_handling_event_.get());
}

HRESULT CZanBaseSourceFilter::Stop() {
  const std::lock_guard control(control_mutex_);
  set_events();  // a worker that waits for its peer must come back to its command loop
  const HRESULT hr = CSource::Stop();
  end_live_workers();
  const CAutoLock lock(&position_lock_);
  current_position_ = 0;
  stop_position_ = duration_;
  return hr;
}

HRESULT CZanBaseSourceFilter::Pause() {
  const std::lock_guard control(control_mutex_);
  OutputDebugStringW(u"Pause Called\n");
  const HRESULT hr = CSource::Pause();
  // The base class leaves the pins that it has started before one failed: nobody would stop them.
  if (FAILED(hr) && IsStopped()) end_live_workers();
  return hr;
}

HRESULT CZanBaseSourceFilter::Run(REFERENCE_TIME start) {
  const std::lock_guard control(control_mutex_);
  return CSource::Run(start);
}

CZanBaseSourceOutputPin* CZanBaseSourceFilter::pin_at(int index) {
  return static_cast<CZanBaseSourceOutputPin*>(GetPin(index));
}

void CZanBaseSourceFilter::end_live_workers() {
  for (int i = 0; i < GetPinCount(); ++i) pin_at(i)->end_worker();
}

}  // namespace zdr::mp4source
