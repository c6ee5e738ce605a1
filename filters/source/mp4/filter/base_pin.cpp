// What every pin of a file source does: its positions, and the life of its worker. Seeking is in seeking.cpp.
#include "filters/source/mp4/filter/mp4_source.h"

namespace zdr::mp4source {

CZanBaseSourceOutputPin::CZanBaseSourceOutputPin(CObjectName object_name, HRESULT* phr,
                                                 CZanBaseSourceFilter* owner, LPCWSTR name)
    : CSourceStream(object_name, phr, owner, name), owner_(owner) {
  // The base class does not tell; without them no command would ever be waited for.
  const bool has_events = HANDLE{m_EventSend} != nullptr && HANDLE{m_EventComplete} != nullptr;
  if (SUCCEEDED(*phr) && !has_events) *phr = E_OUTOFMEMORY;
}

HRESULT CZanBaseSourceOutputPin::NonDelegatingQueryInterface(REFIID riid, void** ppv) {
  CheckPointer(ppv, E_POINTER);
  if (riid == IID_IMediaSeeking) return GetInterface(static_cast<IMediaSeeking*>(this), ppv);
  return CSourceStream::NonDelegatingQueryInterface(riid, ppv);
}

HRESULT CZanBaseSourceOutputPin::OnThreadStartPlay() {
  const Positions segment = positions();
  return DeliverNewSegment(segment.start, segment.stop, 1.0);
}

void CZanBaseSourceOutputPin::end_worker() {
  if (!ThreadExists()) return;
  // The sink may be paused already and hold the worker with its first sample; a flush lets it go.
  DeliverBeginFlush();
  Inactive();
  if (ThreadExists()) {  // not connected any more, or the allocator refused
    Stop();
    Exit();
    Close();
  }
  DeliverEndFlush();
}

Positions CZanBaseSourceOutputPin::positions() {
  const CAutoLock lock(&owner_->position_lock_);
  return positions_;
}

void CZanBaseSourceOutputPin::set_stop_position(REFERENCE_TIME stop) {
  const CAutoLock lock(&owner_->position_lock_);
  positions_.stop = stop;
}

void CZanBaseSourceOutputPin::set_segment_start(REFERENCE_TIME start) {
  const CAutoLock lock(&owner_->position_lock_);
  positions_.start = start;
}

void CZanBaseSourceOutputPin::clear_seek_pending() {
  const CAutoLock lock(&owner_->position_lock_);
  positions_.seek_pending = false;
}

}  // namespace zdr::mp4source
