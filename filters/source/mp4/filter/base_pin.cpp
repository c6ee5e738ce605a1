// The pin's positions and the life of its worker. seeking.cpp implements its IMediaSeeking.
#include "filters/source/mp4/filter/base_pin.h"

namespace zdr::mp4source {

CZanBaseSourceOutputPin::CZanBaseSourceOutputPin(CObjectName object_name, HRESULT* phr, CSource* filter,
                                                 PinOwner& owner, LPCWSTR name)
    : CSourceStream(object_name, phr, filter, name), owner_(owner) {
  // The base class does not report events that could not be created. Without them, a call would not wait for
  // the worker's reply.
  const bool has_events = HANDLE{m_EventSend} != nullptr && HANDLE{m_EventComplete} != nullptr;
  // The base class does not report a name that could not be copied, either.
  const bool has_name = Name() != nullptr || name == nullptr;
  if (SUCCEEDED(*phr) && !(has_events && has_name)) *phr = E_OUTOFMEMORY;
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
  // A sink that is paused already may hold the worker with its first sample; a flush releases it.
  DeliverBeginFlush();
  Inactive();
  if (ThreadExists()) {  // Inactive did not end it: the pin is not connected, or the allocator refused
    Stop();
    Exit();
    Close();
  }
  DeliverEndFlush();
}

void CZanBaseSourceOutputPin::stop_for_seek() {
  CMediaType type;  // without a connection it stays zeroed: neither audio nor video
  ConnectionMediaType(&type);
  const bool worker_exists = ThreadExists() != FALSE;
  owner_.on_pin_seek(type.majortype, worker_exists);
  if (!worker_exists) return;
  DeliverBeginFlush();
  const bool streaming = !owner_.filter_is_stopped();
  if (streaming) {
    owner_.set_events();
    Stop();
  }
  // In every state: a flushing sink discards everything until the flush ends.
  DeliverEndFlush();
  if (streaming) owner_.reset_events();
}

void CZanBaseSourceOutputPin::take_target(const SeekTarget& target) {
  const CAutoLock lock(&owner_.position_lock);
  if (target.start != nullptr) positions_.start = *target.start;
  if (target.stop != nullptr) positions_.stop = *target.stop;
  // Kept: a seek that moves only the stop also restarts the pin at its segment start.
  if (target.start != nullptr || target.stop != nullptr) positions_.seek_pending = true;
}

Positions CZanBaseSourceOutputPin::positions() {
  const CAutoLock lock(&owner_.position_lock);
  return positions_;
}

void CZanBaseSourceOutputPin::set_stop_position(REFERENCE_TIME stop) {
  const CAutoLock lock(&owner_.position_lock);
  positions_.stop = stop;
}

void CZanBaseSourceOutputPin::set_segment_start(REFERENCE_TIME start) {
  const CAutoLock lock(&owner_.position_lock);
  positions_.start = start;
}

void CZanBaseSourceOutputPin::clear_seek_pending() {
  const CAutoLock lock(&owner_.position_lock);
  positions_.seek_pending = false;
}

void CZanBaseSourceOutputPin::rebase_segment(REFERENCE_TIME start) {
  if (!positions_.seek_pending) positions_.start = start;
}

}  // namespace zdr::mp4source
