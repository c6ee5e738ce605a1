// The file's name, state changes, the shared events, and seeks over all pins.
#include "filters/source/mp4/filter/base_source.h"

#include <cstring>
#include <new>
#include <string_view>

#include "filters/source/mp4/filter/filter_setup.h"
#include "filters/source/mp4/interfaces/zdr_guids.h"

namespace zdr::mp4source {
namespace {

// All filters of the session share the names; seek_sync.h explains why that is safe.
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
  const std::lock_guard control(control_mutex);
  // While this is held, no other thread sees pins that a failed open will discard.
  const CAutoLock state(pStateLock());
  if (loaded_) return E_UNEXPECTED;
  CloseSource();
  if (!store_file_name(file_name)) return E_OUTOFMEMORY;

  try {
    loaded_ = OpenSource(file_name_.get(), media_type) != FALSE;
  } catch (const std::bad_alloc&) {
    CloseSource();
    return E_OUTOFMEMORY;
  }
  if (loaded_) {
    IncrementPinVersion();
    return S_OK;
  }
  // The error of the failed open. A file that exists but cannot be used leaves none.
  const DWORD error = GetLastError();
  return error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND ? VFW_E_NOT_FOUND
                                                                        : VFW_E_INVALID_FILE_FORMAT;
}

// False, with no name stored, when memory runs out.
bool CZanBaseSourceFilter::store_file_name(LPCOLESTR file_name) {
  const size_t bytes = bytes_with_terminator(file_name);
  std::unique_ptr<WCHAR[]> copy(new (std::nothrow) WCHAR[bytes / sizeof(WCHAR)]);
  if (copy) std::memcpy(copy.get(), file_name, bytes);
  const CAutoLock lock(&position_lock);
  file_name_ = std::move(copy);
  return file_name_ != nullptr;
}

// Kept: succeeds without a file, and after a failed load returns the name of the file that did not open.
HRESULT CZanBaseSourceFilter::GetCurFile(LPOLESTR* file_name, AM_MEDIA_TYPE* media_type) {
  CheckPointer(file_name, E_POINTER);
  *file_name = nullptr;
  GetCurFileMediaType(media_type);
  // A sink may call this while a stop or a seek waits for its worker, so only a leaf lock is taken.
  const CAutoLock lock(&position_lock);
  if (file_name_) {
    const size_t bytes = bytes_with_terminator(file_name_.get());
    *file_name = static_cast<LPOLESTR>(CoTaskMemAlloc(bytes));
    // If memory runs out, the call succeeds with a null name.
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
  const std::lock_guard control(control_mutex);
  set_events();
  const HRESULT hr = CSource::Stop();
  end_live_workers();
  return hr;
}

HRESULT CZanBaseSourceFilter::Pause() {
  const std::lock_guard control(control_mutex);
  OutputDebugStringW(u"Pause Called\n");
  const HRESULT hr = CSource::Pause();
  // When a pin fails, the base class leaves the pins before it running, and nothing else would stop them.
  if (FAILED(hr) && IsStopped()) end_live_workers();
  return hr;
}

HRESULT CZanBaseSourceFilter::Run(REFERENCE_TIME start) {
  const std::lock_guard control(control_mutex);
  return CSource::Run(start);
}

void CZanBaseSourceFilter::seek_pins(const SeekTarget& target) {
  const int pin_count = GetPinCount();
  for (int i = 0; i < pin_count; ++i) pin_at(i)->stop_for_seek();
  // After all workers have stopped: until then, one may still move the segment starts of both.
  for (int i = 0; i < pin_count; ++i) pin_at(i)->take_target(target);
  on_workers_stopped();
  if (IsStopped()) return;
  for (int i = 0; i < pin_count; ++i) {
    CSourceStream* const worker = pin_at(i);
    if (worker->ThreadExists()) worker->Pause();
  }
}

CZanBaseSourceOutputPin* CZanBaseSourceFilter::pin_at(int index) {
  return static_cast<CZanBaseSourceOutputPin*>(GetPin(index));
}

void CZanBaseSourceFilter::end_live_workers() {
  for (int i = 0; i < GetPinCount(); ++i) pin_at(i)->end_worker();
}

}  // namespace zdr::mp4source
